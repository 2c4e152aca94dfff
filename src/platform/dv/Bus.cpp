// SPDX-License-Identifier: MIT
#include "platform/dv/Bus.h"

namespace platform {
namespace {

std::function<std::shared_ptr<Bus>()>& Provider()
{
    static std::function<std::shared_ptr<Bus>()> provider;
    return provider;
}

} // namespace

std::shared_ptr<Bus> OpenBus()
{
    return Provider() ? Provider()() : OpenFireWireBus();
}

void SetBusProvider(std::function<std::shared_ptr<Bus>()> provider)
{
    Provider() = std::move(provider);
}

} // namespace platform
