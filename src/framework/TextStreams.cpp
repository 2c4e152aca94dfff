// SPDX-License-Identifier: MIT
#include "framework/TextStreams.h"

#include "framework/Application.h"
#include "framework/Guard.h"
#include "framework/QtText.h"
#include "framework/WholeFile.h"

#include <QFileInfo>

namespace framework {
namespace {

constexpr size_t kMaxTextSize = size_t{64} << 20;
constexpr size_t kPiece = size_t{64} << 10;

} // namespace

TextOutputStream::TextOutputStream(std::unique_ptr<WholeFile> file) : file(std::move(file)) {}

TextOutputStream::~TextOutputStream()
{
    if (file->Finish())
        return;
    const QFileInfo written(file->Path());
    QString text = written.fileName() + " could not be saved: " + file->Failure() + ".";
    if (written.exists())
        text += " The file of that name is as it was before.";
    Guard([&] { MsgBox(FromQt(text), MessageKind::Warning); });
}

void TextOutputStream::Write(const String& text)
{
    file->Write({text.Bytes().data(), static_cast<qsizetype>(text.Bytes().size())});
}

String TextInputStream::ReadAll()
{
    std::string text;
    while (file && text.size() < kMaxTextSize) {
        const size_t before = text.size();
        text.resize(before + kPiece);
        file.read(text.data() + before, static_cast<std::streamsize>(kPiece));
        text.resize(before + static_cast<size_t>(file.gcount()));
    }
    return {std::move(text), kEncodingNone};
}

} // namespace framework
