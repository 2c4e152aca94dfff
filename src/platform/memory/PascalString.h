// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <vector>

namespace platform {

/// A text led by its length in one byte, as records hold names: at most `most` bytes (255 at the highest) of the text,
/// which is cut between two characters of UTF-8.
inline std::vector<uint8_t> PascalString(std::string_view text, size_t most = 255)
{
    size_t length = std::min(text.size(), most);
    // A byte of the form 10xxxxxx belongs to the character before it.
    while (length < text.size() && length > 0 && (static_cast<uint8_t>(text[length]) & 0xC0) == 0x80)
        --length;
    std::vector<uint8_t> bytes(length + 1);
    bytes[0] = static_cast<uint8_t>(length);
    std::copy_n(text.begin(), length, bytes.begin() + 1);
    return bytes;
}

} // namespace platform
