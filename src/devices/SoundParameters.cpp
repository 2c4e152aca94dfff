// SPDX-License-Identifier: MIT
// Format, rate, volume and gain of the sound channel. Nothing is stored here: each read and write goes to the platform.
// Three of the parameters share one call, so setting one means reading all three and writing all three back.
#include "capture/VelmoraCanvas.h"

#include "devices/SoundDriver.h"
#include "framework/LazyFunction.h"

#include <algorithm>

namespace velmora {
namespace {

constexpr uint32_t kFixedOne = 65536;

const framework::LazyFunction<int32_t(int32_t, uint32_t, int32_t)>
    lazySPBSetDeviceInfo("/System/Library/Frameworks/Carbon.framework/Carbon", "SPBSetDeviceInfo");

// The nearest number of 16 bits, so that the platform refuses what is too large instead of taking its low half.
int16_t Saturated(int32_t value)
{
    return static_cast<int16_t>(std::clamp(value, INT16_MIN, INT16_MAX));
}

} // namespace

struct VelmoraCanvas::SoundParameters {
    MemoryBlock sampleSize{4};
    MemoryBlock channels{4};
    MemoryBlock compression{4};
};

int32_t VelmoraCanvas::ReadSoundParameters(const SoundParameters& now)
{
    return platform::SGGetSoundInputParameters(sgSoundChannel, now.sampleSize.Pointer(), now.channels.Pointer(),
                                               now.compression.Pointer());
}

void VelmoraCanvas::WriteSoundParameters(int32_t sampleSize, int32_t channels, int32_t compression)
{
    RaiseFailure(platform::SGSetSoundInputParameters(sgSoundChannel, Saturated(sampleSize), Saturated(channels),
                                                     static_cast<OSType>(compression)));
}

int32_t VelmoraCanvas::SoundSampleSize()
{
    const SoundParameters now;
    ReadSoundParameters(now);
    return now.sampleSize.Short(0);
}

void VelmoraCanvas::SoundSampleSize(int32_t bits)
{
    const SoundParameters now;
    RaiseFailure(ReadSoundParameters(now));
    WriteSoundParameters(bits, now.channels.Short(0), now.compression.Long(0));
}

int32_t VelmoraCanvas::SoundChannelCount()
{
    const SoundParameters now;
    ReadSoundParameters(now);
    return now.channels.Short(0);
}

void VelmoraCanvas::SoundChannelCount(int32_t channels)
{
    const SoundParameters now;
    RaiseFailure(ReadSoundParameters(now));
    WriteSoundParameters(now.sampleSize.Short(0), channels, now.compression.Long(0));
}

// The bytes in memory order: on a little-endian machine the reverse of what the setter takes.
String VelmoraCanvas::SoundCompressionType()
{
    const SoundParameters now;
    ReadSoundParameters(now);
    return now.compression.StringValue(0, 4);
}

// Treats the two other parameters as addresses, so a 0 in either is a nil reference, which raises an exception.
void VelmoraCanvas::SoundCompressionType(const String& code)
{
    const SoundParameters now;
    RaiseFailure(ReadSoundParameters(now));
    const int32_t sampleSize = now.sampleSize.Ptr(0)->Pointer();
    const int32_t channels = now.channels.Ptr(0)->Pointer();
    WriteSoundParameters(sampleSize, channels, OSTypeToLong(code));
}

// In hertz; the fraction is truncated.
int32_t VelmoraCanvas::SoundSampleRate()
{
    const auto rate = static_cast<uint32_t>(platform::SGGetSoundInputRate(sgSoundChannel));
    return static_cast<int32_t>(platform::UnsignedFixedMulDiv(rate, 1, kFixedOne));
}

// A negative rate becomes the highest of all, which no channel accepts.
void VelmoraCanvas::SoundSampleRate(int32_t rate)
{
    const uint32_t fixed = platform::UnsignedFixedMulDiv(static_cast<uint32_t>(rate), kFixedOne, 1);
    platform::SGSetSoundInputRate(sgSoundChannel, static_cast<platform::Fixed>(fixed));
}

int32_t VelmoraCanvas::SoundVolume()
{
    const MemoryBlock volume(4);
    platform::SGGetChannelVolume(sgSoundChannel, volume.Pointer());
    return volume.Short(0);
}

void VelmoraCanvas::SoundVolume(int32_t volume)
{
    platform::SGSetChannelVolume(sgSoundChannel, Saturated(volume));
}

double VelmoraCanvas::SoundInputGain()
{
    const MemoryBlock gain(4);
    RaiseFailure(ReadSoundDriver(sgSoundChannel, "gain", gain));
    return platform::Fix2X(gain.Long(0));
}

// The only write to a driver that is bound by name.
void VelmoraCanvas::SoundInputGain(double value)
{
    MemoryBlock gain(4);
    const int32_t driver = platform::SGGetSoundInputDriver(sgSoundChannel);
    gain.Long(0, platform::X2Fix(value));
    RaiseFailure(lazySPBSetDeviceInfo(driver, framework::StringToOSType("gain"), gain.Pointer()));
}

} // namespace velmora
