// SPDX-License-Identifier: MIT
// The format of the captured video: sizes, compressor, frame rate, time scales. Each call asks the channels; only the
// size of the next movie is stored here.
#include "capture/VelmoraCanvas.h"

#include "platform/digitizer/VideoDigitizer.h"
#include "platform/grabber/SequenceGrabber.h"
#include "platform/memory/Handles.h"
#include "recording/Utilities.h"

namespace velmora {

using Utilities::Trace;

namespace {

constexpr double kFixedOne = 65536.0;

// Fields of an image description.
constexpr int32_t kDescriptionWidth = 32;
constexpr int32_t kDescriptionHeight = 34;

} // namespace

// The source's bounds are read but not used: the result is the size of the standard source.
int32_t VelmoraCanvas::VideoSourceWidth()
{
    const MemoryBlock rect(8);
    platform::SGGetSrcVideoBounds(sgVideoChannel, rect.Pointer());
    return 640;
}

int32_t VelmoraCanvas::VideoSourceHeight()
{
    const MemoryBlock rect(8);
    Trace("SGGetSrcVideoBounds err =", platform::SGGetSrcVideoBounds(sgVideoChannel, rect.Pointer()));
    return 480;
}

int32_t VelmoraCanvas::VideoWidth()
{
    return DescriptionField(kDescriptionWidth);
}

int32_t VelmoraCanvas::VideoHeight()
{
    return DescriptionField(kDescriptionHeight);
}

// A field of the digitizer's image description. The trace names another call than the one made, as it always has, and
// the handle is not disposed.
int32_t VelmoraCanvas::DescriptionField(int32_t offset)
{
    const MemoryBlock rect(8);
    Trace("SGGetSrcVideoBounds err =", platform::SGGetVideoRect(sgVideoChannel, rect.Pointer()));
    const int32_t description = platform::NewHandle(0);
    platform::VDGetImageDescription(platform::SGGetVideoDigitizerComponent(sgVideoChannel), description);
    return MemoryBlock::At(description)->Ptr(0)->Short(offset);
}

void VelmoraCanvas::VideoRecordSize(int32_t width, int32_t height)
{
    videoRecordWidth = width;
    videoRecordHeight = height;
}

// The setter puts the first character into the most significant byte, and the getter returns the bytes in memory order.
// So on a little-endian machine a code reads back reversed.
String VelmoraCanvas::VideoCompressionType()
{
    const MemoryBlock type(4);
    platform::SGGetVideoCompressorType(sgVideoChannel, type.Pointer());
    return type.StringValue(0, 4);
}

void VelmoraCanvas::VideoCompressionType(const String& code)
{
    RaiseFailure(platform::SGSetVideoCompressorType(sgVideoChannel, static_cast<OSType>(OSTypeToLong(code))));
}

struct VelmoraCanvas::CompressorSettings {
    MemoryBlock depth{4};
    MemoryBlock spatial{4};
    MemoryBlock temporal{4};
    MemoryBlock keyFrame{4};
};

void VelmoraCanvas::ReadCompressor(const CompressorSettings& now)
{
    RaiseFailure(platform::SGGetVideoCompressor(sgVideoChannel, now.depth.Pointer(), 0, now.spatial.Pointer(),
                                                now.temporal.Pointer(), now.keyFrame.Pointer()));
}

int32_t VelmoraCanvas::VideoDepth()
{
    const CompressorSettings now;
    ReadCompressor(now);
    return now.depth.Short(0);
}

int32_t VelmoraCanvas::VideoSpatialQuality()
{
    const CompressorSettings now;
    ReadCompressor(now);
    return now.spatial.Long(0);
}

int32_t VelmoraCanvas::VideoTemporalQuality()
{
    const CompressorSettings now;
    ReadCompressor(now);
    return now.temporal.Long(0);
}

int32_t VelmoraCanvas::VideoKeyFrameRate()
{
    const CompressorSettings now;
    ReadCompressor(now);
    return now.keyFrame.Long(0);
}

// The setters read all settings, but then pass the addresses of the other blocks where the platform expects values. The
// platform ignores values out of range, so the other settings stay as they are.

void VelmoraCanvas::VideoDepth(int32_t bits)
{
    const CompressorSettings now;
    ReadCompressor(now);
    RaiseFailure(platform::SGSetVideoCompressor(sgVideoChannel, static_cast<int16_t>(bits), 0, now.spatial.Pointer(),
                                                now.temporal.Pointer(), now.keyFrame.Pointer()));
}

void VelmoraCanvas::VideoSpatialQuality(int32_t quality)
{
    const CompressorSettings now;
    ReadCompressor(now);
    RaiseFailure(platform::SGSetVideoCompressor(sgVideoChannel, static_cast<int16_t>(now.depth.Pointer()), 0, quality,
                                                now.temporal.Pointer(), now.keyFrame.Pointer()));
}

void VelmoraCanvas::VideoTemporalQuality(int32_t quality)
{
    const CompressorSettings now;
    ReadCompressor(now);
    RaiseFailure(platform::SGSetVideoCompressor(sgVideoChannel, static_cast<int16_t>(now.depth.Pointer()), 0,
                                                now.spatial.Pointer(), quality, now.keyFrame.Pointer()));
}

void VelmoraCanvas::VideoKeyFrameRate(int32_t frames)
{
    const CompressorSettings now;
    ReadCompressor(now);
    RaiseFailure(platform::SGSetVideoCompressor(sgVideoChannel, static_cast<int16_t>(now.depth.Pointer()), 0,
                                                now.spatial.Pointer(), now.temporal.Pointer(), frames));
}

double VelmoraCanvas::VideoFrameRate()
{
    const MemoryBlock rate(4);
    RaiseFailure(platform::SGGetFrameRate(sgVideoChannel, rate.Pointer()));
    return rate.Long(0) / kFixedOne;
}

void VelmoraCanvas::VideoFrameRate(double framesPerSecond)
{
    RaiseFailure(platform::SGSetFrameRate(sgVideoChannel, Utilities::double2int(framesPerSecond * kFixedOne)));
}

void VelmoraCanvas::VideoCaptureSize(int32_t width, int32_t height)
{
    RaiseFailure(platform::SGSetVideoFrameSize(sgVideoChannel, width, height));
}

void VelmoraCanvas::VideoCaptureFormat(int32_t format)
{
    RaiseFailure(platform::SGSetVideoFrameFormat(sgVideoChannel, static_cast<uint32_t>(format)));
}

int32_t VelmoraCanvas::VideoDigitizer()
{
    return platform::SGGetVideoDigitizerComponent(sgVideoChannel);
}

CaptureCounts VelmoraCanvas::VideoCounts()
{
    const platform::SGChannelCounts counts = platform::SGGetChannelCounts(sgVideoChannel);
    return {.delivered = counts.delivered,
            .lost = counts.droppedInQueue + counts.lostBeforeUs + counts.unreadable + counts.damaged};
}

int32_t VelmoraCanvas::VideoTimeScale()
{
    return TimeScaleOf(sgVideoChannel);
}

int32_t VelmoraCanvas::SoundTimeScale()
{
    return TimeScaleOf(sgSoundChannel);
}

// A time scale of 0 counts as a failure; the event then carries the result code, which is 0.
int32_t VelmoraCanvas::TimeScaleOf(int32_t channel)
{
    const MemoryBlock scale(4);
    const int32_t result = platform::SGGetChannelTimeScale(channel, scale.Pointer());
    if (result != 0 || scale.Long(0) == 0)
        RaiseError(result);
    return scale.Long(0);
}

} // namespace velmora
