// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace platform {

/// The most bytes that one UTF-16 unit takes in an encoding; 0 for an unknown one.
int32_t MostBytesPerUnit(int32_t encoding);

/// Bytes of an encoding as UTF-8; nothing for an unknown encoding or bytes that are not valid in it.
std::optional<std::string> DecodeText(std::string_view bytes, int32_t encoding);

/// Valid UTF-8 as bytes of an encoding; nothing for an unknown encoding or characters that it lacks.
std::optional<std::string> EncodeText(std::string_view text, int32_t encoding);

/// Units that valid UTF-8 takes in UTF-16.
size_t UTF16Length(std::string_view text);

} // namespace platform
