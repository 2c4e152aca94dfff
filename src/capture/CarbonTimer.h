// SPDX-License-Identifier: MIT
#pragma once

#include "framework/MemoryBlock.h"
#include "framework/Reference.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace velmora {

/// A repeating timer on the platform's main event loop. The platform calls back one shared procedure, which finds the
/// object by its timer reference. An object stays in `timers`, and so alive, until the end of the process.
class CarbonTimer : public std::enable_shared_from_this<CarbonTimer> {
public:
    virtual ~CarbonTimer();

    /// Stores the interval in seconds and adds the object to `timers`. Does not start the timer.
    void Constructor(double duration);

    std::function<void()> action;

    /// Installs the platform's timer. A second start without a stop leaves the first one firing without an object.
    virtual void Start();
    /// Removes the platform's timer. Does nothing before the first start.
    virtual void Stop();

    /// Changes the interval, in seconds, and starts the timer.
    virtual void Duration(double value);

    /// Calls `action`, if one is set.
    virtual void FireAction();

    /// Installs a timer that fires every `interval` seconds and calls the code address in `callback`. Returns its
    /// reference; 0 on failure, which is shown in a message box.
    virtual int32_t AttachTimer(double interval, const framework::Reference<framework::MemoryBlock>& callback);
    /// The same, but fires only while the event loop is idle.
    virtual int32_t AttachIdleTimer(double interval, const framework::Reference<framework::MemoryBlock>& callback);
    /// Removes a timer by its reference; unknown references are ignored.
    virtual void RemoveTimer(int32_t ref);

    /// The platform's callback: calls `FireAction` of every object whose reference is `ref`.
    static void timeraction(int32_t ref, int32_t data);

    /// All timers in order of creation. Created empty at the start of the process, released at its end.
    static std::unique_ptr<std::vector<framework::Reference<CarbonTimer>>> timers;

    int32_t ref = -1; ///< -1 before the first start; after a stop the old value
    double duration = 0;
};

} // namespace velmora
