// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace velmora {

/// A long option of a terminal program.
struct Option {
    std::string name;                      ///< without the dashes
    std::string value;                     ///< placeholder of its value in the help; empty: the option takes none
    std::string help;                      ///< one or more lines
    std::string expected;                  ///< the values that are allowed, for the error message
    std::function<bool(std::string)> take; ///< stores the value (empty for an option without one); false rejects it
    bool repeatable = false;
};

/// Options shown under one heading of the help.
struct OptionGroup {
    std::string title;
    std::vector<Option> options;
};

/// Parses a command line with `getopt_long`: options and names in any order, `--name=value` or `--name value`,
/// unambiguous abbreviations of option names, and only names after `--`. Values and names are not converted.
class CommandLine {
public:
    /// The groups in the order of the help.
    explicit CommandLine(std::vector<OptionGroup> groups) : groups(std::move(groups)) {}

    /// Passes the value of each option to its `take`. On the first mistake returns false and describes it in `problem`.
    bool Read(int argc, char** argv, std::string& problem);

    /// The arguments that are not options, in order.
    const std::vector<std::string>& Names() const { return names; }

    /// The text of the help: all options by groups.
    std::string Help() const;

private:
    std::vector<const Option*> Options() const;
    std::string Take(const Option& option, const char* value, bool repeated);
    std::string UnknownOption(const std::string& argument) const;

    std::vector<OptionGroup> groups;
    std::vector<std::string> names;
};

} // namespace velmora
