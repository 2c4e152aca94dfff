// SPDX-License-Identifier: MIT
#include "platform/digitizer/iidc/IIDCBus.h"

namespace platform {
namespace {

std::function<std::shared_ptr<IIDCBus>()>& Provider()
{
    static std::function<std::shared_ptr<IIDCBus>()> provider;
    return provider;
}

} // namespace

std::shared_ptr<IIDCBus> OpenIIDCBus()
{
    return Provider() ? Provider()() : OpenIIDCLibraryBus();
}

void SetIIDCBusProvider(std::function<std::shared_ptr<IIDCBus>()> provider)
{
    Provider() = std::move(provider);
}

} // namespace platform
