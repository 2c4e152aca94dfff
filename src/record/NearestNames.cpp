// SPDX-License-Identifier: MIT
#include "record/NearestNames.h"

#include <algorithm>
#include <cctype>
#include <numeric>
#include <utility>

namespace velmora {
namespace {

constexpr size_t kMaxSuggestions = 3;
constexpr size_t kMaxListed = 8;

std::string Lowered(std::string text)
{
    std::ranges::transform(text, text.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

size_t EditDistance(const std::string& a, const std::string& b)
{
    std::vector<size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), size_t{0});
    for (size_t i = 0; i < a.size(); ++i) {
        size_t diagonal = std::exchange(row[0], i + 1);
        for (size_t j = 0; j < b.size(); ++j) {
            const size_t changed = diagonal + (a[i] == b[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({changed, row[j] + 1, row[j + 1] + 1});
        }
    }
    return row.back();
}

} // namespace

std::string Joined(const std::vector<std::string>& names)
{
    std::string text;
    for (size_t i = 0; i < names.size(); ++i)
        text += (i == 0 ? "" : i + 1 == names.size() ? " or " : ", ") + names[i];
    return text;
}

size_t NameDistance(const std::string& a, const std::string& b)
{
    const std::string first = Lowered(a);
    const std::string second = Lowered(b);
    const bool oneHoldsTheOther = !first.empty() && !second.empty() &&
                                  (first.find(second) != std::string::npos || second.find(first) != std::string::npos);
    return oneHoldsTheOther ? (first == second ? 0 : 1) : EditDistance(first, second);
}

std::string DidYouMean(const std::string& wanted, const std::vector<std::string>& names, const std::string& quote)
{
    std::vector<std::pair<size_t, std::string>> near;
    for (const std::string& name : names)
        if (const size_t distance = NameDistance(wanted, name); distance <= std::max<size_t>(2, wanted.size() / 3))
            near.emplace_back(distance, quote + name + quote);
    std::ranges::stable_sort(near, {}, &std::pair<size_t, std::string>::first);
    std::vector<std::string> shown;
    for (const auto& [distance, name] : near)
        shown.push_back(name);
    shown.resize(std::min(shown.size(), kMaxSuggestions));
    if (!shown.empty())
        return "; did you mean " + Joined(shown) + "?";
    for (const std::string& name : names)
        shown.push_back(quote + name + quote);
    if (shown.empty() || quote.empty())
        return {};
    const bool more = shown.size() > kMaxListed;
    shown.resize(std::min(shown.size(), kMaxListed));
    return "; there is " + Joined(shown) + (more ? " and more" : "");
}

} // namespace velmora
