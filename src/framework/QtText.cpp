// SPDX-License-Identifier: MIT
#include "framework/QtText.h"

#include <QApplication>
#include <QFontInfo>
#include <QStringDecoder>

namespace framework {

QString ToQt(const String& text)
{
    const QByteArrayView bytes(text.Bytes().data(), static_cast<qsizetype>(text.Bytes().size()));
    QStringDecoder decoder(QStringDecoder::Utf8);
    const QString decoded = decoder(bytes);
    return decoder.hasError() ? QString::fromLatin1(bytes) : decoded;
}

String FromQt(const QString& text)
{
    return text.toStdString();
}

namespace {

constexpr int kMaxWordLength = 100;
constexpr QChar kBreakHere(0x200B);

bool TurnsDirection(QChar c)
{
    const char16_t code = c.unicode();
    return (code >= 0x202A && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
}

QString Shortened(QString text, qsizetype longest)
{
    if (text.size() > longest)
        text = text.left(longest - 1) + QChar(0x2026);
    return text;
}

} // namespace

QString Displayed(const String& text, qsizetype longest)
{
    QString shown;
    int word = 0;
    for (const QChar c : Shortened(ToQt(text), longest)) {
        if (TurnsDirection(c) || (c.category() == QChar::Other_Control && c != '\n'))
            continue;
        word = c.isSpace() ? 0 : word + 1;
        if (word > kMaxWordLength && !c.isLowSurrogate()) {
            shown += kBreakHere;
            word = 1;
        }
        shown += c;
    }
    return shown;
}

QString OneLine(const String& text, qsizetype longest)
{
    QString line = ToQt(text);
    line.removeIf([](QChar c) { return TurnsDirection(c) || c.category() == QChar::Other_Control; });
    return Shortened(line, longest);
}

QFont InterfaceFont(const String& family, int32_t size, bool bold)
{
    const bool small = family == "SmallSystem";
    QFont font = QApplication::font();
    if (!small && !(family == "System"))
        font.setFamilies({ToQt(family)});
    if (size <= 0)
        size = small ? kSmallSystemSize : QFontInfo(QApplication::font()).pixelSize();
    font.setPixelSize(size);
    font.setBold(bold);
    return font;
}

} // namespace framework
