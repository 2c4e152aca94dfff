// SPDX-License-Identifier: MIT
#pragma once

#include "framework/Control.h"
#include "framework/String.h"

#include <QFont>
#include <QString>

namespace framework {

/// A text for Qt. Bytes that are no UTF-8 count as one character each.
QString ToQt(const String& text);
String FromQt(const QString& text);

/// A text fit to be shown, whoever composed it: without control characters, line ends apart, and without marks that
/// turn the direction of what follows, as the names of devices and files may contain them; a long word can be broken,
/// and what goes beyond `longest` characters ends in an ellipsis.
QString Displayed(const String& text, qsizetype longest = 2000);

/// The same on one line, for title bars and menus.
QString OneLine(const String& text, qsizetype longest = 160);

/// The font of that family ("System" and "SmallSystem" name the interface fonts), size in pixels (0: the family's own).
QFont InterfaceFont(const String& family, int32_t size, bool bold);

inline QFont InterfaceFont(const ControlFont& font)
{
    return InterfaceFont(font.family, font.size, font.bold);
}

/// Size in pixels of the small interface font.
inline constexpr int32_t kSmallSystemSize = 11;

} // namespace framework
