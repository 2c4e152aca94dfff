// SPDX-License-Identifier: MIT
#include "recording/FirstSoundBuffer.h"

#include "recording/Utilities.h"

namespace velmora {

SoundPart TrimFirstSoundBuffer(int32_t bytes, int16_t bytesPerSample, int16_t channels, int32_t rate, int32_t video,
                               int32_t videoTimeScale)
{
    const int32_t samples = Utilities::double2int(static_cast<double>(bytes) / bytesPerSample / channels);
    const int32_t kept = Utilities::double2int(static_cast<double>(video) / videoTimeScale * rate);
    const auto offset = static_cast<int32_t>((int64_t{samples} - kept) * bytesPerSample * channels);
    return {kept, offset, static_cast<int32_t>(int64_t{bytes} - offset)};
}

} // namespace velmora
