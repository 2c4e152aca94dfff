// SPDX-License-Identifier: MIT
// File dialogs: always Qt's own dialog, so that it looks and behaves the same on every desktop.
//
// The typed name is read here and not by Qt, which treats quotation marks as delimiters of several names. In this
// dialog they are part of the name. A name that cannot be used is rejected before the dialog closes, so that the user
// can correct it.
#include "framework/Application.h"
#include "framework/FolderItem.h"
#include "framework/QtText.h"
#include "framework/Runtime.h"

#include <QApplication>
#include <QDir>
#include <QFileDialog>
#include <QFileIconProvider>
#include <QFileInfo>
#include <QLineEdit>
#include <QMessageBox>
#include <QMimeDatabase>
#include <QPointer>
#include <QRegularExpression>
#include <QStandardPaths>

#include <map>
#include <string>

namespace framework {
namespace {

constexpr qsizetype kMaxNameLength = 255; // bytes

// The folder of the first dialog: the user's Videos folder, or its nearest parent that exists.
QString FirstFolder()
{
    QDir folder(QStandardPaths::writableLocation(QStandardPaths::MoviesLocation));
    QString path = folder.absolutePath();
    while (!QFileInfo(path).isDir() && path != QDir::rootPath())
        path = QFileInfo(path).path();
    return path == QDir::rootPath() ? QDir::currentPath() : path;
}

// The folder of the last chosen file, where the next dialog starts.
QString& LastFolder()
{
    static QString folder = FirstFolder();
    return folder;
}

// Finds the type of a file by its name only. Reading each file would hold up the live picture on a slow disk, and
// forever at a pipe.
class KindsByName : public QFileIconProvider {
public:
    QIcon icon(const QFileInfo& file) const override { return QFileIconProvider::icon(file.isDir() ? Folder : File); }
    QString type(const QFileInfo& file) const override
    {
        return file.isDir() ? QFileDialog::tr("Folder")
                            : QMimeDatabase().mimeTypeForFile(file, QMimeDatabase::MatchExtension).comment();
    }
};

using KindOfFile = FileType; // QFileDialog has a name of its own for it
using FileTypes = std::map<std::string, Reference<KindOfFile>>;

FileTypes& KnownTypes()
{
    static auto& types = *new FileTypes;
    return types;
}

class FileDialog : public QFileDialog {
public:
    FileDialog(QWidget* parent, QString extension, Reference<KindOfFile> kind)
        : QFileDialog(parent), extension(std::move(extension)), kind(std::move(kind))
    {
    }

    QString Chosen() const { return chosen; }

protected:
    void accept() override
    {
        const QString typed = Typed();
        if (typed.isEmpty())
            return;
        QString path = QDir::cleanPath(directory().absoluteFilePath(typed));
        if (QFileInfo(path).isDir()) {
            setDirectory(path);
            selectFile(QString());
            return;
        }
        if (acceptMode() == AcceptSave && !HasExtension(path))
            path += extension;
        if (!MayTake(QFileInfo(path)))
            return;
        chosen = path;
        QDialog::accept();
    }

private:
    QString Typed() const
    {
        const auto* field = findChild<QLineEdit*>(QString(), Qt::FindDirectChildrenOnly);
        QString typed = field == nullptr ? selectedFiles().value(0) : field->text();
        if (typed == "~" || typed.startsWith("~/"))
            typed.replace(0, 1, QDir::homePath());
        return typed;
    }

    // An extension is short and contains a letter, so "Lecture 3.5" has none.
    static bool HasExtension(const QString& path)
    {
        static const QRegularExpression ending("\\.(?=[^.]*[A-Za-z])[A-Za-z0-9]{1,5}$");
        return ending.match(QFileInfo(path).fileName()).hasMatch();
    }

    bool MayTake(const QFileInfo& file)
    {
        const bool opens = acceptMode() == AcceptOpen;
        const QString objection = opens ? ObjectionToOpening(file) : ObjectionToSaving(file);
        if (!objection.isEmpty())
            return Refuse(objection);
        return opens || !file.exists() ||
               Ask(file.fileName() + " already exists.\nDo you want to replace it?", QMessageBox::Yes | QMessageBox::No,
                   QMessageBox::No) == QMessageBox::Yes;
    }

    QString ObjectionToOpening(const QFileInfo& file) const
    {
        if (!file.exists())
            return "There is no file " + file.fileName() + " in this folder.";
        if (!file.isFile())
            return file.fileName() + " is not a regular file and can't be opened.";
        if (!file.isReadable())
            return "You have no permission to read " + file.fileName() + ".";
        return kind && kind->Objection ? Displayed(kind->Objection(FolderItem(FromQt(file.filePath())))) : QString();
    }

    static QString ObjectionToSaving(const QFileInfo& file)
    {
        const QFileInfo folder(file.path());
        // The movie writer removes backslashes from the path, so it would replace another file.
        if (file.fileName().contains('\\'))
            return "A name with a backslash (\\) can't be used here. Please choose another name.";
        if (file.filePath().contains('\\'))
            return "A folder with a backslash (\\) in its name can't be used here. Please choose another folder.";
        if (QFile::encodeName(file.fileName()).size() > kMaxNameLength)
            return "The name is too long. Please choose a shorter one.";
        if (!folder.isDir())
            return "The folder " + folder.filePath() + " does not exist.";
        if (file.exists() && !file.isFile())
            return file.fileName() + " is not a regular file and can't be replaced.";
        if (!folder.isWritable())
            return "You have no permission to save in the folder " + folder.filePath() + ".";
        return {};
    }

    bool Refuse(const QString& text)
    {
        Ask(text, QMessageBox::Ok, QMessageBox::Ok);
        return false;
    }

    int Ask(const QString& text, QMessageBox::StandardButtons buttons, QMessageBox::StandardButton preset)
    {
        QMessageBox box(QMessageBox::Warning, QCoreApplication::applicationName(), text, buttons, this);
        box.setTextFormat(Qt::PlainText);
        box.setDefaultButton(preset);
        return box.exec();
    }

    const QString extension;
    const Reference<KindOfFile> kind; ///< nil: all files
    QString chosen;
};

QString NameOfKind(const String& filter, const Reference<FileType>& kind)
{
    return ToQt(kind && !kind->Description.IsEmpty() ? kind->Description : filter);
}

Reference<FolderItem> RunFileDialog(QFileDialog::AcceptMode mode, const String& filter, const String& name,
                                    const String& extension)
{
    if (!HasDisplay())
        return nullptr;
    KindsByName kinds;
    const auto known = KnownTypes().find(filter.Bytes());
    const auto kind = known == KnownTypes().end() ? Reference<FileType>() : known->second;
    const QPointer<QWidget> front = QApplication::activeWindow();
    FileDialog dialog(front, ToQt(extension), kind);
    dialog.setIconProvider(&kinds);
    dialog.setOption(QFileDialog::DontUseNativeDialog);
    dialog.setAcceptMode(mode);
    dialog.setFileMode(mode == QFileDialog::AcceptSave ? QFileDialog::AnyFile : QFileDialog::ExistingFile);
    dialog.setNameFilter((filter.IsEmpty() ? QStringLiteral("All files") : NameOfKind(filter, kind)) + " (*)");
    dialog.setDirectory(LastFolder());
    dialog.selectFile(ToQt(name));
    const bool accepted = dialog.exec() == QDialog::Accepted;
    // Some window managers give the focus to a different window than the one that had it before.
    if (front)
        front->activateWindow();
    if (!accepted || dialog.Chosen().isEmpty())
        return nullptr;
    LastFolder() = QFileInfo(dialog.Chosen()).absolutePath();
    return New<FolderItem>(FromQt(dialog.Chosen()));
}

} // namespace

void RegisterFileType(const Reference<FileType>& type)
{
    KnownTypes()[type->Name.Bytes()] = type;
}

Reference<FolderItem> GetSaveFolderItem(const String& filter, const String& defaultName, const String& extension)
{
    return RunFileDialog(QFileDialog::AcceptSave, filter, defaultName, extension);
}

Reference<FolderItem> GetOpenFolderItem(const String& filter)
{
    return RunFileDialog(QFileDialog::AcceptOpen, filter, "", "");
}

} // namespace framework
