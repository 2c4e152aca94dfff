// SPDX-License-Identifier: MIT
#include "framework/Date.h"

#include "framework/QtText.h"

#include <QLocale>

namespace framework {

String Date::LongDate() const
{
    return FromQt(QLocale::system().toString(moment.date(), QLocale::LongFormat));
}

} // namespace framework
