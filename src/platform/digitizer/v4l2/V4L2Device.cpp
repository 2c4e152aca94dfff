// SPDX-License-Identifier: MIT
#include "platform/digitizer/v4l2/V4L2Device.h"

#include "platform/clock/MonotonicClock.h"
#include "platform/digitizer/KernelDeviceEvents.h"
#include "platform/log/Log.h"

#include <cerrno>
#include <charconv>
#include <fcntl.h>
#include <libudev.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {
namespace {

constexpr int kNames = 64;       // tried if nothing is known about the nodes
constexpr int kGuessedNames = 8; // of these, the ones tried even if there is no such file
// Without device events, lists are created again after this time.
constexpr int64_t kListsStayFresh = 300 * kNanosecondsPerMillisecond;

using UdevContext = std::unique_ptr<udev, decltype(&udev_unref)>;
using UdevDevice = std::unique_ptr<udev_device, decltype(&udev_device_unref)>;

std::shared_ptr<V4L2System>& System()
{
    static std::shared_ptr<V4L2System> system = std::make_shared<V4L2System>();
    return system;
}

std::string TextOf(const char* text)
{
    return text == nullptr ? std::string() : std::string(text);
}

std::optional<int> NumberOf(std::string_view path)
{
    constexpr std::string_view prefix = "/dev/video";
    int node = 0;
    if (!path.starts_with(prefix))
        return std::nullopt;
    const char* end = path.data() + path.size();
    const auto [last, error] = std::from_chars(path.data() + prefix.size(), end, node);
    return error == std::errc() && last == end ? std::optional(node) : std::nullopt;
}

// The existing nodes that the device manager knows.
std::vector<int> ManagedNodes()
{
    std::vector<int> nodes;
    const UdevContext context(udev_new(), udev_unref);
    const std::unique_ptr<udev_enumerate, decltype(&udev_enumerate_unref)> all(
        context ? udev_enumerate_new(context.get()) : nullptr, udev_enumerate_unref);
    if (!all || udev_enumerate_add_match_subsystem(all.get(), "video4linux") < 0 ||
        udev_enumerate_scan_devices(all.get()) < 0)
        return nodes;
    udev_list_entry* entry = nullptr;
    udev_list_entry_foreach(entry, udev_enumerate_get_list_entry(all.get()))
    {
        const UdevDevice device(udev_device_new_from_syspath(context.get(), udev_list_entry_get_name(entry)),
                                udev_device_unref);
        const std::string path = TextOf(device ? udev_device_get_devnode(device.get()) : nullptr);
        if (const auto node = NumberOf(path); node && access(path.c_str(), F_OK) == 0)
            nodes.push_back(*node);
    }
    std::ranges::sort(nodes);
    return nodes;
}

constexpr std::pair<unsigned long, const char*> kRequestNames[] = {
    {VIDIOC_QUERYCAP, "QUERYCAP"},
    {VIDIOC_ENUM_FMT, "ENUM_FMT"},
    {VIDIOC_G_FMT, "G_FMT"},
    {VIDIOC_S_FMT, "S_FMT"},
    {VIDIOC_TRY_FMT, "TRY_FMT"},
    {VIDIOC_REQBUFS, "REQBUFS"},
    {VIDIOC_QUERYBUF, "QUERYBUF"},
    {VIDIOC_QBUF, "QBUF"},
    {VIDIOC_DQBUF, "DQBUF"},
    {VIDIOC_STREAMON, "STREAMON"},
    {VIDIOC_STREAMOFF, "STREAMOFF"},
    {VIDIOC_G_PARM, "G_PARM"},
    {VIDIOC_S_PARM, "S_PARM"},
    {VIDIOC_G_STD, "G_STD"},
    {VIDIOC_S_STD, "S_STD"},
    {VIDIOC_ENUMSTD, "ENUMSTD"},
    {VIDIOC_ENUMINPUT, "ENUMINPUT"},
    {VIDIOC_G_INPUT, "G_INPUT"},
    {VIDIOC_S_INPUT, "S_INPUT"},
    {VIDIOC_QUERYCTRL, "QUERYCTRL"},
    {VIDIOC_QUERY_EXT_CTRL, "QUERY_EXT_CTRL"},
    {VIDIOC_QUERYMENU, "QUERYMENU"},
    {VIDIOC_G_CTRL, "G_CTRL"},
    {VIDIOC_S_CTRL, "S_CTRL"},
    {VIDIOC_G_EXT_CTRLS, "G_EXT_CTRLS"},
    {VIDIOC_S_EXT_CTRLS, "S_EXT_CTRLS"},
    {VIDIOC_ENUM_FRAMESIZES, "ENUM_FRAMESIZES"},
    {VIDIOC_ENUM_FRAMEINTERVALS, "ENUM_FRAMEINTERVALS"},
    {VIDIOC_SUBSCRIBE_EVENT, "SUBSCRIBE_EVENT"},
    {VIDIOC_DQEVENT, "DQEVENT"},
    {VIDIOC_QUERY_DV_TIMINGS, "QUERY_DV_TIMINGS"},
    {VIDIOC_G_DV_TIMINGS, "G_DV_TIMINGS"},
    {VIDIOC_S_DV_TIMINGS, "S_DV_TIMINGS"},
};

// Lists end with an error, and unsupported calls are detected by trying them.
bool IsExpected(int error)
{
    return error == EINVAL || error == ENOTTY || error == ENODATA || error == ENOENT;
}

void LogFailedRequest(int node, unsigned long request, int error)
{
    const LogLevel level = IsExpected(error) ? LogLevel::Debug : LogLevel::Warning;
    if (!digitizerLog.Writes(level))
        return;
    const auto* known = std::ranges::find(kRequestNames, request, &std::pair<unsigned long, const char*>::first);
    const std::string name = known == std::end(kRequestNames) ? std::to_string(request) : known->second;
    digitizerLog.Write(level, PathOfNode(node), ": VIDIOC_", name, ": ", ErrorText(error));
}

UdevDevice DeviceOfNumber(const UdevContext& context, dev_t number)
{
    return {context ? udev_device_new_from_devnum(context.get(), 'c', number) : nullptr, udev_device_unref};
}

} // namespace

UniqueFD V4L2System::Open(const char* path)
{
    return UniqueFD(::open(path, O_RDWR | O_NONBLOCK | O_CLOEXEC));
}

int V4L2System::Ioctl(int descriptor, unsigned long request, void* argument)
{
    int result = 0;
    do
        result = ::ioctl(descriptor, request, argument);
    while (result == -1 && errno == EINTR);
    return result == -1 ? errno : 0;
}

void* V4L2System::Map(int descriptor, size_t length, int64_t offset)
{
    void* memory = ::mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, offset);
    return memory == MAP_FAILED ? nullptr : memory;
}

void V4L2System::Unmap(void* memory, size_t length)
{
    ::munmap(memory, length);
}

int V4L2System::Poll(std::span<pollfd> descriptors, int milliseconds)
{
    return ::poll(descriptors.data(), descriptors.size(), milliseconds);
}

std::vector<int> V4L2System::Nodes()
{
    auto nodes = ManagedNodes();
    if (!nodes.empty())
        return nodes;
    for (int node = 0; node < kNames; ++node)
        if (node < kGuessedNames || access(PathOfNode(node).c_str(), F_OK) == 0)
            nodes.push_back(node);
    return nodes;
}

std::string V4L2System::SerialName(int descriptor)
{
    struct stat status {};
    if (fstat(descriptor, &status) != 0 || !S_ISCHR(status.st_mode))
        return {};
    const UdevContext context(udev_new(), udev_unref);
    const UdevDevice device = DeviceOfNumber(context, status.st_rdev);
    return TextOf(device ? udev_device_get_property_value(device.get(), "ID_SERIAL") : nullptr);
}

// If udev does not know what a node can do, the first node of a device is the one that captures.
V4L2System::NodeLabel V4L2System::LabelOf(int node)
{
    struct stat status {};
    const UdevContext context(udev_new(), udev_unref);
    const bool exists = stat(PathOfNode(node).c_str(), &status) == 0 && S_ISCHR(status.st_mode);
    const UdevDevice device = exists ? DeviceOfNumber(context, status.st_rdev) : UdevDevice(nullptr, udev_device_unref);
    if (!device)
        return {};
    const std::string abilities = TextOf(udev_device_get_property_value(device.get(), "ID_V4L_CAPABILITIES"));
    const bool isFirst = TextOf(udev_device_get_sysattr_value(device.get(), "index")) == "0";
    return {TextOf(udev_device_get_sysattr_value(device.get(), "name")),
            TextOf(udev_device_get_property_value(device.get(), "ID_SERIAL")),
            abilities.empty() ? isFirst : abilities.find(":capture:") != std::string::npos};
}

uint64_t V4L2System::ChangeCount()
{
    static KernelDeviceEvents watcher;
    static uint64_t changes = 0;
    static int64_t listed = 0;
    const int64_t now = MonotonicNow();
    const bool isTold = watcher.Descriptor() >= 0 && access("/run/udev/control", F_OK) == 0;
    if (!watcher.Read().empty() || (!isTold && now - listed > kListsStayFresh)) {
        ++changes;
        listed = now;
    }
    return changes;
}

std::shared_ptr<V4L2System> V4L2System::Current()
{
    return platform::System();
}

void V4L2System::SetCurrent(std::shared_ptr<V4L2System> system)
{
    platform::System() = system ? std::move(system) : std::make_shared<V4L2System>();
}

std::string PathOfNode(int node)
{
    return "/dev/video" + std::to_string(node);
}

Result ResultOfDeviceError(int error)
{
    switch (error) {
    case 0:
        return noErr;
    case ENOENT:
    case ENODEV:
    case ENXIO:
    case EBUSY:
    case ENOSPC:
        return noDeviceForChannel;
    case EACCES:
    case EPERM:
        return permErr;
    case ENOMEM:
        return notEnoughMemoryToGrab;
    case EINVAL:
    case ERANGE:
        return deviceCantMeetRequest;
    case ENOTTY:
        return digiUnimpErr;
    default:
        return ioErr;
    }
}

Outcome OutcomeOfDeviceError(int error, const std::string& name)
{
    const Result result = ResultOfDeviceError(error);
    switch (error) {
    case 0:
        return {};
    case ENOENT:
    case ENODEV:
    case ENXIO:
        return {result, name + " is not connected."};
    case EBUSY:
        return {result, name + " is in use by another program."};
    case EACCES:
    case EPERM:
        return {result, name + " may not be opened: this account is not in the group \"video\"."};
    case ENOSPC:
        return {result, "The USB bus has no bandwidth left", true};
    case EIO:
    case EPIPE:
    case EPROTO:
    case ETIMEDOUT:
        return {noDeviceForChannel, name + " does not answer (" + std::strerror(error) + ")."};
    default:
        return {result, name + " can't be started (" + std::strerror(error) + ")."};
    }
}

std::shared_ptr<V4L2Device> V4L2Device::Open(std::shared_ptr<V4L2System> system, int node, int& error)
{
    const std::shared_ptr<V4L2Device> device(new V4L2Device);
    device->descriptor = system->Open(PathOfNode(node).c_str());
    error = device->descriptor ? 0 : errno;
    if (error != 0) {
        digitizerLog.Write(IsExpected(error) ? LogLevel::Debug : LogLevel::Warning, PathOfNode(node),
                           ": open: ", ErrorText(error));
        return nullptr;
    }
    device->system = std::move(system);
    device->node = node;
    v4l2_capability capability{};
    error = device->Ioctl(VIDIOC_QUERYCAP, capability);
    if (error != 0)
        return nullptr;
    const uint32_t abilities =
        (capability.capabilities & V4L2_CAP_DEVICE_CAPS) != 0 ? capability.device_caps : capability.capabilities;
    // Devices that need a pipeline of nodes to be set up can't stream on their own.
    if ((abilities & (V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_VIDEO_CAPTURE_MPLANE)) == 0 ||
        (abilities & V4L2_CAP_STREAMING) == 0 || (abilities & V4L2_CAP_IO_MC) != 0)
        return nullptr;
    device->multiPlanar = (abilities & V4L2_CAP_VIDEO_CAPTURE) == 0;
    device->driver = TextInField(capability.driver);
    device->card = TextInField(capability.card);
    device->busInfo = TextInField(capability.bus_info);
    const std::string serial = device->system->SerialName(device->descriptor.Get());
    device->model = "v4l2:" + (serial.empty() ? device->driver + ":" + device->card : serial);
    return device;
}

// A queue without a frame is not worth a message.
int V4L2Device::Call(unsigned long request, void* argument) const
{
    const int error = system->Ioctl(descriptor.Get(), request, argument);
    if (error != 0 && error != EAGAIN)
        LogFailedRequest(node, request, error);
    return error;
}

int V4L2Device::Layout(unsigned long request, V4L2Layout& layout) const
{
    v4l2_format format{};
    format.type = BufferType();
    auto& single = format.fmt.pix;
    auto& multiple = format.fmt.pix_mp;
    if (multiPlanar) {
        multiple.width = layout.width;
        multiple.height = layout.height;
        multiple.pixelformat = layout.pixelFormat;
        multiple.field = layout.field;
    } else {
        single.width = layout.width;
        single.height = layout.height;
        single.pixelformat = layout.pixelFormat;
        single.field = layout.field;
    }
    if (const int error = Ioctl(request, format); error != 0)
        return error;
    if (!multiPlanar) {
        layout = {single.pixelformat,   single.width,      single.height,
                  single.field,         single.colorspace, single.ycbcr_enc,
                  single.quantization,  single.xfer_func,  1,
                  {single.bytesperline}};
        return 0;
    }
    layout = {multiple.pixelformat,
              multiple.width,
              multiple.height,
              multiple.field,
              multiple.colorspace,
              multiple.ycbcr_enc,
              multiple.quantization,
              multiple.xfer_func,
              std::clamp<uint32_t>(multiple.num_planes, 1, 3),
              {}};
    for (size_t plane = 0; plane < layout.planes; ++plane)
        layout.strides[plane] = multiple.plane_fmt[plane].bytesperline;
    return 0;
}

} // namespace platform
