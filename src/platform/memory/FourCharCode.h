// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace platform {

/// A four-character code as a number: the first character in the most significant byte.
/// Media types, codecs, component types, atoms and selectors are all named this way.
using FourCharCode = uint32_t;

/// The number of a code given as text. Missing characters count as zero bytes, further ones are ignored.
constexpr FourCharCode CodeOf(std::string_view text)
{
    FourCharCode code = 0;
    for (size_t i = 0; i < 4; ++i)
        code = code << 8 | (i < text.size() ? static_cast<uint8_t>(text[i]) : 0U);
    return code;
}

/// The four characters of a code.
inline std::string TextOf(FourCharCode code)
{
    return {static_cast<char>(code >> 24), static_cast<char>(code >> 16), static_cast<char>(code >> 8),
            static_cast<char>(code)};
}

inline constexpr FourCharCode kVideoMediaType = CodeOf("vide");
inline constexpr FourCharCode kSoundMediaType = CodeOf("soun");

} // namespace platform
