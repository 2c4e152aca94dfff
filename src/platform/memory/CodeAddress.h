// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace platform {

using CodePointer = void (*)();

/// A 32-bit reference to a procedure, for records and blocks that have no room for a 64-bit address. The same procedure
/// always has the same reference; 0 for null.
int32_t CodeAddressOf(CodePointer code);

/// The same for a procedure of any type.
template <typename Procedure> int32_t CodeAddressOf(Procedure* procedure)
{
    return CodeAddressOf(reinterpret_cast<CodePointer>(procedure));
}

/// The procedure of a reference; null for an invalid one. The caller must know its type.
CodePointer CodeAt(int32_t number);

/// The same with the procedure's type.
template <typename Procedure> Procedure* CodeAt(int32_t number)
{
    return reinterpret_cast<Procedure*>(CodeAt(number));
}

} // namespace platform
