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
