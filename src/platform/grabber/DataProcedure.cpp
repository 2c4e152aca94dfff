// SPDX-License-Identifier: MIT
#include "platform/grabber/DataProcedure.h"

#include "platform/memory/CodeAddress.h"

#include <type_traits>

namespace platform {

void DataProcedure::Set(int32_t newCallback, int32_t newRefCon)
{
    callback = newCallback;
    refCon = newRefCon;
}

Result DataProcedure::Call(SGChannel channel, Address data, int64_t bytes, int32_t time) const
{
    auto* const code = CodeAt<std::remove_pointer_t<SGDataProc>>(callback);
    return code
               ? code(channel, data, static_cast<int32_t>(bytes), offsetCell.Get(), 0, time, seqGrabWriteAppend, refCon)
               : noErr;
}

} // namespace platform
