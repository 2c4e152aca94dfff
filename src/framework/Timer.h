// SPDX-License-Identifier: MIT
#pragma once

#include "framework/Control.h"

#include <functional>
#include <memory>

class QTimer;

namespace framework {

/// A timer control on the event loop.
class Timer : public Control {
public:
    enum : int32_t { Off = 0, Single = 1, Multiple = 2 };

    /// Creates a timer in mode `Off` with a period of 1000 ms.
    Timer();
    ~Timer() override;

    /// `Off`, `Single` for one `Action`, or `Multiple` for one each period.
    int32_t Mode() const;
    void Mode(int32_t value);   ///< `Single` and `Multiple` restart the period
    int32_t Period() const;     ///< in milliseconds
    void Period(int32_t value); ///< in milliseconds, 1 at least
    std::function<void()> Action;

private:
    std::unique_ptr<QTimer> timer;
    int32_t mode = Off;
};

} // namespace framework
