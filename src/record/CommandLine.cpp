// SPDX-License-Identifier: MIT
#include "record/CommandLine.h"

#include "record/NearestNames.h"

#include <algorithm>
#include <getopt.h>
#include <set>

namespace velmora {
namespace {

constexpr const char* kNamesInOrderErrorsByUs = "-:h";
constexpr int kFirstOption = 256; // above all characters
constexpr size_t kHelpColumn = 26;

} // namespace

std::vector<const Option*> CommandLine::Options() const
{
    std::vector<const Option*> options;
    for (const OptionGroup& group : groups)
        for (const Option& option : group.options)
            options.push_back(&option);
    return options;
}

bool CommandLine::Read(int argc, char** argv, std::string& problem)
{
    const auto options = Options();
    std::vector<option> table;
    for (const Option* known : options)
        table.push_back({known->name.c_str(), known->value.empty() ? no_argument : required_argument, nullptr,
                         kFirstOption + static_cast<int>(table.size())});
    table.push_back({});
    std::set<int> seen;
    optind = 0;
    problem.clear();
    while (problem.empty()) {
        const int found = getopt_long(argc, argv, kNamesInOrderErrorsByUs, table.data(), nullptr);
        if (found < 0)
            break;
        if (found >= kFirstOption)
            problem = Take(*options[static_cast<size_t>(found - kFirstOption)], optarg, !seen.insert(found).second);
        else if (found == 1)
            names.emplace_back(optarg);
        else if (found == ':' && optopt >= kFirstOption)
            problem = Take(*options[static_cast<size_t>(optopt - kFirstOption)], nullptr, false);
        else if (found == '?' && optopt >= kFirstOption)
            problem = "--" + options[static_cast<size_t>(optopt - kFirstOption)]->name + " takes no value";
        else if (found == 'h')
            (*std::ranges::find(options, "help", [](const Option* one) { return one->name; }))->take({});
        else
            problem = UnknownOption(optopt == 0 ? argv[optind - 1] : std::string{'-', static_cast<char>(optopt)});
    }
    names.insert(names.end(), argv + std::min(optind, argc), argv + argc);
    return problem.empty();
}

// Returns what is wrong, or an empty text.
std::string CommandLine::Take(const Option& option, const char* value, bool repeated)
{
    const std::string name = "--" + option.name;
    if (repeated && !option.repeatable)
        return name + " is given twice";
    if (option.value.empty())
        return option.take({}) ? "" : name + ": " + option.expected;
    if (value != nullptr && option.take(value))
        return {};
    return name + ": expected " + option.expected + (value == nullptr ? "" : ", got \"" + std::string(value) + "\"");
}

std::string CommandLine::UnknownOption(const std::string& argument) const
{
    std::vector<std::string> known;
    std::vector<std::string> beginnings;
    for (const Option* option : Options()) {
        known.push_back("--" + option->name);
        if (known.back().starts_with(argument.substr(0, argument.find('='))))
            beginnings.push_back(known.back());
    }
    if (beginnings.size() > 1)
        return argument + " may be any of " + Joined(beginnings);
    return "unknown option " + argument + DidYouMean(argument, known, "");
}

std::string CommandLine::Help() const
{
    std::string text;
    for (const OptionGroup& group : groups) {
        text += "\n" + group.title + ":\n";
        for (const Option& option : group.options) {
            std::string line = "  --" + option.name + (option.value.empty() ? "" : " " + option.value);
            line.resize(std::max(line.size() + 2, kHelpColumn), ' ');
            std::string help = option.help;
            for (size_t end = help.find('\n'); end != std::string::npos; end = help.find('\n', end + kHelpColumn))
                help.insert(end + 1, kHelpColumn, ' ');
            text += line + help + "\n";
        }
    }
    return text;
}

} // namespace velmora
