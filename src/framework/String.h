// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace framework {

/// Encodings by the numbers that the platform's string calls use.
inline constexpr int32_t kEncodingUTF8 = 0x08000100;
inline constexpr int32_t kEncodingFileName = 0x7F00; ///< plain bytes that name a file
inline constexpr int32_t kEncodingNone = -1;         ///< plain bytes

/// Bytes with the encoding they are known to have. Texts made from literals are UTF-8; what is read from a block or a
/// file without an encoding is plain bytes, each of which counts as one character.
class String {
public:
    String() = default;
    /// From bytes, taken as UTF-8.
    String(const char* text) : bytes(text) {}
    String(std::string text) : bytes(std::move(text)) {}
    String(std::string_view text) : bytes(text) {}
    /// From bytes in a given encoding.
    String(std::string text, int32_t encoding) : bytes(std::move(text)), encoding(encoding) {}

    /// The bytes as they are.
    const std::string& Bytes() const { return bytes; }
    /// The encoding of the bytes; `HasEncoding` is false for plain bytes.
    int32_t Encoding() const { return encoding; }
    bool HasEncoding() const { return encoding != kEncodingNone; }
    /// Whether there are no bytes.
    bool IsEmpty() const { return bytes.empty(); }

    /// Joined text is UTF-8 when both sides are, else plain bytes.
    String operator+(const String& other) const;

    /// Equal bytes, whatever the encodings.
    bool operator==(const String& other) const { return bytes == other.bytes; }

private:
    std::string bytes;
    int32_t encoding = kEncodingUTF8;
};

inline String operator+(const char* left, const String& right)
{
    return String(left) + right;
}

/// The same bytes declared to be of another encoding.
String DefineEncoding(const String& text, int32_t encoding);

/// Length in characters.
int32_t Len(const String& text);

/// `count` characters from position `start`, counted from 1. Positions outside of the text give what lies inside.
String Mid(const String& text, int32_t start, int32_t count);

/// The first `count` characters, and the first `count` bytes.
String Left(const String& text, int32_t count);
String LeftB(const String& text, int32_t count);

/// Value of the first character (its code point, or its byte in plain bytes); 0 for an empty text.
int32_t Asc(const String& text);

/// The text with each occurrence of `search` replaced. An empty `search` changes nothing.
String ReplaceAll(const String& text, const String& search, const String& replacement);

/// A number as text, independent of the locale: whole numbers without a point, others with up to 7 significant
/// digits, "inf", "nan".
String Str(int32_t value);
String Str(double value);

/// A number by a mask, independent of the locale: "#" a digit if there is one, "0" a digit in any case, "." the point,
/// "-" the sign when negative, other characters as they are. Rounded to the digits that the mask has behind its point.
/// "-#" writes -5 as "-5" and 0 as "0"; "00" writes 7 as "07"; "#" writes 49.8 as "50".
String Format(double value, const String& mask);

/// A four-character code as a number, first character in the most significant byte; and back. Codes of other lengths
/// are padded with zero bytes or cut.
uint32_t StringToOSType(const String& code);
String StringFromOSType(uint32_t code);

/// The end of a line on this system.
String EndOfLine();

} // namespace framework
