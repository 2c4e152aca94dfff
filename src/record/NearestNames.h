// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

namespace velmora {

/// "a, b or c".
std::string Joined(const std::vector<std::string>& names);

/// The Levenshtein distance of two names, ignoring case; 1 if one name contains the other.
size_t NameDistance(const std::string& a, const std::string& b);

/// "; did you mean ...?" with up to three names that are similar to `wanted`. If none is, "; there is ..." with up to
/// eight of them; empty if there are no names. Each name is enclosed in `quote`.
std::string DidYouMean(const std::string& wanted, const std::vector<std::string>& names,
                       const std::string& quote = "\"");

} // namespace velmora
