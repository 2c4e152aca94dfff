// SPDX-License-Identifier: MIT
#include "platform/memory/CodeAddress.h"

#include "platform/memory/ReferenceTable.h"

namespace platform {
namespace {

ReferenceTable<CodePointer>& Procedures()
{
    static auto* table = new ReferenceTable<CodePointer>(kCodeReference);
    return *table;
}

} // namespace

int32_t CodeAddressOf(CodePointer code)
{
    if (code == nullptr)
        return 0;
    for (const int32_t number : Procedures().Numbers())
        if (*Procedures().Find(number) == code)
            return number;
    return Procedures().Add(std::make_shared<CodePointer>(code));
}

CodePointer CodeAt(int32_t number)
{
    const auto procedure = Procedures().Find(number);
    return procedure ? *procedure : nullptr;
}

} // namespace platform
