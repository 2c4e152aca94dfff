// The settings dialogs.
//
// This build has none: the call says so, and nothing of the session is touched.
#include "platform/grabber/Session.h"
#include "platform/memory/CodeAddress.h"

namespace platform {

int32_t NewSGModalFilterUPP(SGModalFilterProc procedure)
{
    return CodeAddressOf(procedure);
}

// A procedure keeps its number for good, so there is nothing to give back.
void DisposeSGModalFilterUPP([[maybe_unused]] int32_t filter) {}

Result SGSettingsDialog(SGComponent session, SGChannel channel, [[maybe_unused]] int16_t panelCount,
                        [[maybe_unused]] Address panels, [[maybe_unused]] int32_t flags,
                        [[maybe_unused]] int32_t filter, [[maybe_unused]] int32_t refCon)
{
    const auto found = FindSession(session);
    if (!found)
        return badComponentInstance;
    return found->Owns(channel) ? couldntGetRequiredComponent : badSGChannel;
}

} // namespace platform
