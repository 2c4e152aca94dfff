// SPDX-License-Identifier: MIT
#include "framework/Timer.h"

#include "framework/Guard.h"

#include <QTimer>

#include <algorithm>

namespace framework {

Timer::Timer() : timer(std::make_unique<QTimer>())
{
    timer->setTimerType(Qt::PreciseTimer);
    timer->setInterval(1000);
    QObject::connect(timer.get(), &QTimer::timeout, [this] {
        // Turn a single shot off before its handler runs, so that the handler may start it again.
        if (mode == Single)
            mode = Off;
        Guard([this] { Raise(Action); });
    });
}

Timer::~Timer()
{
    // The timer's own handler may release the last reference.
    timer->stop();
    timer->disconnect();
    timer.release()->deleteLater();
}

int32_t Timer::Mode() const
{
    return mode;
}

void Timer::Mode(int32_t value)
{
    mode = value == Single || value == Multiple ? value : Off;
    timer->setSingleShot(mode == Single);
    if (mode == Off)
        timer->stop();
    else
        timer->start();
}

int32_t Timer::Period() const
{
    return timer->interval();
}

void Timer::Period(int32_t value)
{
    timer->setInterval(std::max(value, 1));
}

} // namespace framework
