// SPDX-License-Identifier: MIT
// The published calls on settings. User data is passed in its flattened form.
#include "platform/atoms/UserData.h"
#include "platform/grabber/SequenceGrabber.h"
#include "platform/grabber/Session.h"

namespace platform {

Result SGGetSettings(SGComponent session, Address settings, [[maybe_unused]] int32_t flags)
{
    const auto found = FindSession(session);
    if (!found)
        return badComponentInstance;
    const Handle flattened = NewHandle(0);
    SetHandleBytes(flattened, found->Settings().Flatten());
    const Result result = NewUserDataFromHandle(flattened, settings);
    DisposeHandle(flattened);
    return result;
}

Result SGSetSettings(SGComponent session, int32_t settings, [[maybe_unused]] int32_t flags)
{
    const auto found = FindSession(session);
    if (!found)
        return badComponentInstance;
    const Handle flattened = NewHandle(0);
    const Result result = PutUserDataIntoHandle(settings, flattened);
    const auto items = result == noErr ? TaggedItems::Read(HandleBytes(flattened)) : std::nullopt;
    DisposeHandle(flattened);
    return items ? found->ApplySettings(*items) : paramErr;
}

} // namespace platform
