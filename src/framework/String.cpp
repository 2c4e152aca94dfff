// SPDX-License-Identifier: MIT
#include "framework/String.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace framework {
namespace {

constexpr int kSignificantDigits = 7;
// Above this a double has no fraction.
constexpr double kExactWhole = 1e15;

// Size in bytes of the character at `position`; 1 for a byte that starts no valid sequence.
size_t CharacterSize(const String& text, size_t position)
{
    const std::string& bytes = text.Bytes();
    const auto lead = static_cast<uint8_t>(bytes[position]);
    if (text.Encoding() != kEncodingUTF8 || lead < 0xC2 || lead > 0xF4)
        return 1;
    const size_t size = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    if (position + size > bytes.size())
        return 1;
    for (size_t i = 1; i < size; ++i)
        if ((static_cast<uint8_t>(bytes[position + i]) & 0xC0) != 0x80)
            return 1;
    return size;
}

// The position `count` characters after `position`, or the text's end.
size_t Advance(const String& text, size_t position, int64_t count)
{
    while (count-- > 0 && position < text.Bytes().size())
        position += CharacterSize(text, position);
    return position;
}

template <typename Number, typename... Style> std::string Digits(Number value, Style... style)
{
    char buffer[400]; // the largest double has 309 digits
    const auto end = std::to_chars(buffer, buffer + sizeof buffer, value, style...).ptr;
    return {buffer, end};
}

std::string NotANumber(double value)
{
    return std::isnan(value) ? "nan" : "inf";
}

bool IsPlaceholder(char c)
{
    return c == '#' || c == '0';
}

// Digits of a number without its sign, rounded half away from zero to `decimals` places.
struct RoundedDigits {
    std::string whole;
    std::string fraction;
    bool isZero = false;
};

RoundedDigits Round(double magnitude, int decimals)
{
    const double scaled = std::round(magnitude * std::pow(10.0, decimals));
    std::string all;
    if (scaled < kExactWhole)
        all = Digits(static_cast<int64_t>(scaled));
    else
        all = Digits(magnitude, std::chars_format::fixed, decimals);
    std::erase(all, '.');
    const auto places = static_cast<size_t>(decimals);
    if (all.size() <= places)
        all.insert(0, places + 1 - all.size(), '0');
    return {all.substr(0, all.size() - places), all.substr(all.size() - places), scaled == 0};
}

// Fills the part of a mask before the point from the right; the first placeholder takes all remaining digits.
std::string FillWhole(const std::string& mask, std::string digits, bool negative)
{
    const auto needed = static_cast<size_t>(std::ranges::count_if(mask, IsPlaceholder));
    bool first = true;
    size_t placesLeft = needed;
    std::string filled;
    for (const char c : mask) {
        if (c == '-') {
            filled += negative ? "-" : "";
        } else if (!IsPlaceholder(c)) {
            filled += c;
        } else {
            const size_t take = first && digits.size() > needed ? digits.size() - needed + 1
                                : digits.size() >= placesLeft   ? 1
                                                                : 0;
            filled += digits.substr(0, take);
            digits.erase(0, take);
            if (take == 0 && c == '0')
                filled += '0';
            first = false;
            --placesLeft;
        }
    }
    return filled;
}

// Fills the part after the point: a "#" drops trailing zeros.
std::string FillFraction(const std::string& mask, const std::string& digits)
{
    size_t significant = digits.find_last_not_of('0') + 1;
    size_t used = 0;
    for (const char c : mask)
        if (IsPlaceholder(c) && ++used > significant && c == '0')
            significant = used;
    std::string filled;
    used = 0;
    for (const char c : mask) {
        if (!IsPlaceholder(c))
            filled += c;
        else if (used++ < significant)
            filled += digits[used - 1];
    }
    return filled;
}

} // namespace

String String::operator+(const String& other) const
{
    const bool bothUTF8 = encoding == kEncodingUTF8 && other.encoding == kEncodingUTF8;
    return {bytes + other.bytes, bothUTF8 ? kEncodingUTF8 : kEncodingNone};
}

String DefineEncoding(const String& text, int32_t encoding)
{
    return {text.Bytes(), encoding};
}

int32_t Len(const String& text)
{
    int32_t length = 0;
    for (size_t position = 0; position < text.Bytes().size(); position += CharacterSize(text, position))
        ++length;
    return length;
}

String Mid(const String& text, int32_t start, int32_t count)
{
    const int64_t end = int64_t{start} + count;
    const int64_t from = std::max<int64_t>(start, 1);
    const size_t begin = Advance(text, 0, from - 1);
    return {text.Bytes().substr(begin, Advance(text, begin, end - from) - begin), text.Encoding()};
}

String Left(const String& text, int32_t count)
{
    return Mid(text, 1, count);
}

String LeftB(const String& text, int32_t count)
{
    return {text.Bytes().substr(0, static_cast<size_t>(std::max(count, 0))), text.Encoding()};
}

int32_t Asc(const String& text)
{
    if (text.IsEmpty())
        return 0;
    const size_t size = CharacterSize(text, 0);
    const auto byteAt = [&](size_t i) { return static_cast<uint8_t>(text.Bytes()[i]); };
    if (size == 1)
        return byteAt(0);
    int32_t value = byteAt(0) & (0x7F >> size);
    for (size_t i = 1; i < size; ++i)
        value = value << 6 | (byteAt(i) & 0x3F);
    return value;
}

String ReplaceAll(const String& text, const String& search, const String& replacement)
{
    if (search.IsEmpty())
        return text;
    std::string result;
    const std::string& bytes = text.Bytes();
    size_t position = 0;
    for (size_t found; (found = bytes.find(search.Bytes(), position)) != std::string::npos;
         position = found + search.Bytes().size())
        result.append(bytes, position, found - position).append(replacement.Bytes());
    result.append(bytes, position);
    return {result, text.Encoding()};
}

String Str(int32_t value)
{
    return Digits(value);
}

String Str(double value)
{
    if (!std::isfinite(value))
        return (value < 0 ? "-" : "") + NotANumber(value);
    if (value == std::trunc(value) && std::abs(value) < kExactWhole)
        return Digits(static_cast<int64_t>(value));
    return Digits(value, std::chars_format::general, kSignificantDigits);
}

String Format(double value, const String& mask)
{
    const std::string& pattern = mask.Bytes();
    const size_t point = std::min(pattern.find('.'), pattern.size());
    const std::string wholeMask = pattern.substr(0, point);
    if (!std::isfinite(value))
        return (value < 0 && wholeMask.find('-') != std::string::npos ? "-" : "") + NotANumber(value);
    const std::string fractionMask = point < pattern.size() ? pattern.substr(point + 1) : "";
    const auto decimals = static_cast<int>(std::ranges::count_if(fractionMask, IsPlaceholder));
    const RoundedDigits digits = Round(std::abs(value), decimals);
    const std::string whole = FillWhole(wholeMask, digits.whole, value < 0 && !digits.isZero);
    const std::string fraction = FillFraction(fractionMask, digits.fraction);
    return fraction.empty() ? whole : whole + "." + fraction;
}

uint32_t StringToOSType(const String& code)
{
    uint32_t number = 0;
    for (size_t i = 0; i < 4; ++i)
        number = number << 8 | (i < code.Bytes().size() ? static_cast<uint8_t>(code.Bytes()[i]) : 0U);
    return number;
}

String StringFromOSType(uint32_t code)
{
    return std::string{static_cast<char>(code >> 24), static_cast<char>(code >> 16), static_cast<char>(code >> 8),
                       static_cast<char>(code)};
}

String EndOfLine()
{
    return "\n";
}

} // namespace framework
