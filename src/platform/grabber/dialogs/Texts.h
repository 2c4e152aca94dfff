// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <string>

class QWidget;

namespace platform {

inline constexpr qsizetype kMaxNameLength = 80;

/// A text that a device or another program wrote, fit to be shown: without control characters and marks that turn the
/// direction of other text, and no longer than `maxLength` characters.
QString ToText(const std::string& utf8, qsizetype maxLength = kMaxNameLength);

/// A sentence of a device's module about the device.
QString SentenceText(const std::string& utf8);

/// A name inside a sentence: the direction in which it is written stays its own.
QString Quoted(const QString& name);

/// A number with the user's own decimal sign and no group signs.
QString NumberText(double value, int decimals);

/// A number with at most two decimals, none where they are zero.
QString ShortNumberText(double value);

/// Explains a widget in a tool tip and to screen readers. Markup in the text is shown as it is.
void Explain(QWidget& widget, const QString& text);

} // namespace platform
