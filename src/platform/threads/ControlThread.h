// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>

namespace platform {

/// A thread on which a device is asked and commanded, so that one that answers slowly or not at all does not hold up
/// the caller. Tasks run in order. A task owns all that it touches: one that hangs outlives the object. The thread
/// begins with the first task.
class ControlThread {
public:
    ControlThread() = default;
    ControlThread(const ControlThread&) = delete;
    ControlThread& operator=(const ControlThread&) = delete;
    ~ControlThread();

    /// Runs a task; true when it has ended within that time. While an earlier one hangs nobody waits: the task runs
    /// once that one has returned.
    bool Run(std::function<void()> task, std::chrono::milliseconds patience);

private:
    struct State {
        std::mutex mutex;
        std::condition_variable changed;
        std::deque<std::function<void()>> tasks;
        uint64_t queued = 0;
        uint64_t done = 0;
        bool hangs = false; ///< somebody has waited for the present task in vain
        bool ending = false;
    };
    static void Work(const std::shared_ptr<State>& state);

    std::shared_ptr<State> state;
};

} // namespace platform
