// SPDX-License-Identifier: MIT
#include "platform/corefoundation/TextEncoding.h"

#include "platform/corefoundation/CoreFoundation.h"

#include <algorithm>
#include <array>

namespace platform {
namespace {

bool IsASCII(char byte)
{
    return static_cast<uint8_t>(byte) < 0x80;
}

bool IsContinuation(char byte)
{
    return (static_cast<uint8_t>(byte) & 0xC0) == 0x80;
}

// Length of the UTF-8 sequence that starts with `lead`; 0 if none does.
size_t SequenceLength(char lead)
{
    const auto byte = static_cast<uint8_t>(lead);
    if (byte < 0x80)
        return 1;
    if (byte < 0xC0 || byte > 0xF7)
        return 0;
    return byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : 4;
}

// Decodes and removes the first character. Returns nothing for invalid UTF-8, including overlong forms, surrogates and
// code points above U+10FFFF.
std::optional<uint32_t> TakeCharacter(std::string_view& text)
{
    static constexpr std::array<uint32_t, 5> smallest{0, 0, 0x80, 0x800, 0x10000};
    static constexpr std::array<uint32_t, 5> leadBits{0, 0x7F, 0x1F, 0x0F, 0x07};
    const size_t length = SequenceLength(text.front());
    if (length == 0 || text.size() < length)
        return {};
    uint32_t character = static_cast<uint8_t>(text.front()) & leadBits[length];
    for (const char byte : text.substr(1, length - 1)) {
        if (!IsContinuation(byte))
            return {};
        character = character << 6 | (static_cast<uint8_t>(byte) & 0x3FU);
    }
    if (character < smallest[length] || character > 0x10FFFF || (character >= 0xD800 && character < 0xE000))
        return {};
    text.remove_prefix(length);
    return character;
}

bool IsUTF8(std::string_view bytes)
{
    while (!bytes.empty())
        if (!TakeCharacter(bytes))
            return false;
    return true;
}

std::string UTF8OfLatin1(std::string_view bytes)
{
    std::string text;
    for (const char byte : bytes) {
        if (IsASCII(byte)) {
            text += byte;
        } else {
            text += static_cast<char>(0xC0 | static_cast<uint8_t>(byte) >> 6);
            text += static_cast<char>(0x80 | (static_cast<uint8_t>(byte) & 0x3F));
        }
    }
    return text;
}

std::optional<std::string> Latin1OfUTF8(std::string_view text)
{
    std::string bytes;
    while (!text.empty()) {
        const auto character = TakeCharacter(text);
        if (!character || *character > 0xFF)
            return {};
        bytes += static_cast<char>(*character);
    }
    return bytes;
}

} // namespace

int32_t MaxBytesPerUnit(int32_t encoding)
{
    switch (encoding) {
    case kCFStringEncodingUTF8:
        return 3;
    case kCFStringEncodingASCII:
    case kCFStringEncodingISOLatin1:
        return 1;
    default:
        return 0;
    }
}

std::optional<std::string> DecodeText(std::string_view bytes, int32_t encoding)
{
    if (encoding == kCFStringEncodingISOLatin1)
        return UTF8OfLatin1(bytes);
    const bool valid = encoding == kCFStringEncodingFileName || (encoding == kCFStringEncodingUTF8 && IsUTF8(bytes)) ||
                       (encoding == kCFStringEncodingASCII && std::ranges::all_of(bytes, IsASCII));
    return valid ? std::optional(std::string(bytes)) : std::nullopt;
}

std::optional<std::string> EncodeText(std::string_view text, int32_t encoding)
{
    if (encoding == kCFStringEncodingISOLatin1)
        return Latin1OfUTF8(text);
    const bool fits =
        encoding == kCFStringEncodingUTF8 || (encoding == kCFStringEncodingASCII && std::ranges::all_of(text, IsASCII));
    return fits ? std::optional(std::string(text)) : std::nullopt;
}

size_t UTF16Length(std::string_view text)
{
    // Each character has one byte that is no continuation byte; a character of four bytes takes two units.
    return static_cast<size_t>(std::ranges::count_if(text, [](char byte) { return !IsContinuation(byte); }) +
                               std::ranges::count_if(text, [](char byte) { return SequenceLength(byte) == 4; }));
}

} // namespace platform
