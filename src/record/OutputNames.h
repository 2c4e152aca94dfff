// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <ctime>
#include <string>

namespace velmora {

/// The names of a recording's files. In the pattern %Y %m %d %H %M %S are the local time at which a file starts, %n is
/// its number from 1 on, with at least three digits, and %% a percent sign. For a split recording, "-%n" is inserted
/// before the suffix if the pattern has no %n.
class OutputNames {
public:
    /// Takes a pattern without mistakes (see `Problem`), and whether the recording is split.
    OutputNames(std::string pattern, bool splits);

    /// What is wrong with a pattern, in one line; empty if nothing is.
    static std::string Problem(const std::string& pattern);

    /// The name of file `number` that starts at `time`.
    std::string Name(int number, std::time_t time) const;

private:
    std::string pattern;
};

} // namespace velmora
