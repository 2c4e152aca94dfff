// SPDX-License-Identifier: MIT
#include "platform/grabber/dialogs/Texts.h"

#include <QLocale>
#include <QWidget>

#include <cmath>

namespace platform {
namespace {

constexpr qsizetype kMaxSentenceLength = 400;
constexpr qsizetype kMaxRead = 1000; // nothing longer is a name, and it would cost time

// Of the format characters, scripts need the joiners; the others change the writing direction or add markup.
bool IsShown(QChar character)
{
    constexpr char16_t nonJoiner = 0x200C;
    constexpr char16_t joiner = 0x200D;
    if (character == QChar(nonJoiner) || character == QChar(joiner))
        return true;
    const auto category = character.category();
    return category != QChar::Other_Control && category != QChar::Other_Format && category != QChar::Separator_Line &&
           category != QChar::Separator_Paragraph;
}

} // namespace

QString ToText(const std::string& utf8, qsizetype maxLength)
{
    QString text = QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size())).left(kMaxRead);
    for (QChar& character : text)
        if (!IsShown(character))
            character = ' ';
    text = text.simplified();
    if (text.size() <= maxLength)
        return text;
    text.truncate(text[maxLength - 2].isHighSurrogate() ? maxLength - 2 : maxLength - 1);
    return text + QChar(0x2026);
}

QString SentenceText(const std::string& utf8)
{
    return ToText(utf8, kMaxSentenceLength);
}

QString Quoted(const QString& name)
{
    constexpr char16_t isolate = 0x2068;
    constexpr char16_t end = 0x2069;
    return '"' + (name.isRightToLeft() ? QChar(isolate) + name + QChar(end) : name) + '"';
}

QString NumberText(double value, int decimals)
{
    QLocale locale;
    locale.setNumberOptions(QLocale::OmitGroupSeparator);
    return locale.toString(value, 'f', decimals);
}

QString ShortNumberText(double value)
{
    const double hundredths = std::round(value * 100);
    const int decimals = std::fmod(hundredths, 100) == 0 ? 0 : std::fmod(hundredths, 10) == 0 ? 1 : 2;
    return NumberText(value, decimals);
}

void Explain(QWidget& widget, const QString& text)
{
    widget.setToolTip(text.isEmpty() ? QString() : "<p>" + text.toHtmlEscaped() + "</p>");
    widget.setAccessibleDescription(text);
}

} // namespace platform
