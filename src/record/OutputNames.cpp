// SPDX-License-Identifier: MIT
#include "record/OutputNames.h"

#include <string_view>

namespace velmora {
namespace {

constexpr std::string_view kTimeParts = "YmdHMS";

bool HasNumber(const std::string& pattern)
{
    for (size_t sign = pattern.find('%'); sign != std::string::npos; sign = pattern.find('%', sign + 2))
        if (sign + 1 < pattern.size() && pattern[sign + 1] == 'n')
            return true;
    return false;
}

std::string Number(int number)
{
    char text[16];
    std::snprintf(text, sizeof text, "%03d", number);
    return text;
}

std::string TimePart(char part, std::time_t time)
{
    std::tm parts{};
    localtime_r(&time, &parts);
    const char form[] = {'%', part, '\0'};
    char text[16];
    return {text, std::strftime(text, sizeof text, form, &parts)};
}

} // namespace

OutputNames::OutputNames(std::string given, bool splits) : pattern(std::move(given))
{
    if (!splits || HasNumber(pattern))
        return;
    const size_t name = pattern.rfind('/') + 1; // 0 if there is no folder
    const size_t suffix = pattern.rfind('.');
    pattern.insert(suffix == std::string::npos || suffix <= name ? pattern.size() : suffix, "-%n");
}

std::string OutputNames::Problem(const std::string& pattern)
{
    for (size_t sign = pattern.find('%'); sign != std::string::npos; sign = pattern.find('%', sign + 2)) {
        const char part = sign + 1 < pattern.size() ? pattern[sign + 1] : '\0';
        if (part == '\0' || (kTimeParts.find(part) == std::string_view::npos && part != 'n' && part != '%'))
            return pattern + ": expected one of %Y %m %d %H %M %S %n %% in a name, got \"" + pattern.substr(sign, 2) +
                   "\"";
    }
    return {};
}

std::string OutputNames::Name(int number, std::time_t time) const
{
    std::string name;
    for (size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] != '%') {
            name += pattern[i];
            continue;
        }
        const char part = pattern[++i];
        name += part == 'n' ? Number(number) : part == '%' ? "%" : TimePart(part, time);
    }
    return name;
}

} // namespace velmora
