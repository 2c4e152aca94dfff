// SPDX-License-Identifier: MIT
#pragma once

#include "framework/Exceptions.h"
#include "platform/components/FunctionTable.h"

#include <string>

namespace framework {

/// A platform function that is looked up by name at each call.
/// Raises `FunctionNotFoundException` with both names if it is not found.
template <typename Signature> class LazyFunction;

template <typename Return, typename... Arguments> class LazyFunction<Return(Arguments...)> {
public:
    /// Stores the names, which must outlive the object; nothing is looked up yet.
    LazyFunction(const char* library, const char* name) : library(library), name(name) {}

    /// Looks up the function and calls it.
    Return operator()(Arguments... arguments) const
    {
        const auto code = platform::FindFunction(library, name);
        if (code == nullptr)
            throw FunctionNotFoundException(name, library);
        return reinterpret_cast<Return (*)(Arguments...)>(code)(arguments...);
    }

private:
    const char* library;
    const char* name;
};

} // namespace framework
