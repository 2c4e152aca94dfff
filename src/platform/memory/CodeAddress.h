// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace platform {

using CodePointer = void (*)();

/// The 32-bit stand-in for a procedure's address: what a record or block holds where the address itself, on this
/// machine 64 bits wide, has no room. The same procedure always has the same number; 0 stands for null.
int32_t CodeAddressOf(CodePointer code);

/// A number that stands for the procedure in 32 bits.
template <typename Procedure> int32_t CodeAddressOf(Procedure* procedure)
{
    return CodeAddressOf(reinterpret_cast<CodePointer>(procedure));
}

/// The procedure behind a number, or null for one never handed out. The caller knows its true type.
CodePointer CodeAt(int32_t number);

/// The procedure of a number; null for one that stands for none.
template <typename Procedure> Procedure* CodeAt(int32_t number)
{
    return reinterpret_cast<Procedure*>(CodeAt(number));
}

} // namespace platform
