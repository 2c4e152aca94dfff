// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/AddressSpace.h"
#include "platform/memory/ResultCodes.h"

#include <cstdint>
#include <functional>

namespace platform {

using EventLoop = int32_t;
using EventLoopTimer = int32_t;

/// Called on the main thread with the timer that fired and the user data given at its installation.
using EventLoopTimerProc = void (*)(EventLoopTimer timer, int32_t userData);

/// The one event loop of the process: the thread that runs the windows.
EventLoop GetMainEventLoop();

/// Makes a callback of a procedure's code address (`CodeAddressOf`). The result needs no release.
int32_t NewEventLoopTimerUPP(int32_t codeAddress);

/// Installs a timer that fires after `firstDelay` seconds and then every `interval` seconds, until it is removed; an
/// interval of 0 makes it fire once. It fires between events of the main loop, never inside another callback of it,
/// and ticks missed while the loop was busy are not made up for. Writes the timer's number as 32 bits at `timer`.
/// `paramErr` for a dead callback, a negative or unbounded time, or nowhere to write to.
Result InstallEventLoopTimer(EventLoop loop, double firstDelay, double interval, int32_t callback, int32_t userData,
                             Address timer);

/// The same for a timer that fires only while no user event is waiting.
Result InstallEventLoopIdleTimer(EventLoop loop, double firstDelay, double interval, int32_t callback, int32_t userData,
                                 Address timer);

/// Stops a timer and forgets its number. `eventLoopInvalidTimer` for a dead number.
Result RemoveEventLoopTimer(EventLoopTimer timer);

/// Whether the caller runs inside a timer's callback, that is not on behalf of the user.
bool IsInsideEventLoopTimer();

/// The timer whose callback is running, or 0.
EventLoopTimer CurrentEventLoopTimer();

/// Fires a timer once more, as soon as the main loop gets to it; its regular ticks stay as they are. Does nothing for a
/// dead number, while the same request is still pending, or where another callback is running when its turn comes. Any
/// thread.
void HastenEventLoopTimer(EventLoopTimer timer);

/// Has a function called on the main thread before what a user does reaches a window, for as long as the object lives:
/// a key or button pressed or released, a touch, a request to close. Functions may take some hundredths of a second.
class BeforeInput {
public:
    explicit BeforeInput(std::function<void()> function);
    ~BeforeInput();
    BeforeInput(const BeforeInput&) = delete;
    BeforeInput& operator=(const BeforeInput&) = delete;

private:
    friend void NoteInput();
    std::function<void()> function;
};

/// The same for what a user does without a window, such as a signal from the terminal: calls these functions.
void NoteInput();

} // namespace platform
