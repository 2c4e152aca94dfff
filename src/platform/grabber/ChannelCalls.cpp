// SPDX-License-Identifier: MIT
// The published calls on a channel of either kind.
#include "platform/grabber/ChannelOperation.h"
#include "platform/grabber/SequenceGrabber.h"
#include "platform/memory/Handles.h"

namespace platform {

Result SGSetChannelUsage(SGChannel channel, int32_t usage)
{
    return OnChannel(channel, [&](Channel& found) {
        found.usage = usage;
        return noErr;
    });
}

Result SGGetChannelUsage(SGChannel channel, Address usage)
{
    return OnChannel(channel, [&](const Channel& found) { return Written(usage, found.usage); });
}

Result SGGetChannelInfo(SGChannel channel, Address info)
{
    return OnChannel(channel, [&](const Channel& found) {
        return Written(info, found.type == kVideoMediaType ? seqGrabHasBounds : seqGrabHasVolume);
    });
}

Result SGSetChannelBounds(SGChannel channel, Address bounds)
{
    return OnVideo(channel, [&](VideoChannel& found) {
        const auto wanted = Peek<Bounds>(bounds);
        if (wanted.Empty())
            return paramErr;
        found.bounds = wanted;
        return noErr;
    });
}

Result SGGetChannelBounds(SGChannel channel, Address bounds)
{
    return OnVideo(
        channel, [&](const VideoChannel& found) { return Written(bounds, found.bounds.value_or(found.SourceRect())); });
}

Result SGSetChannelPlayFlags(SGChannel channel, int32_t flags)
{
    return OnChannel(channel, [&](Channel& found) {
        found.playFlags = flags;
        return noErr;
    });
}

Result SGGetChannelPlayFlags(SGChannel channel, Address flags)
{
    return OnChannel(channel, [&](const Channel& found) { return Written(flags, found.playFlags); });
}

Result SGSetChannelVolume(SGChannel channel, int16_t volume)
{
    return OnSound(channel, [&](SoundChannel& found) {
        found.volume = volume;
        return noErr;
    });
}

Result SGGetChannelVolume(SGChannel channel, Address volume)
{
    return OnSound(channel, [&](const SoundChannel& found) { return Written(volume, found.volume); });
}

std::string SGGetChannelReason(SGChannel channel)
{
    const auto found = FindChannel(channel);
    return found ? found->Reason() : std::string();
}

Result SGGetChannelTimeScale(SGChannel channel, Address scale)
{
    return OnChannel(channel, [&](const Channel& found) { return Written(scale, found.TimeScale()); });
}

Result SGGetChannelSampleDescription(SGChannel channel, int32_t handle)
{
    return OnChannel(channel, [&](const Channel& found) {
        return found.description ? SetHandleBytes(handle, found.description->record) : seqGrabInfoNotAvailable;
    });
}

SGChannelCounts SGGetChannelCounts(SGChannel channel)
{
    const auto found = FindChannel(channel);
    return found ? found->Counts() : SGChannelCounts();
}

std::vector<SGLostFrame> SGTakeLostFrames(SGChannel channel)
{
    const auto found = FindChannel(channel);
    return found ? found->TakeLostFrames() : std::vector<SGLostFrame>();
}

} // namespace platform
