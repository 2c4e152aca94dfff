// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

namespace velmora {

/// "a, b or c".
std::string Joined(const std::vector<std::string>& names);

/// How unlike two names are, whatever their case: single letters to change, add or leave out (Levenshtein distance). A
/// name that holds the other one is nearer than any that doesn't.
size_t NameDistance(const std::string& a, const std::string& b);

/// "; did you mean ...?" with up to three of the names that resemble the wanted one. Where none does, "; there is ..."
/// with all of them (at most eight), or nothing where there are no names. `quote` is put around each name.
std::string DidYouMean(const std::string& wanted, const std::vector<std::string>& names,
                       const std::string& quote = "\"");

} // namespace velmora
