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

    /// Made in the mode `Off`.
    Timer();
    ~Timer() override;

    /// Whether it runs: `Off`, `Single` for one `Action`, `Multiple` for one each period.
    int32_t Mode() const;
    void Mode(int32_t value); ///< assigning one of the running modes starts the period anew
    int32_t Period() const;   ///< milliseconds
    void Period(int32_t value);
    std::function<void()> Action;

private:
    std::unique_ptr<QTimer> timer;
    int32_t mode = Off;
};

} // namespace framework
