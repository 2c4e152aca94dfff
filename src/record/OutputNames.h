// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <ctime>
#include <string>

namespace velmora {

/// The names of a recording's files, made from a pattern in which %Y %m %d %H %M %S stand for the local time at which a
/// file begins, %n for its number from 1 on, with three digits or more, and %% for a percent sign. The pattern of a
/// recording that is split gets "-%n" before its suffix where it holds no %n.
class OutputNames {
public:
    OutputNames(std::string pattern, bool splits);

    /// Empty, or one line about what is wrong with a pattern.
    static std::string Problem(const std::string& pattern);

    /// The name of file `number` that begins at `time`.
    std::string Name(int number, std::time_t time) const;

private:
    std::string pattern;
};

} // namespace velmora
