// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace framework {

/// Text encodings, with the numbers of the platform's string calls.
inline constexpr int32_t kEncodingUTF8 = 0x08000100;
inline constexpr int32_t kEncodingFileName = 0x7F00; ///< plain bytes that name a file
inline constexpr int32_t kEncodingNone = -1;         ///< plain bytes

/// Bytes with an encoding. Texts from literals are UTF-8. Texts read from a memory block or a file have no encoding;
/// each of their bytes counts as one character.
class String {
public:
    String() = default;
    String(const char* text) : bytes(text) {}            ///< from UTF-8
    String(std::string text) : bytes(std::move(text)) {} ///< from UTF-8
    String(std::string_view text) : bytes(text) {}       ///< from UTF-8
    /// From bytes in that encoding.
    String(std::string text, int32_t encoding) : bytes(std::move(text)), encoding(encoding) {}

    /// The bytes, without conversion.
    const std::string& Bytes() const { return bytes; }
    /// The encoding of the bytes; `kEncodingNone` for plain bytes.
    int32_t Encoding() const { return encoding; }
    /// False for plain bytes.
    bool HasEncoding() const { return encoding != kEncodingNone; }
    /// Whether there are no bytes.
    bool IsEmpty() const { return bytes.empty(); }

    /// Joins two texts: UTF-8 if both are UTF-8, else plain bytes.
    String operator+(const String& other) const;

    /// Compares the bytes and ignores the encodings.
    bool operator==(const String& other) const { return bytes == other.bytes; }

private:
    std::string bytes;
    int32_t encoding = kEncodingUTF8;
};

/// Joins a literal, which is UTF-8, and a text.
inline String operator+(const char* left, const String& right)
{
    return String(left) + right;
}

/// The same bytes with another encoding.
String DefineEncoding(const String& text, int32_t encoding);

/// Length in characters.
int32_t Len(const String& text);

/// `count` characters from position `start`, counted from 1. Positions outside of the text are ignored.
String Mid(const String& text, int32_t start, int32_t count);

/// The first `count` characters.
String Left(const String& text, int32_t count);
/// The first `count` bytes.
String LeftB(const String& text, int32_t count);

/// Code point of the first character, or the first of plain bytes; 0 for an empty text.
int32_t Asc(const String& text);

/// Replaces each occurrence of `search`. An empty `search` replaces nothing.
String ReplaceAll(const String& text, const String& search, const String& replacement);

/// An integer as text, independent of the locale.
String Str(int32_t value);
/// A number as text, independent of the locale: whole numbers without a point, others with up to 7 significant digits,
/// "inf" and "nan".
String Str(double value);

/// Formats a number by a mask, independent of the locale: "#" is an optional digit, "0" a digit, "." the point, "-" the
/// sign of a negative number; other characters are copied. Rounds to the digits after the mask's point.
/// "-#" writes -5 as "-5" and 0 as "0"; "00" writes 7 as "07"; "#" writes 49.8 as "50".
String Format(double value, const String& mask);

/// A four-character code as a number, first character in the most significant byte. Shorter texts are padded with zero
/// bytes, longer ones truncated.
uint32_t StringToOSType(const String& code);
/// The four characters of such a number.
String StringFromOSType(uint32_t code);

/// The line end of this system: a line feed.
String EndOfLine();

} // namespace framework
