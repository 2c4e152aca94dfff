// SPDX-License-Identifier: MIT
#pragma once

#include "framework/ControlFont.h"
#include "framework/String.h"

#include <QFont>
#include <QString>

namespace framework {

/// Converts a text for Qt. If it is not valid UTF-8, each byte becomes one character.
QString ToQt(const String& text);
/// Converts a text of Qt's to UTF-8.
String FromQt(const QString& text);

/// Makes a text safe to display; names of devices and files may contain anything. Removes control characters, except
/// line ends, and characters that change the writing direction, makes long words breakable, and truncates to `longest`
/// characters with an ellipsis.
QString Displayed(const String& text, qsizetype longest = 2000);

/// The same on one line, for title bars and menus.
QString OneLine(const String& text, qsizetype longest = 160);

/// A font of that family ("System" and "SmallSystem" are the interface fonts) and size in pixels (0: the default).
QFont InterfaceFont(const String& family, int32_t size, bool bold);

/// The same for a control's font.
inline QFont InterfaceFont(const ControlFont& font)
{
    return InterfaceFont(font.family, font.size, font.bold);
}

/// Size in pixels of the small interface font.
inline constexpr int32_t kSmallSystemSize = 11;

} // namespace framework
