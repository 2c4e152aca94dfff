// SPDX-License-Identifier: MIT
#pragma once

#include <charconv>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace velmora {

/// Reads a number that takes up the whole text. False for anything else.
template <typename T> bool ReadNumber(std::string_view text, T& value)
{
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size();
}

/// Reads "1280x720"; sides from 1 to 65535.
bool ReadSize(std::string_view text, int& width, int& height);

/// Reads a whole number of bytes, with K, M or G behind it for powers of 1024.
bool ReadBytes(std::string_view text, int64_t& bytes);

/// Reads a local time that is still to come, in seconds since 1970: "20:15", "20:15:30" (today, or tomorrow where that
/// has passed), or either behind a date such as "2026-12-31" and a blank or "T".
std::optional<int64_t> ReadTime(const std::string& text);

} // namespace velmora
