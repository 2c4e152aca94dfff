// SPDX-License-Identifier: MIT
#include "platform/threads/ControlThread.h"

#include <thread>

namespace platform {
namespace {

constexpr size_t kMaxQueued = 256; // tasks behind one that hangs

} // namespace

ControlThread::~ControlThread()
{
    if (!state)
        return;
    const std::lock_guard lock(state->mutex);
    state->ending = true;
    state->tasks.clear();
    state->changed.notify_all();
}

void ControlThread::Work(const std::shared_ptr<State>& state)
{
    std::unique_lock lock(state->mutex);
    for (;;) {
        state->changed.wait(lock, [&] { return state->ending || !state->tasks.empty(); });
        if (state->ending)
            return;
        auto task = std::move(state->tasks.front());
        state->tasks.pop_front();
        lock.unlock();
        task();
        task = nullptr; // destroys what it owns without holding the lock
        lock.lock();
        ++state->done;
        state->hangs = false;
        state->changed.notify_all();
    }
}

bool ControlThread::Run(std::function<void()> task, std::chrono::milliseconds patience)
{
    if (!state) {
        state = std::make_shared<State>();
        std::thread([shared = state] { Work(shared); }).detach();
    }
    std::unique_lock lock(state->mutex);
    if (state->tasks.size() >= kMaxQueued)
        return false;
    state->tasks.push_back(std::move(task));
    const uint64_t number = ++state->queued;
    state->changed.notify_all();
    const bool ended = !state->hangs && state->changed.wait_for(lock, patience, [&] { return state->done >= number; });
    state->hangs = state->hangs || !ended;
    return ended;
}

} // namespace platform
