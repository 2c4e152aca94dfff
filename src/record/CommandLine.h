// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace velmora {

/// One option of a terminal program, known by its long name alone.
struct Option {
    std::string name;                      ///< without the dashes
    std::string value;                     ///< what stands for its value in the help; empty: the option takes none
    std::string help;                      ///< one line, or more of them
    std::string expected;                  ///< what values are allowed, for the message about another one
    std::function<bool(std::string)> take; ///< stores the value (empty for an option without); false refuses it
    bool repeatable = false;
};

/// Options that the help shows under one heading.
struct OptionGroup {
    std::string title;
    std::vector<Option> options;
};

/// Reads a command line with `getopt_long`: options and names in any order, `--name=value` as well as `--name value`,
/// unambiguous beginnings of names, and nothing but names behind `--`. Values and names are bytes as they were given.
class CommandLine {
public:
    explicit CommandLine(std::vector<OptionGroup> groups) : groups(std::move(groups)) {}

    /// Hands every option's value to its `take`. False, with one line about the first mistake in `problem`.
    bool Read(int argc, char** argv, std::string& problem);

    /// What was given besides options, in its order.
    const std::vector<std::string>& Names() const { return names; }

    /// The options by groups, for the help.
    std::string Help() const;

private:
    std::vector<const Option*> Options() const;
    std::string Take(const Option& option, const char* value, bool repeated);
    std::string UnknownOption(const std::string& argument) const;

    std::vector<OptionGroup> groups;
    std::vector<std::string> names;
};

} // namespace velmora
