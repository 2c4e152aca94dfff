// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/FrameCompressor.h"
#include "platform/memory/FourCharCode.h"

#include <optional>
#include <string>
#include <vector>

namespace velmora {

/// A format of frames or a compressor, by its code and by its name for people.
struct NamedCode {
    platform::FourCharCode code;
    std::string name;
};

/// The name of a format that cameras deliver.
std::string NameOfFormat(platform::FourCharCode format);

/// A code without the blanks at its end; one that is no text, as that of 32-bit pixels, as its number.
std::string ShownCode(platform::FourCharCode code);

/// The entry that a user means: by its code, its name, or what other programs call it ("MJPG", "YUYV", "h264"), in
/// upper or lower case.
std::optional<platform::FourCharCode> FindCode(const std::string& wanted, const std::vector<NamedCode>& known);

/// "; did you mean ...?" about a code or name that is none of those.
std::string NearestCodes(const std::string& wanted, const std::vector<NamedCode>& known);

/// The compressors of this machine.
std::vector<NamedCode> NamedCompressors();

} // namespace velmora
