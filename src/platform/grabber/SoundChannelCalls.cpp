// SPDX-License-Identifier: MIT
// The published calls on a sound channel.
#include "platform/grabber/ChannelOperation.h"
#include "platform/grabber/SequenceGrabber.h"
#include "platform/memory/Handles.h"

#include <algorithm>
#include <cmath>

namespace platform {
namespace {

// Rates are unsigned with 16 fraction bits, so that 48000 fits.
constexpr double kOneHertz = 65536.0;

} // namespace

int32_t SGGetSoundInputDriver(SGChannel channel)
{
    const auto found = FindChannel<SoundChannel>(channel);
    return found ? found->Driver() : 0;
}

Result SGSetSoundInputParameters(SGChannel channel, int16_t sampleSize, int16_t channels, FourCharCode compression)
{
    return OnSound(channel, [&](SoundChannel& found) {
        return found.SetParameters({sampleSize, channels, compression});
    });
}

Result SGGetSoundInputParameters(SGChannel channel, Address sampleSize, Address channels, Address compression)
{
    return OnSound(channel, [&](const SoundChannel& found) {
        const auto parameters = found.GetParameters();
        for (const Result result : {Written(sampleSize, parameters.sampleSize), Written(channels, parameters.channels),
                                    Written(compression, parameters.compression)})
            if (result != noErr)
                return result;
        return noErr;
    });
}

Result SGSetSoundInputRate(SGChannel channel, Fixed rate)
{
    return OnSound(channel,
                   [&](SoundChannel& found) { return found.SetRate(static_cast<uint32_t>(rate) / kOneHertz); });
}

Fixed SGGetSoundInputRate(SGChannel channel)
{
    const auto found = FindChannel<SoundChannel>(channel);
    const double rate = found ? std::clamp(found->Rate(), 0.0, 65535.0) : 0.0;
    return static_cast<Fixed>(static_cast<uint32_t>(std::llround(rate * kOneHertz)));
}

Result SGSetAdditionalSoundRates(SGChannel channel, int32_t rates)
{
    return OnSound(channel, [&](SoundChannel& found) {
        const auto bytes = HandleBytes(rates);
        if (bytes.data() == nullptr)
            return nilHandleErr;
        if (bytes.size() % sizeof(Fixed) != 0)
            return paramErr;
        found.additionalRates.resize(bytes.size() / sizeof(Fixed));
        __builtin_memcpy(found.additionalRates.data(), bytes.data(), bytes.size());
        return noErr;
    });
}

} // namespace platform
