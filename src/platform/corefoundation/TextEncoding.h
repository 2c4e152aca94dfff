// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace platform {

/// The maximum number of bytes that one UTF-16 unit takes in an encoding; 0 for an unknown encoding.
int32_t MaxBytesPerUnit(int32_t encoding);

/// Converts bytes of an encoding to UTF-8. Nothing for an unknown encoding or bytes that are not valid in it.
std::optional<std::string> DecodeText(std::string_view bytes, int32_t encoding);

/// Converts valid UTF-8 to another encoding. Nothing for an unknown encoding or characters that it lacks.
std::optional<std::string> EncodeText(std::string_view text, int32_t encoding);

/// Length of valid UTF-8 in UTF-16 units.
size_t UTF16Length(std::string_view text);

} // namespace platform
