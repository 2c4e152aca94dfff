// SPDX-License-Identifier: MIT
#pragma once

namespace framework {

/// Tells the user, or the log without a screen, of the exception that is being handled. A framework exception leaves
/// the program running, so that a recording in progress is not lost; any other ends it with a failure code.
void ReportException() noexcept;

/// Runs a handler that Qt's event loop reached: no exception may go through it.
template <typename Handler> void Guard(const Handler& handler) noexcept
{
    try {
        handler();
    } catch (...) {
        ReportException();
    }
}

/// Runs a handler that may be replaced, or whose owner may end, while it runs.
template <typename Function, typename... Arguments> void Raise(const Function& handler, Arguments&&... arguments)
{
    const Function copy = handler;
    if (copy)
        copy(arguments...);
}

} // namespace framework
