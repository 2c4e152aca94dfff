// SPDX-License-Identifier: MIT
#pragma once

#include "framework/String.h"

#include <QDateTime>

namespace framework {

/// A moment in local time; a new one is now.
class Date {
public:
    /// The present moment in local time.
    Date() : moment(QDateTime::currentDateTime()) {}
    /// Hour (0 to 23), minute and second of that moment.
    int32_t Hour() const { return moment.time().hour(); }
    int32_t Minute() const { return moment.time().minute(); }
    int32_t Second() const { return moment.time().second(); }
    /// The long form of the date in the user's locale.
    String LongDate() const;

private:
    QDateTime moment;
};

} // namespace framework
