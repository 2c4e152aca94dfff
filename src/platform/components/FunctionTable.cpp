// SPDX-License-Identifier: MIT
#include "platform/components/FunctionTable.h"

#include <map>
#include <string>
#include <utility>

namespace platform {
namespace {

using Key = std::pair<std::string, std::string>;
using KeyView = std::pair<std::string_view, std::string_view>;

// Compares views, so that look-ups in the live path create no strings.
struct KeyLess {
    using is_transparent = void;
    bool operator()(const KeyView& a, const KeyView& b) const { return a < b; }
};

std::map<Key, CodePointer, KeyLess>& Functions()
{
    static std::map<Key, CodePointer, KeyLess> functions;
    return functions;
}

} // namespace

void ExportFunction(std::string_view library, std::string_view name, CodePointer code)
{
    Functions()[{std::string(library), std::string(name)}] = code;
}

void WithdrawFunction(std::string_view library, std::string_view name)
{
    Functions().erase({std::string(library), std::string(name)});
}

CodePointer FindFunction(std::string_view library, std::string_view name)
{
    const auto found = Functions().find(KeyView(library, name));
    return found == Functions().end() ? nullptr : found->second;
}

} // namespace platform
