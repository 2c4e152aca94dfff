// SPDX-License-Identifier: MIT
#include "platform/digitizer/v4l2/V4L2Camera.h"

#include "platform/compression/KeyFrames.h"
#include "platform/digitizer/v4l2/V4L2List.h"

#include <cerrno>

namespace platform {
namespace {

// Limits the enumeration for drivers whose list never ends.
constexpr uint32_t kMaxEntries = 1024;

std::vector<v4l2_standard> EnumerateStandards(const V4L2Device& device)
{
    std::vector<v4l2_standard> standards;
    for (uint32_t i = 0; i < kMaxEntries; ++i) {
        v4l2_standard standard{};
        standard.index = i;
        if (device.Ioctl(VIDIOC_ENUMSTD, standard) != 0)
            break;
        standards.push_back(standard);
    }
    return standards;
}

} // namespace

std::vector<CaptureFormat> V4L2Camera::Formats()
{
    offers = EnumerateFormats(*device);
    std::vector<CaptureFormat> formats;
    std::ranges::transform(offers, std::back_inserter(formats), &V4L2Offer::format);
    return formats;
}

// Timings of digital inputs must be set explicitly; other devices don't support the call.
Outcome V4L2Camera::Prepare()
{
    v4l2_dv_timings timings{};
    const int error = device->Ioctl(VIDIOC_QUERY_DV_TIMINGS, timings);
    if (error == 0)
        device->Ioctl(VIDIOC_S_DV_TIMINGS, timings);
    if (error == ENOLINK)
        return {noDeviceForChannel, device->Card() + " has no signal."};
    if (error == ENOLCK || error == ERANGE)
        return {noDeviceForChannel, device->Card() + " gets a signal that it can't follow."};
    return {};
}

Outcome V4L2Camera::Begin(const CaptureFormat& wanted, bool sameSize, CaptureFormat& actual)
{
    int error = 0;
    stream = V4L2Stream::Begin(device, offers, wanted, sameSize, error);
    if (!stream) {
        NoteInUse(*device, error == EBUSY);
        // A virtual camera accepts no reader while no program feeds it.
        if (device->IsLoopback() && (error == EIO || error == EINVAL))
            return {noDeviceForChannel, "No program sends a picture to " + device->Card() + "."};
        return OutcomeOfDeviceError(error, device->Card());
    }
    NoteInUse(*device, false);
    NoteStreaming(*device, true);
    // Only devices whose source can change support the event.
    v4l2_event_subscription subscription{};
    subscription.type = V4L2_EVENT_SOURCE_CHANGE;
    device->Ioctl(VIDIOC_SUBSCRIBE_EVENT, subscription);
    controls.FollowEvents(true);
    actual = stream->Format();
    keyFrameRequestsMet = KeyFrameRequests(); // a stream starts with one
    lastSequence = 0;
    return {};
}

void V4L2Camera::End()
{
    if (stream)
        NoteStreaming(*device, false);
    controls.FollowEvents(false);
    stream.reset();
}

Taken V4L2Camera::Take(short events, CapturedFrame& frame)
{
    if ((events & POLLPRI) != 0 && SourceChanged())
        return Taken::Restart;
    Taken taken = Taken::Nothing;
    if ((events & POLLIN) != 0) {
        taken = stream->Take(frame);
        FollowKeyFrames(taken, frame.sequence);
    } else if ((events & (POLLERR | POLLHUP | POLLNVAL)) != 0) {
        Failed(ENODEV);
        return Taken::Failed;
    }
    if (taken == Taken::Failed && stream->LastError() != 0)
        Failed(stream->LastError());
    return taken;
}

// Requests a key frame from a camera with inter-frame compression: when one is needed, and when a frame was lost. A
// camera without that control sends them at its own times.
void V4L2Camera::FollowKeyFrames(Taken taken, uint32_t sequence)
{
    if (!IsInterFrame(stream->Format().format))
        return;
    if (taken == Taken::Damaged || (taken == Taken::Frame && sequence > lastSequence + 1))
        RequestKeyFrame();
    lastSequence = taken == Taken::Frame ? sequence : lastSequence;
    const uint32_t requests = KeyFrameRequests();
    if (std::exchange(keyFrameRequestsMet, requests) == requests)
        return;
    v4l2_control force{V4L2_CID_MPEG_VIDEO_FORCE_KEY_FRAME, 1};
    device->Ioctl(VIDIOC_S_CTRL, force);
}

bool V4L2Camera::Failed(int error)
{
    failure = {ResultOfDeviceError(error), OutcomeOfDeviceError(error, device->Card()).reason};
    return false;
}

Taken V4L2Camera::Silent()
{
    failure = {ioErr, device->Card() + " sends no pictures."};
    return Taken::Failed;
}

// Reads all pending events of the device.
bool V4L2Camera::SourceChanged()
{
    bool changed = false;
    v4l2_event event{};
    while (device->Ioctl(VIDIOC_DQEVENT, event) == 0) {
        changed |= event.type == V4L2_EVENT_SOURCE_CHANGE;
        if (event.type == V4L2_EVENT_CTRL)
            controls.Changed(event);
        if (event.pending == 0)
            break;
    }
    return changed;
}

std::vector<std::string> V4L2Camera::Inputs()
{
    std::vector<std::string> names;
    for (uint32_t i = 0; i < kMaxEntries; ++i) {
        v4l2_input input{};
        input.index = i;
        if (device->Ioctl(VIDIOC_ENUMINPUT, input) != 0)
            break;
        names.push_back(TextInField(input.name));
    }
    return names;
}

int V4L2Camera::Input()
{
    int input = 0;
    return device->Ioctl(VIDIOC_G_INPUT, input) == 0 ? input : 0;
}

Result V4L2Camera::SelectInput(int input)
{
    return ResultOfDeviceError(device->Ioctl(VIDIOC_S_INPUT, input));
}

std::vector<std::string> V4L2Camera::Standards()
{
    std::vector<std::string> names;
    for (const auto& standard : EnumerateStandards(*device))
        names.push_back(TextInField(standard.name));
    return names;
}

int V4L2Camera::Standard()
{
    v4l2_std_id present = 0;
    if (device->Ioctl(VIDIOC_G_STD, present) != 0)
        return 0;
    // The list has groups and their members: an exact match comes before one that only shares a bit.
    const auto standards = EnumerateStandards(*device);
    auto found = std::ranges::find(standards, present, &v4l2_standard::id);
    if (found == standards.end())
        found = std::ranges::find_if(standards, [=](const auto& one) { return (one.id & present) != 0; });
    return found == standards.end() ? 0 : static_cast<int>(found - standards.begin());
}

Result V4L2Camera::SelectStandard(int standard)
{
    const auto standards = EnumerateStandards(*device);
    if (standard < 0 || standard >= static_cast<int>(standards.size()))
        return paramErr;
    v4l2_std_id identity = standards[static_cast<size_t>(standard)].id;
    return ResultOfDeviceError(device->Ioctl(VIDIOC_S_STD, identity));
}

} // namespace platform
