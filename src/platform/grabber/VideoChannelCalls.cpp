// SPDX-License-Identifier: MIT
// The published calls on a video channel.
#include "platform/grabber/ChannelOperation.h"
#include "platform/grabber/SequenceGrabber.h"

#include <algorithm>
#include <array>

namespace platform {
namespace {

constexpr int32_t kHighestKeyFrameRate = 65535;
constexpr std::array kDepths{1, 2, 4, 8, 16, 24, 32, 40};

void SetWhereInRange(int32_t& setting, int32_t value, int32_t highest)
{
    if (value >= 0 && value <= highest)
        setting = value;
}

} // namespace

ComponentInstance SGGetVideoDigitizerComponent(SGChannel channel)
{
    const auto found = FindChannel<VideoChannel>(channel);
    return found ? found->DigitizerReference() : badSGChannel;
}

Result SGGetSrcVideoBounds(SGChannel channel, Address rect)
{
    return OnVideo(channel, [&](const VideoChannel& found) { return Written(rect, found.SourceRect()); });
}

Result SGGetVideoRect(SGChannel channel, Address rect)
{
    return SGGetSrcVideoBounds(channel, rect);
}

Result SGSetVideoCompressorType(SGChannel channel, FourCharCode compressor)
{
    return OnVideo(channel, [&](VideoChannel& found) {
        CompressionSettings settings = found.Compression();
        settings.codec = compressor;
        return found.SetCompression(settings);
    });
}

Result SGGetVideoCompressorType(SGChannel channel, Address compressor)
{
    return OnVideo(channel, [&](const VideoChannel& found) { return Written(compressor, found.Compression().codec); });
}

Result SGSetVideoCompressor(SGChannel channel, int16_t depth, FourCharCode compressor, int32_t spatialQuality,
                            int32_t temporalQuality, int32_t keyFrameRate)
{
    return OnVideo(channel, [&](VideoChannel& found) {
        CompressionSettings settings = found.Compression();
        if (std::ranges::find(kDepths, depth) != kDepths.end())
            settings.depth = depth;
        if (compressor != 0)
            settings.codec = compressor;
        SetWhereInRange(settings.spatialQuality, spatialQuality, kHighestQuality);
        SetWhereInRange(settings.temporalQuality, temporalQuality, kHighestQuality);
        SetWhereInRange(settings.keyFrameRate, keyFrameRate, kHighestKeyFrameRate);
        return found.SetCompression(settings);
    });
}

Result SGGetVideoCompressor(SGChannel channel, Address depth, Address compressor, Address spatialQuality,
                            Address temporalQuality, Address keyFrameRate)
{
    return OnVideo(channel, [&](const VideoChannel& found) {
        const CompressionSettings settings = found.Compression();
        for (const Result result :
             {WrittenIfWanted(depth, static_cast<int16_t>(settings.depth)), WrittenIfWanted(compressor, settings.codec),
              WrittenIfWanted(spatialQuality, settings.spatialQuality),
              WrittenIfWanted(temporalQuality, settings.temporalQuality),
              WrittenIfWanted(keyFrameRate, settings.keyFrameRate)})
            if (result != noErr)
                return result;
        return noErr;
    });
}

Result SGSetFrameRate(SGChannel channel, Fixed rate)
{
    return OnVideo(channel, [&](VideoChannel& found) { return rate < 0 ? paramErr : found.SetFrameRate(Fix2X(rate)); });
}

Result SGSetVideoFrameSize(SGChannel channel, int32_t width, int32_t height)
{
    return OnVideo(channel, [&](VideoChannel& found) {
        return width < 1 || height < 1 ? paramErr : found.SetFrameSize(width, height);
    });
}

Result SGSetVideoFrameFormat(SGChannel channel, FourCharCode format)
{
    return OnVideo(channel, [&](VideoChannel& found) {
        CaptureFormat wanted = found.GetDigitizer().Format();
        wanted.format = format;
        return found.SetFormat(wanted);
    });
}

Result SGGetFrameRate(SGChannel channel, Address rate)
{
    return OnVideo(channel,
                   [&](VideoChannel& found) { return Written(rate, X2Fix(found.GetDigitizer().Format().frameRate)); });
}

} // namespace platform
