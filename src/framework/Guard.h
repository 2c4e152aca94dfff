// SPDX-License-Identifier: MIT
#pragma once

namespace framework {

/// Reports the exception being handled to the user, or to standard error without a display. After a framework exception
/// the program continues, so that a recording is not lost; any other exception ends it with a failure code.
void ReportException() noexcept;

/// Runs a handler called by Qt's event loop, which no exception may pass through. Exceptions are reported.
template <typename Handler> void Guard(const Handler& handler) noexcept
{
    try {
        handler();
    } catch (...) {
        ReportException();
    }
}

/// Calls a handler, if it is set. The handler may be replaced or its owner destroyed while it runs.
template <typename Function, typename... Arguments> void Raise(const Function& handler, Arguments&&... arguments)
{
    const Function copy = handler;
    if (copy)
        copy(arguments...);
}

} // namespace framework
