// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/AddressSpace.h"
#include "platform/memory/ResultCodes.h"

#include <cstdint>
#include <functional>

namespace platform {

using EventLoop = int32_t;
using EventLoopTimer = int32_t;

/// A timer's callback, called on the main thread with the timer and the user data given at installation.
using EventLoopTimerProc = void (*)(EventLoopTimer timer, int32_t userData);

/// The event loop of the main thread, which runs the windows.
EventLoop GetMainEventLoop();

/// Creates a callback from a code address (`CodeAddressOf`); 0 for an invalid address. It need not be released.
int32_t NewEventLoopTimerUPP(int32_t codeAddress);

/// Installs a timer that fires after `firstDelay` seconds and then every `interval` seconds until it is removed; with
/// an interval of 0 it fires once. It fires between events of the main loop and never inside another timer's callback.
/// Ticks missed while the loop was busy are dropped. Writes the timer as 32 bits at `timer`. `paramErr` for an invalid
/// callback or address, or a time that is negative or above 2147483 seconds.
Result InstallEventLoopTimer(EventLoop loop, double firstDelay, double interval, int32_t callback, int32_t userData,
                             Address timer);

/// The same for a timer that fires only while no user event is pending.
Result InstallEventLoopIdleTimer(EventLoop loop, double firstDelay, double interval, int32_t callback, int32_t userData,
                                 Address timer);

/// Stops and removes a timer. `eventLoopInvalidTimer` for an invalid reference.
Result RemoveEventLoopTimer(EventLoopTimer timer);

/// Whether a timer's callback is running, as opposed to an action of the user.
bool IsInsideEventLoopTimer();

/// The timer whose callback is running; 0 if none is.
EventLoopTimer CurrentEventLoopTimer();

/// Fires a timer as soon as possible, in addition to its regular ticks. Does nothing for an invalid reference, while
/// the same request is pending, or if another timer's callback is running when its turn comes. Any thread.
void HastenEventLoopTimer(EventLoopTimer timer);

/// While an object lives, its function is called on the main thread before a user's action reaches a window: a key or
/// button pressed or released, a touch, a request to close. The function should return within some 10 ms.
class BeforeInput {
public:
    /// Registers the function.
    explicit BeforeInput(std::function<void()> function);
    ~BeforeInput();
    BeforeInput(const BeforeInput&) = delete;
    BeforeInput& operator=(const BeforeInput&) = delete;

private:
    friend void NoteInput();
    std::function<void()> function;
};

/// Calls the functions of all `BeforeInput` objects, for a user's action without a window, such as a signal.
void NoteInput();

} // namespace platform
