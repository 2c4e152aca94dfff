// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/CodeAddress.h"

#include <string_view>

namespace platform {

/// Makes a procedure findable by its own name and the name of the library that it stands for. The rooms do this in
/// their start function for the calls that the control binds at the moment of the call.
void ExportFunction(std::string_view library, std::string_view name, CodePointer code);

/// Makes a procedure known under a library's and its own name; both must outlive the process's use of them.
template <typename Procedure> void ExportFunction(std::string_view library, std::string_view name, Procedure* code)
{
    ExportFunction(library, name, reinterpret_cast<CodePointer>(code));
}

/// Takes an exported procedure back, so that it can no longer be found.
void WithdrawFunction(std::string_view library, std::string_view name);

/// The procedure of that name in that library, or null. The caller knows its type.
CodePointer FindFunction(std::string_view library, std::string_view name);

} // namespace platform
