// SPDX-License-Identifier: MIT
#pragma once

#include "platform/digitizer/Digitizer.h"
#include "platform/sound/SoundSource.h"

namespace platform {

/// The DV camcorders on the bus for the list of video devices. Each is in the list of sound sources too, under the same
/// name.
std::vector<DigitizerEntry> ListDvDigitizers();
/// The same camcorders as sound sources.
std::vector<SoundSourceEntry> ListDvSoundSources();

/// The identity of a camcorder: "dv:" and the GUID in hexadecimal.
std::string DvIdentityOf(uint64_t guid);

/// Opens a camcorder's picture by its identity; null for an identity of another kind or an absent device. Picture and
/// sound share one stream, so both have the times of the same frames, and each stops independently.
std::unique_ptr<Digitizer> OpenDvDigitizer(const std::string& identity);
/// Opens a camcorder's sound by its identity; null as for `OpenDvDigitizer`.
std::unique_ptr<SoundSource> OpenDvSoundSource(const std::string& identity);

} // namespace platform
