#include "platform/digitizer/v4l2/V4L2Device.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <libudev.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>

namespace platform {
namespace {

std::shared_ptr<V4L2System>& TheSystem()
{
    static std::shared_ptr<V4L2System> system = std::make_shared<V4L2System>();
    return system;
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

std::string V4L2System::SerialName(int descriptor)
{
    struct stat status {};
    if (fstat(descriptor, &status) != 0 || !S_ISCHR(status.st_mode))
        return {};
    const std::unique_ptr<udev, decltype(&udev_unref)> context(udev_new(), udev_unref);
    if (!context)
        return {};
    const std::unique_ptr<udev_device, decltype(&udev_device_unref)> device(
        udev_device_new_from_devnum(context.get(), 'c', status.st_rdev), udev_device_unref);
    const char* serial = device ? udev_device_get_property_value(device.get(), "ID_SERIAL") : nullptr;
    return serial == nullptr ? std::string() : std::string(serial);
}

std::shared_ptr<V4L2System> V4L2System::Current()
{
    return TheSystem();
}

void V4L2System::SetCurrent(std::shared_ptr<V4L2System> system)
{
    TheSystem() = system ? std::move(system) : std::make_shared<V4L2System>();
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

std::shared_ptr<V4L2Device> V4L2Device::Open(std::shared_ptr<V4L2System> system, int node)
{
    const std::shared_ptr<V4L2Device> device(new V4L2Device);
    device->descriptor = system->Open(("/dev/video" + std::to_string(node)).c_str());
    device->system = std::move(system);
    device->node = node;
    v4l2_capability capability{};
    if (!device->descriptor || device->Ioctl(VIDIOC_QUERYCAP, capability) != 0)
        return nullptr;
    const uint32_t abilities =
        (capability.capabilities & V4L2_CAP_DEVICE_CAPS) != 0 ? capability.device_caps : capability.capabilities;
    constexpr uint32_t kNeeded = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_STREAMING;
    if ((abilities & kNeeded) != kNeeded)
        return nullptr;
    device->card = TextInField(capability.card);
    device->busInfo = TextInField(capability.bus_info);
    const std::string serial = device->system->SerialName(device->descriptor.Get());
    device->model = "v4l2:" + (serial.empty() ? TextInField(capability.driver) + ":" + device->card : serial);
    return device;
}

} // namespace platform
