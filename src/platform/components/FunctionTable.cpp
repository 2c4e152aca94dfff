#include "platform/components/FunctionTable.h"

#include <map>
#include <string>
#include <utility>

namespace platform {
namespace {

using Key = std::pair<std::string, std::string>;

std::map<Key, CodePointer>& Functions()
{
    static std::map<Key, CodePointer> functions;
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
    const auto found = Functions().find({std::string(library), std::string(name)});
    return found == Functions().end() ? nullptr : found->second;
}

} // namespace platform
