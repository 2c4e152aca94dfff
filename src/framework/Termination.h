// SPDX-License-Identifier: MIT
#pragma once

namespace framework {

/// While an object lives, termination signals are passed to the event loop; see `HandleTerminationSignals`. At other
/// times they end the process at once.
class TerminationWatch {
public:
    /// Starts to pass signals to the event loop.
    TerminationWatch();
    ~TerminationWatch();
    TerminationWatch(const TerminationWatch&) = delete;
    TerminationWatch& operator=(const TerminationWatch&) = delete;
};

} // namespace framework
