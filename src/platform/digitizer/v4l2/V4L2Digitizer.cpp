// A V4L2 device.
//
// It is open from its construction on and stays so while it is present, so that its formats and controls can be asked
// for at any time; only while it streams is it closed to others. Its states: idle (no thread), delivering (a thread
// with a stream), absent (a thread without one, which looks for the device twice a second). The thread alone moves
// between delivering and absent; the caller starts and ends it.
//
// The open device is shared: a caller that asks for a control while the thread drops an unplugged device keeps the
// descriptor open until its call is done, so that no descriptor number is ever used after its end.
//
// A device is known again by its model and place. A second one of the same model is never mistaken for it, since the
// places of such twins are noted at the start.
#include "platform/digitizer/v4l2/V4L2Digitizer.h"

#include "platform/digitizer/FrameGrid.h"
#include "platform/digitizer/v4l2/V4L2Controls.h"
#include "platform/digitizer/v4l2/V4L2Features.h"

#include <algorithm>
#include <cerrno>
#include <sys/eventfd.h>

namespace platform {
namespace {

constexpr int kNodes = 64;
constexpr int kLookAgain = 500;                      // milliseconds between looks for an absent device
constexpr int kPause = 5;                            // milliseconds after a device has called in vain
constexpr int kCallsInVain = 2;                      // so many in a row are let pass without a pause
constexpr int64_t kFirstFrameWithin = 4'000'000'000; // cameras may take seconds to set their exposure
constexpr int64_t kNextFrameWithin = 1'500'000'000;
constexpr int64_t kPeriodsOfSilence = 5;
constexpr int kRestartsWithoutFrame = 3;

// The nodes on which this process streams: they are busy, but not to us.
std::mutex streamingMutex;
std::vector<int>& StreamingNodes()
{
    static std::vector<int> nodes;
    return nodes;
}

void NoteStreaming(int node, bool streaming)
{
    const std::lock_guard lock(streamingMutex);
    auto& nodes = StreamingNodes();
    if (streaming)
        nodes.push_back(node);
    else if (const auto found = std::ranges::find(nodes, node); found != nodes.end())
        nodes.erase(found);
}

bool StreamsHere(int node)
{
    const std::lock_guard lock(streamingMutex);
    return std::ranges::find(StreamingNodes(), node) != StreamingNodes().end();
}

// Giving back no buffers is refused while another process has some, and changes nothing otherwise.
bool IsAvailable(const V4L2Device& device)
{
    if (StreamsHere(device.Node()))
        return true;
    v4l2_requestbuffers none{};
    none.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    none.memory = V4L2_MEMORY_MMAP;
    return device.Ioctl(VIDIOC_REQBUFS, none) != EBUSY;
}

int64_t SilenceAllowed(double frameRate)
{
    const double period = frameRate > 0 ? 1e9 / frameRate : 0;
    return std::max(kNextFrameWithin, static_cast<int64_t>(period) * kPeriodsOfSilence);
}

} // namespace

std::vector<V4L2Found> FindV4L2Devices(const std::shared_ptr<V4L2System>& system)
{
    std::vector<V4L2Found> found;
    for (int node = 0; node < kNodes; ++node) {
        const auto device = V4L2Device::Open(system, node);
        if (!device)
            continue;
        const auto ofModel = std::ranges::count(found, device->Model(), &V4L2Found::model);
        // A device of several nodes has them all in one place: they are told apart by their order.
        const auto inPlace = std::ranges::count_if(found, [&](const V4L2Found& other) {
            return other.model == device->Model() && other.place.starts_with(device->BusInfo() + "/");
        });
        found.push_back({.node = node,
                         .name = device->Card(),
                         .identity = device->Model() + (ofModel == 0 ? "" : "#" + std::to_string(ofModel + 1)),
                         .model = device->Model(),
                         .place = device->BusInfo() + "/" + std::to_string(inPlace),
                         .inputs = EnumerateInputs(*device),
                         .available = IsAvailable(*device)});
    }
    return found;
}

std::vector<DigitizerEntry> ListV4L2Digitizers(const std::shared_ptr<V4L2System>& system)
{
    std::vector<DigitizerEntry> entries;
    for (auto& found : FindV4L2Devices(system))
        entries.push_back({found.name, found.identity, found.inputs, found.available});
    return entries;
}

std::unique_ptr<Digitizer> OpenV4L2Digitizer(const std::shared_ptr<V4L2System>& system, const std::string& identity)
{
    const auto all = FindV4L2Devices(system);
    const auto found = std::ranges::find(all, identity, &V4L2Found::identity);
    if (found == all.end())
        return nullptr;
    std::vector<std::string> twins;
    for (const auto& other : all)
        if (other.model == found->model && other.place != found->place)
            twins.push_back(other.place);
    return std::make_unique<V4L2Digitizer>(system, *found, std::move(twins));
}

V4L2Digitizer::V4L2Digitizer(std::shared_ptr<V4L2System> system, V4L2Found found, std::vector<std::string> twins)
    : system(std::move(system)), twins(std::move(twins)), self(std::move(found))
{
    if (auto opened = V4L2Device::Open(this->system, self.node)) {
        inUse = CurrentFormat(*opened);
        TakeUp(std::move(opened));
    }
    // The device's own setting is kept where it can be used.
    const bool usable = std::ranges::any_of(formats, [this](const CaptureFormat& format) {
        return format.format == inUse.format && format.width == inUse.width && format.height == inUse.height;
    });
    wanted = inUse = usable ? NearestFormat(formats, inUse) : DefaultFormat(formats);
}

std::shared_ptr<V4L2Device> V4L2Digitizer::Device() const
{
    const std::lock_guard lock(mutex);
    return device;
}

// Makes a freshly opened device the one in use, in the state in which the caller wants it.
void V4L2Digitizer::TakeUp(std::shared_ptr<V4L2Device> opened)
{
    std::unique_lock lock(mutex);
    auto input = chosenInput;
    auto standard = chosenStandard;
    const auto controls = wishes;
    lock.unlock();
    // What the device refuses it keeps as it is: a picture in the wrong light is better than none.
    if (input)
        opened->Ioctl(VIDIOC_S_INPUT, *input);
    if (standard)
        opened->Ioctl(VIDIOC_S_STD, *standard);
    for (const auto& [identity, value] : controls)
        SetDeviceControl(*opened, identity, value);
    auto offered = EnumerateFormats(*opened);
    lock.lock();
    device = std::move(opened);
    formats = std::move(offered);
}

// The device at its old node, or wherever it is now; null while it is absent.
std::shared_ptr<V4L2Device> V4L2Digitizer::Reopen()
{
    const auto all = FindV4L2Devices(system);
    const auto isSelf = [this](const V4L2Found& found) {
        return found.model == self.model && std::ranges::find(twins, found.place) == twins.end();
    };
    auto found = std::ranges::find_if(
        all, [&](const V4L2Found& candidate) { return isSelf(candidate) && candidate.place == self.place; });
    if (found == all.end())
        found = std::ranges::find_if(all, isSelf);
    if (found == all.end())
        return nullptr;
    self.node = found->node;
    self.place = found->place;
    return V4L2Device::Open(system, self.node);
}

void V4L2Digitizer::Adopt(std::unique_ptr<V4L2Stream> begun)
{
    stream = std::move(begun);
    NoteStreaming(stream->Device().Node(), true);
    firstSequence = nextSequence;
    silenceEnds = MonotonicNow() + kFirstFrameWithin;
    const std::lock_guard lock(mutex);
    inUse = stream->Format();
}

void V4L2Digitizer::EndStream()
{
    if (stream)
        NoteStreaming(stream->Device().Node(), false);
    stream.reset();
}

bool V4L2Digitizer::OpenAgain()
{
    {
        const std::lock_guard lock(mutex);
        device.reset();
    }
    auto opened = Reopen();
    if (!opened)
        return false;
    TakeUp(std::move(opened));
    return true;
}

// Starts the open device in the format that it has nearest to the wanted one.
std::unique_ptr<V4L2Stream> V4L2Digitizer::StreamFrom(V4L2Stream::Size size, Result& result)
{
    CaptureFormat format;
    {
        const std::lock_guard lock(mutex);
        // A device that was absent until now has its formats from this moment on.
        format = wanted.format != 0 ? NearestFormat(formats, wanted) : DefaultFormat(formats);
    }
    result = deviceCantMeetRequest;
    if (format.format == 0)
        return nullptr;
    return V4L2Stream::Begin(Device(), format, size, result);
}

// Opens the device where need be and starts it.
Result V4L2Digitizer::BeginStream()
{
    const bool wasOpen = Device() != nullptr;
    if (!wasOpen && !OpenAgain())
        return noDeviceForChannel;
    Result result = noErr;
    auto begun = StreamFrom(wasOpen ? V4L2Stream::Size::AsWanted : V4L2Stream::Size::AsTheDeviceSays, result);
    // What was open for long may have gone and come back meanwhile, or hold on to the size of an earlier run.
    if (!begun && wasOpen) {
        if (!OpenAgain())
            return noDeviceForChannel;
        begun = StreamFrom(V4L2Stream::Size::AsTheDeviceSays, result);
    }
    if (begun)
        Adopt(std::move(begun));
    return result;
}

Result V4L2Digitizer::Start(FrameSink& target)
{
    Stop();
    nextSequence = 0;
    restartsWithoutFrame = 0;
    sink = &target;
    const Result result = BeginStream();
    if (result == noErr || result == noDeviceForChannel) {
        // The caller knows of an outage by this call's result.
        outageTold = result != noErr;
        Resume();
    } else {
        sink = nullptr;
    }
    return result;
}

void V4L2Digitizer::Stop()
{
    Halt();
    EndStream();
    sink = nullptr;
}

// Starts the thread, with or without a stream.
void V4L2Digitizer::Resume()
{
    stopEvent = UniqueFD(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    thread = std::thread([this] { Run(); });
}

void V4L2Digitizer::Halt()
{
    if (!thread.joinable())
        return;
    eventfd_write(stopEvent.Get(), 1);
    thread.join();
}

// Makes a change that a streaming device refuses. A device that runs is stopped around it and goes on.
template <typename Change> Result V4L2Digitizer::WhileHalted(Change change)
{
    FrameSink* const running = sink;
    Stop();
    const Result result = change();
    if (running == nullptr)
        return result;
    sink = running;
    const Result begun = BeginStream();
    outageTold = begun != noErr;
    Resume();
    return result != noErr ? result : begun;
}

void V4L2Digitizer::Run()
{
    for (;;) {
        const End end = stream ? Deliver() : End::Failed;
        if (end == End::Stopped)
            return;
        if (end == End::FormatChanged) {
            FollowSource();
            continue;
        }
        EndStream();
        {
            const std::lock_guard lock(mutex);
            device.reset();
        }
        if (!outageTold)
            sink->CaptureFailed(failure);
        outageTold = true;
        do {
            if (WaitForStop(kLookAgain))
                return;
        } while (BeginStream() != noErr);
    }
}

// Delivers until something ends it.
V4L2Digitizer::End V4L2Digitizer::Deliver()
{
    for (;;) {
        const int64_t left = std::max<int64_t>((silenceEnds - MonotonicNow()) / 1'000'000, 0);
        pollfd descriptors[] = {{stopEvent.Get(), POLLIN, 0}, {stream->Device().Descriptor(), POLLIN | POLLPRI, 0}};
        const int ready = system->Poll(descriptors, static_cast<int>(left));
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready <= 0) {
            failure = ioErr;
            return End::Failed;
        }
        if (descriptors[0].revents != 0)
            return End::Stopped;
        if (const MaybeEnd end = Answer(descriptors[1].revents))
            return *end;
    }
}

V4L2Digitizer::MaybeEnd V4L2Digitizer::Answer(short events)
{
    if ((events & POLLPRI) != 0 && stream->SourceChanged())
        return End::FormatChanged;
    if ((events & POLLIN) != 0)
        return DeliverFrame();
    if ((events & (POLLERR | POLLHUP | POLLNVAL)) == 0)
        return std::nullopt;
    failure = noDeviceForChannel;
    return End::Failed;
}

V4L2Digitizer::MaybeEnd V4L2Digitizer::DeliverFrame()
{
    CapturedFrame frame;
    switch (stream->Take(frame)) {
    case V4L2Stream::Taken::Frame:
        frame.sequence += firstSequence;
        nextSequence = frame.sequence + 1;
        outageTold = false;
        restartsWithoutFrame = callsInVain = 0;
        sink->FrameArrived(frame);
        if (!stream->GiveBack())
            break;
        [[fallthrough]];
    case V4L2Stream::Taken::Damaged:
        silenceEnds = MonotonicNow() + SilenceAllowed(stream->Format().frameRate);
        return std::nullopt;
    case V4L2Stream::Taken::Nothing:
        // Without a pause a driver that calls for ever would keep a processor busy.
        if (++callsInVain > kCallsInVain)
            WaitForStop(kPause);
        return std::nullopt;
    case V4L2Stream::Taken::FormatChanged:
        return End::FormatChanged;
    case V4L2Stream::Taken::Failed:
        break;
    }
    failure = stream->Failure();
    return End::Failed;
}

// Starts again with the format that the device has now. Without a stream afterwards the device counts as failed.
void V4L2Digitizer::FollowSource()
{
    EndStream();
    failure = deviceCantMeetRequest;
    const auto opened = Device();
    if (!opened || ++restartsWithoutFrame > kRestartsWithoutFrame)
        return;
    // Digital inputs have the signal's timing set by hand; others don't know the call.
    v4l2_dv_timings timings{};
    if (opened->Ioctl(VIDIOC_QUERY_DV_TIMINGS, timings) == 0)
        opened->Ioctl(VIDIOC_S_DV_TIMINGS, timings);
    const CaptureFormat now = CurrentFormat(*opened);
    if (now.format == 0)
        return;
    if (auto begun = V4L2Stream::Begin(opened, now, V4L2Stream::Size::AsTheDeviceSays, failure))
        Adopt(std::move(begun));
}

// True when the caller stops the device within that time.
bool V4L2Digitizer::WaitForStop(int milliseconds)
{
    pollfd stop{stopEvent.Get(), POLLIN, 0};
    return ::poll(&stop, 1, milliseconds) > 0;
}

std::vector<CaptureFormat> V4L2Digitizer::Formats() const
{
    const std::lock_guard lock(mutex);
    return formats;
}

CaptureFormat V4L2Digitizer::Format() const
{
    const std::lock_guard lock(mutex);
    return inUse;
}

Result V4L2Digitizer::SetFormat(const CaptureFormat& wish)
{
    {
        const std::lock_guard lock(mutex);
        const CaptureFormat nearest = NearestFormat(formats, wish);
        if (nearest.format == 0)
            return deviceCantMeetRequest;
        wanted = inUse = nearest;
    }
    return sink == nullptr ? noErr : WhileHalted([] { return noErr; });
}

int V4L2Digitizer::Input() const
{
    int input = 0;
    const auto opened = Device();
    if (opened && opened->Ioctl(VIDIOC_G_INPUT, input) == 0)
        return input;
    const std::lock_guard lock(mutex);
    return chosenInput.value_or(0);
}

Result V4L2Digitizer::SelectInput(int input)
{
    if (input < 0 || input >= static_cast<int>(self.inputs.size()))
        return self.inputs.empty() ? digiUnimpErr : paramErr;
    if (input == Input())
        return noErr;
    return WhileHalted([this, input] {
        const auto opened = Device();
        if (!opened)
            return noDeviceForChannel;
        int wish = input;
        if (const int error = opened->Ioctl(VIDIOC_S_INPUT, wish); error != 0)
            return ResultOfDeviceError(error);
        auto offered = EnumerateFormats(*opened);
        const std::lock_guard lock(mutex);
        formats = std::move(offered);
        chosenInput = input;
        return noErr;
    });
}

std::vector<std::string> V4L2Digitizer::Standards() const
{
    std::vector<std::string> names;
    if (const auto opened = Device())
        for (const auto& standard : EnumerateStandards(*opened))
            names.push_back(TextInField(standard.name));
    return names;
}

int V4L2Digitizer::Standard() const
{
    const auto opened = Device();
    v4l2_std_id present = 0;
    if (!opened || opened->Ioctl(VIDIOC_G_STD, present) != 0)
        return 0;
    const auto standards = EnumerateStandards(*opened);
    const auto found = std::ranges::find_if(standards, [=](const auto& one) { return (one.id & present) != 0; });
    return found == standards.end() ? 0 : static_cast<int>(found - standards.begin());
}

Result V4L2Digitizer::SelectStandard(int standard)
{
    const auto opened = Device();
    if (!opened)
        return noDeviceForChannel;
    const auto standards = EnumerateStandards(*opened);
    if (standard < 0 || standard >= static_cast<int>(standards.size()))
        return standards.empty() ? digiUnimpErr : paramErr;
    return WhileHalted([&, this] {
        v4l2_std_id identity = standards[static_cast<size_t>(standard)].id;
        if (const int error = opened->Ioctl(VIDIOC_S_STD, identity); error != 0)
            return ResultOfDeviceError(error);
        auto offered = EnumerateFormats(*opened);
        const std::lock_guard lock(mutex);
        formats = std::move(offered);
        chosenStandard = identity;
        return noErr;
    });
}

Result V4L2Digitizer::GetAnalog(AnalogControl control, uint16_t& value) const
{
    const auto opened = Device();
    return opened ? GetAnalogValue(*opened, control, value) : noDeviceForChannel;
}

Result V4L2Digitizer::SetAnalog(AnalogControl control, uint16_t value)
{
    const auto opened = Device();
    if (!opened)
        return noDeviceForChannel;
    v4l2_control taken{};
    const Result result = SetAnalogValue(*opened, control, value, taken);
    if (result == noErr)
        RememberWish(taken);
    return result;
}

std::vector<ImageControl> V4L2Digitizer::Controls() const
{
    const auto opened = Device();
    return opened ? EnumerateControls(*opened) : std::vector<ImageControl>();
}

Result V4L2Digitizer::SetControl(uint32_t identity, int64_t value)
{
    const auto opened = Device();
    if (!opened)
        return noDeviceForChannel;
    const Result result = SetDeviceControl(*opened, identity, value);
    if (result == noErr)
        RememberWish({identity, static_cast<int32_t>(value)});
    return result;
}

Result V4L2Digitizer::GetFeature(FourCharCode code, CameraFeature& feature) const
{
    const auto found = FindFeatureControl(Controls(), code);
    if (!found)
        return digiUnimpErr;
    feature = found->Feature();
    return noErr;
}

Result V4L2Digitizer::SetFeature(FourCharCode code, int32_t value)
{
    const auto controls = Controls();
    const auto found = FindFeatureControl(controls, code);
    if (!found)
        return digiUnimpErr;
    if (const auto manual = FindManualSwitch(controls, code))
        SetControl(manual->first, manual->second);
    return SetControl(found->control.identity, found->ControlValue(value));
}

void V4L2Digitizer::RememberWish(const v4l2_control& wish)
{
    const std::lock_guard lock(mutex);
    wishes[wish.id] = wish.value;
}

} // namespace platform
