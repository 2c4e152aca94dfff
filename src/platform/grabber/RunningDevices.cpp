// SPDX-License-Identifier: MIT
#include "platform/grabber/RunningDevices.h"

#include "platform/clock/MonotonicClock.h"

namespace platform {
namespace {

constexpr int64_t kRetryInterval = kNanosecondsPerSecond;
constexpr int64_t kRestingTime = kNanosecondsPerSecond / 2;

} // namespace

Result RunningDevices::Run(GrabMode mode)
{
    restingSince.reset();
    Result first = noErr;
    for (const auto& channel : channels.all) {
        if (!channel->IsUsedIn(mode)) {
            channel->Halt();
            continue;
        }
        if (const Result result = channel->Run(); first == noErr)
            first = result;
    }
    lastRetry = MonotonicNow();
    return first;
}

void RunningDevices::Rest()
{
    for (const auto& channel : channels.all)
        Rest(*channel);
}

void RunningDevices::Rest(Channel& channel)
{
    channel.Rest();
    restingSince = MonotonicNow();
}

void RunningDevices::Halt()
{
    restingSince.reset();
    for (const auto& channel : channels.all)
        channel->Halt();
}

void RunningDevices::ReleaseRested(int64_t now)
{
    if (!restingSince || now - *restingSince < kRestingTime)
        return;
    restingSince.reset();
    for (const auto& channel : channels.all)
        if (channel->Resting())
            channel->Halt();
}

// A device that was unplugged delivers again when it returns. One that another program was using is tried again.
bool RunningDevices::RetryAbsent(GrabMode mode, int64_t now)
{
    if (now - lastRetry < kRetryInterval)
        return false;
    lastRetry = now;
    bool started = false;
    for (const auto& channel : channels.all)
        started |= channel->IsUsedIn(mode) && !channel->Running() && channel->Run() == noErr;
    return started;
}

} // namespace platform
