// SPDX-License-Identifier: MIT
#include "framework/FolderItem.h"

#include "framework/Application.h"
#include "framework/QtText.h"
#include "framework/TextStreams.h"
#include "framework/WholeFile.h"
#include "platform/files/DirectoryNumbers.h"
#include "platform/memory/ResultCodes.h"

#include <QFile>
#include <QStorageInfo>

#include <filesystem>
#include <string_view>

namespace framework {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kPlainInShell = "+-./:=@_,%^";

bool IsPlainInShell(char c)
{
    return static_cast<signed char>(c) < 0 || (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') ||
           (c >= 'a' && c <= 'z') || kPlainInShell.find(c) != std::string_view::npos;
}

std::string Absolute(const std::string& path)
{
    std::error_code error;
    const fs::path absolute = fs::absolute(path, error).lexically_normal();
    if (error)
        return path;
    return absolute.has_filename() ? absolute.string() : absolute.parent_path().string();
}

// File names are bytes. Most are UTF-8; others must be kept unchanged.
String NameText(const std::string& bytes)
{
    return {bytes, QUtf8StringView(bytes.data(), static_cast<qsizetype>(bytes.size())).isValidUtf8()
                       ? kEncodingUTF8
                       : kEncodingFileName};
}

platform::DirectoryNumbers NumbersOfFolder(const std::string& path)
{
    return platform::NumbersOfDirectory(fs::path(path).parent_path().string());
}

int32_t CodeOfError(const std::error_code& error)
{
    if (error == std::errc::permission_denied || error == std::errc::operation_not_permitted ||
        error == std::errc::read_only_file_system)
        return platform::permErr;
    return platform::ioErr;
}

} // namespace

FolderItem::FolderItem(const String& path) : path(Absolute(path.Bytes())) {}

String FolderItem::Name() const
{
    return NameText(fs::path(path).filename().string());
}

String FolderItem::AbsolutePath() const
{
    return NameText(path);
}

String FolderItem::ShellPath() const
{
    std::string escaped;
    for (const char c : path) {
        if (!IsPlainInShell(c))
            escaped += '\\';
        escaped += c;
    }
    return NameText(escaped);
}

bool FolderItem::Exists() const
{
    std::error_code error;
    return fs::exists(path, error);
}

String FolderItem::VolumeName() const
{
    const QStorageInfo volume(QFile::decodeName(QByteArray::fromStdString(fs::path(path).parent_path().string())));
    const QString label = volume.name();
    return FromQt(label.isEmpty() ? volume.rootPath() : volume.rootPath() + " (" + label + ")");
}

void FolderItem::Delete()
{
    std::error_code error;
    const auto kind = fs::symlink_status(path, error).type();
    if (kind == fs::file_type::not_found)
        lastErrorCode = platform::fnfErr;
    else if (kind == fs::file_type::directory)
        lastErrorCode = platform::permErr;
    else if (fs::remove(path, error))
        lastErrorCode = platform::noErr;
    else
        lastErrorCode = CodeOfError(error);
}

int32_t FolderItem::MacVRefNum() const
{
    return NumbersOfFolder(path).volume;
}

int32_t FolderItem::MacDirID() const
{
    return NumbersOfFolder(path).directory;
}

Reference<TextOutputStream> FolderItem::CreateTextFile()
{
    const QString name = QFile::decodeName(QByteArray::fromStdString(path));
    // Qt cannot represent a name that is not valid text; it would write to a different file.
    QString failure = "its name is not valid text";
    if (QFile::encodeName(name).toStdString() == path) {
        auto file = std::make_unique<WholeFile>(name);
        if (file->Open())
            return New<TextOutputStream>(std::move(file));
        failure = file->Failure();
    }
    MsgBox(Name() + " could not be saved: " + FromQt(failure) + ".", MessageKind::Warning);
    return nullptr;
}

Reference<TextInputStream> FolderItem::OpenAsTextFile()
{
    // Opening a folder would succeed, and opening a pipe would block until it has a writer.
    std::error_code error;
    if (!fs::is_regular_file(path, error))
        return nullptr;
    std::ifstream file(path, std::ios::binary);
    if (!file)
        return nullptr;
    return New<TextInputStream>(std::move(file));
}

} // namespace framework
