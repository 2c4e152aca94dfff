// SPDX-License-Identifier: MIT
#include "record/OptionValues.h"

#include <ctime>

namespace velmora {
namespace {

constexpr int kMaxSide = 65535;

} // namespace

bool ReadSize(std::string_view text, int& width, int& height)
{
    const size_t cross = text.find('x');
    return cross != std::string_view::npos && ReadNumber(text.substr(0, cross), width) &&
           ReadNumber(text.substr(cross + 1), height) && width > 0 && height > 0 && width <= kMaxSide &&
           height <= kMaxSide;
}

bool ReadBytes(std::string_view text, int64_t& bytes)
{
    constexpr std::string_view kUnits = "KMG";
    int shift = 0;
    if (const size_t unit = text.empty() ? std::string_view::npos : kUnits.find(text.back());
        unit != std::string_view::npos) {
        shift = 10 * (static_cast<int>(unit) + 1);
        text.remove_suffix(1);
    }
    if (!ReadNumber(text, bytes) || bytes < 1 || bytes > INT64_MAX >> shift)
        return false;
    bytes <<= shift;
    return true;
}

std::optional<int64_t> ReadTime(const std::string& text)
{
    const time_t now = std::time(nullptr);
    for (const char* const form :
         {"%Y-%m-%d %H:%M:%S", "%Y-%m-%d %H:%M", "%Y-%m-%dT%H:%M:%S", "%Y-%m-%dT%H:%M", "%H:%M:%S", "%H:%M"}) {
        std::tm parts{};
        localtime_r(&now, &parts);
        parts.tm_sec = 0;
        const char* const end = strptime(text.c_str(), form, &parts);
        if (end == nullptr || *end != '\0')
            continue;
        parts.tm_isdst = -1;
        time_t time = std::mktime(&parts);
        if (time <= now && form[1] == 'H') {
            ++parts.tm_mday;
            parts.tm_isdst = -1;
            time = std::mktime(&parts);
        }
        return time > now ? std::optional<int64_t>(time) : std::nullopt;
    }
    return std::nullopt;
}

} // namespace velmora
