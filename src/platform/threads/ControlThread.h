// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>

namespace platform {

/// A thread for calls of a device, so that a device that responds slowly or never does not block the caller. Tasks run
/// in order. A task must own everything that it uses, since a task that hangs outlives this object. The thread starts
/// with the first task.
class ControlThread {
public:
    ControlThread() = default;
    ControlThread(const ControlThread&) = delete;
    ControlThread& operator=(const ControlThread&) = delete;
    ~ControlThread();

    /// Queues a task and waits for it. Returns whether it ended within `patience`. While an earlier task hangs it does
    /// not wait: the task runs when that one has returned. Drops the task if 256 are queued.
    bool Run(std::function<void()> task, std::chrono::milliseconds patience);

private:
    struct State {
        std::mutex mutex;
        std::condition_variable changed;
        std::deque<std::function<void()>> tasks;
        uint64_t queued = 0;
        uint64_t done = 0;
        bool hangs = false; ///< a caller's wait for the present task has timed out
        bool ending = false;
    };
    static void Work(const std::shared_ptr<State>& state);

    std::shared_ptr<State> state;
};

} // namespace platform
