// SPDX-License-Identifier: MIT
// A timer over one timer of the platform's event loop.
//
// The platform calls back a plain procedure that carries no object, so all timers share `timeraction`, which looks up
// the object by the timer reference. States: constructed (`ref` -1), running, stopped (`ref` keeps the old value; the
// platform ignores a second stop, which removes a dead reference). `timers` owns every timer until the process ends.
#include "capture/CarbonTimer.h"

#include "framework/Application.h"
#include "platform/events/EventLoop.h"
#include "platform/memory/CodeAddress.h"

namespace velmora {
namespace {

using framework::MemoryBlock;
using framework::Reference;

using InstallTimer = platform::Result (*)(platform::EventLoop, double, double, int32_t, int32_t, platform::Address);

// Returns the new timer's reference; 0 on failure, which is shown in a message box with the operation's name.
int32_t Attach(InstallTimer install, const char* operation, double interval, const Reference<MemoryBlock>& callback)
{
    const platform::EventLoop loop = platform::GetMainEventLoop();
    const int32_t upp = platform::NewEventLoopTimerUPP(callback->Long(0));
    const MemoryBlock out(4);
    const platform::Result result = install(loop, interval, interval, upp, 0, out.Pointer());
    if (result != 0) {
        framework::MsgBox(framework::String(operation) + " error " + framework::Str(result));
        framework::Break();
    }
    return out.Long(0);
}

} // namespace

std::unique_ptr<std::vector<Reference<CarbonTimer>>> CarbonTimer::timers;

CarbonTimer::~CarbonTimer()
{
    CarbonTimer::Stop();
}

void CarbonTimer::Constructor(double value)
{
    duration = value;
    if (!timers)
        throw framework::NilObjectException();
    timers->push_back(Reference<CarbonTimer>(shared_from_this()));
}

void CarbonTimer::Start()
{
    const auto block = framework::New<MemoryBlock>(4);
    block->Long(0, platform::CodeAddressOf(&CarbonTimer::timeraction));
    ref = AttachTimer(duration, block);
}

void CarbonTimer::Stop()
{
    if (ref != -1)
        RemoveTimer(ref);
}

void CarbonTimer::Duration(double value)
{
    Stop();
    duration = value;
    Start();
}

void CarbonTimer::FireAction()
{
    if (action)
        action();
}

int32_t CarbonTimer::AttachTimer(double interval, const Reference<MemoryBlock>& callback)
{
    return Attach(platform::InstallEventLoopTimer, "AttachTimer", interval, callback);
}

int32_t CarbonTimer::AttachIdleTimer(double interval, const Reference<MemoryBlock>& callback)
{
    return Attach(platform::InstallEventLoopIdleTimer, "AttachIdleTimer", interval, callback);
}

void CarbonTimer::RemoveTimer(int32_t timer)
{
    platform::RemoveEventLoopTimer(timer);
}

void CarbonTimer::timeraction(int32_t ref, int32_t)
{
    // An action may create timers or release all of them, so check the table and its size on every pass.
    for (size_t i = 0; timers && i < timers->size(); ++i) {
        const Reference<CarbonTimer> timer = (*timers)[i];
        if (timer->ref == ref)
            timer->FireAction();
    }
}

} // namespace velmora
