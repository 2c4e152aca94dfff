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

    /// Keeps the interval (seconds) and enters the object into `timers`. The timer is not started.
    void Constructor(double duration);

    std::function<void()> action;

    /// Installs the platform's timer; a second start without a stop leaves the first one firing to nobody.
    virtual void Start();
    virtual void Stop();

    /// Changes the interval, which starts the timer.
    virtual void Duration(double value);

    /// Raises `action`.
    virtual void FireAction();

    /// Install a timer of that interval over the code address in `callback` and return its reference: 0 after a
    /// failure, which is shown in a message box.
    virtual int32_t AttachTimer(double interval, const framework::Reference<framework::MemoryBlock>& callback);
    virtual int32_t AttachIdleTimer(double interval, const framework::Reference<framework::MemoryBlock>& callback);
    virtual void RemoveTimer(int32_t ref);

    /// The platform's callback: fires every object whose reference is `ref`.
    static void timeraction(int32_t ref, int32_t data);

    /// Every timer ever made, in order. Made empty at the start of the process, released at its end.
    static std::unique_ptr<std::vector<framework::Reference<CarbonTimer>>> timers;

    int32_t ref = -1; ///< -1 before the first start; after a stop the old value
    double duration = 0;
};

} // namespace velmora
