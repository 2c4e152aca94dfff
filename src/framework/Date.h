// SPDX-License-Identifier: MIT
#pragma once

#include "framework/String.h"

#include <QDateTime>

namespace framework {

/// A date and time in local time.
class Date {
public:
    /// The present date and time.
    Date() : moment(QDateTime::currentDateTime()) {}
    int32_t Hour() const { return moment.time().hour(); }     ///< 0 to 23
    int32_t Minute() const { return moment.time().minute(); } ///< 0 to 59
    int32_t Second() const { return moment.time().second(); } ///< 0 to 59
    /// The date in the long format of the user's locale.
    String LongDate() const;

private:
    QDateTime moment;
};

} // namespace framework
