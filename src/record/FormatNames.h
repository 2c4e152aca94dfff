// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/FrameCompressor.h"
#include "platform/memory/FourCharCode.h"

#include <optional>
#include <string>
#include <vector>

namespace velmora {

/// The code of a frame format or a compressor, and its name for the user.
struct NamedCode {
    platform::FourCharCode code;
    std::string name;
};

/// The name of a frame format for the user.
std::string NameOfFormat(platform::FourCharCode format);

/// A code without trailing blanks; a code that is not text, such as 32, as a number.
std::string ShownCode(platform::FourCharCode code);

/// Finds an entry by its code, its name or its name in other programs ("MJPG", "YUYV", "h264"), ignoring case.
std::optional<platform::FourCharCode> FindCode(const std::string& wanted, const std::vector<NamedCode>& known);

/// "; did you mean ...?" for a code or name that is not in `known`.
std::string NearestCodes(const std::string& wanted, const std::vector<NamedCode>& known);

/// The compressors of this machine.
std::vector<NamedCode> NamedCompressors();

} // namespace velmora
