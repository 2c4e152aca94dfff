// SPDX-License-Identifier: MIT
#include "platform/files/DeviceText.h"

#include <cstdint>

namespace platform {
namespace {

// Length of the UTF-8 sequence that begins at `at`; 0 where there is none.
size_t SequenceLength(std::string_view text, size_t at)
{
    const auto byte = [&](size_t i) { return i < text.size() ? static_cast<uint8_t>(text[i]) : uint8_t{0}; };
    const uint8_t lead = byte(at);
    const size_t length = lead < 0x80                   ? 1
                          : lead >= 0xC2 && lead < 0xE0 ? 2
                          : lead >> 4 == 0xE            ? 3
                          : lead >= 0xF0 && lead < 0xF5 ? 4
                                                        : 0;
    for (size_t i = 1; i < length; ++i)
        if (byte(at + i) >> 6 != 2)
            return 0;
    const uint8_t second = byte(at + 1);
    const bool isOverlong = (lead == 0xE0 && second < 0xA0) || (lead == 0xF0 && second < 0x90);
    const bool isNoCharacter = (lead == 0xED && second >= 0xA0) || (lead == 0xF4 && second >= 0x90);
    return isOverlong || isNoCharacter ? 0 : length;
}

bool IsUtf8(std::string_view text)
{
    for (size_t i = 0; i < text.size();) {
        const size_t length = SequenceLength(text, i);
        if (length == 0)
            return false;
        i += length;
    }
    return true;
}

} // namespace

std::string CleanDeviceText(std::string_view text)
{
    text = text.substr(0, text.find('\0'));
    const bool isUtf8 = IsUtf8(text);
    std::string clean;
    for (const char character : text) {
        const auto byte = static_cast<uint8_t>(character);
        if (byte < 0x20 || byte == 0x7F || (!isUtf8 && byte >= 0x80 && byte < 0xA0))
            continue;
        if (!isUtf8 && byte >= 0x80) {
            clean += static_cast<char>(0xC0 | byte >> 6);
            clean += static_cast<char>(0x80 | (byte & 0x3F));
        } else {
            clean += character;
        }
    }
    const size_t first = clean.find_first_not_of(' ');
    return first == std::string::npos ? std::string() : clean.substr(first, clean.find_last_not_of(' ') - first + 1);
}

} // namespace platform
