// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <vector>

namespace platform {

/// A Pascal string: one length byte, then at most `max` bytes (255 or fewer) of the text, truncated between two UTF-8
/// characters.
inline std::vector<uint8_t> PascalString(std::string_view text, size_t max = 255)
{
    size_t length = std::min(text.size(), max);
    // A byte of the form 10xxxxxx belongs to the character before it.
    while (length < text.size() && length > 0 && (static_cast<uint8_t>(text[length]) & 0xC0) == 0x80)
        --length;
    std::vector<uint8_t> bytes(length + 1);
    bytes[0] = static_cast<uint8_t>(length);
    std::copy_n(text.begin(), length, bytes.begin() + 1);
    return bytes;
}

} // namespace platform
