// SPDX-License-Identifier: MIT
#pragma once

namespace framework {

/// While one of these lives, the signals that ask a program to end reach the event loop; see
/// `HandleTerminationSignals`. Outside of it they end the process at once, as if nobody handled them.
class TerminationWatch {
public:
    TerminationWatch();
    ~TerminationWatch();
    TerminationWatch(const TerminationWatch&) = delete;
    TerminationWatch& operator=(const TerminationWatch&) = delete;
};

} // namespace framework
