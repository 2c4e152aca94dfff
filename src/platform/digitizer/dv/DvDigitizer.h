// SPDX-License-Identifier: MIT
#pragma once

#include "platform/digitizer/Digitizer.h"
#include "platform/sound/SoundSource.h"

namespace platform {

/// The DV camcorders on the bus, as entries of the video and of the sound list: one camcorder is both, under one name.
std::vector<DigitizerEntry> ListDvDigitizers();
/// The same camcorders as sound sources.
std::vector<SoundSourceEntry> ListDvSoundSources();

/// The identity of a camcorder: "dv:" and the GUID in hexadecimal digits.
std::string DvIdentityOf(uint64_t guid);

/// Opens a camcorder's picture or sound by its identity; null for an identity of another kind or a device that is not
/// on the bus. Both share one stream, so sound and picture carry times of one frame, and each stops by itself.
std::unique_ptr<Digitizer> OpenDvDigitizer(const std::string& identity);
/// Opens a camcorder's sound by its identity; null like `OpenDvDigitizer`.
std::unique_ptr<SoundSource> OpenDvSoundSource(const std::string& identity);

} // namespace platform
