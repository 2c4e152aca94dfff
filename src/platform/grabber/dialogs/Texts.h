// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <string>

class QWidget;

namespace platform {

inline constexpr qsizetype kMaxNameLength = 80;

/// Makes a text from a device or another program safe to display: without control characters and marks that change the
/// direction of other text, and at most `maxLength` characters long.
QString ToText(const std::string& utf8, qsizetype maxLength = kMaxNameLength);

/// The same for a sentence about the device from its module.
QString SentenceText(const std::string& utf8);

/// A name inside a sentence: it keeps its own writing direction.
QString Quoted(const QString& name);

/// A number with the locale's decimal sign and no group separators.
QString NumberText(double value, int decimals);

/// A number with at most two decimals, none where they are zero.
QString ShortNumberText(double value);

/// Explains a widget in a tool tip and to screen readers. Markup in the text is shown as plain text.
void Explain(QWidget& widget, const QString& text);

} // namespace platform
