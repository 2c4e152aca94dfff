// SPDX-License-Identifier: MIT
#pragma once

#include <charconv>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace velmora {

/// Parses a number. Returns false unless the whole text is a number.
template <typename T> bool ReadNumber(std::string_view text, T& value)
{
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size();
}

/// Parses "1280x720" with sides from 1 to 65535. Returns false for anything else.
bool ReadSize(std::string_view text, int& width, int& height);

/// Parses a positive number of bytes, optionally followed by K, M or G (powers of 1024). Returns false for anything
/// else.
bool ReadBytes(std::string_view text, int64_t& bytes);

/// Parses a local time in the future: "20:15" or "20:15:30" (today, or tomorrow if that has passed), optionally after a
/// date such as "2026-12-31" and a blank or "T". Returns seconds since 1970, or nothing for anything else.
std::optional<int64_t> ReadTime(const std::string& text);

} // namespace velmora
