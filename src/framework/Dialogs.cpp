#include "framework/Application.h"
#include "framework/FolderItem.h"
#include "framework/QtText.h"
#include "framework/Runtime.h"
#include "platform/events/EventLoop.h"

#include <QApplication>
#include <QDesktopServices>
#include <QDir>
#include <QElapsedTimer>
#include <QFileDialog>
#include <QFileIconProvider>
#include <QFileInfo>
#include <QLineEdit>
#include <QMessageBox>
#include <QMimeDatabase>
#include <QUrl>

#include <cstdio>

namespace framework {
namespace {

using TextHandler = std::function<void(const String&)>;

TextHandler& MsgBoxHandler()
{
    static TextHandler handler;
    return handler;
}

TextHandler& ShowURLHandler()
{
    static TextHandler handler;
    return handler;
}

constexpr qint64 kTimeToAct = 5000; // milliseconds

struct Answer {
    String text;
    QElapsedTimer time;
};

Answer& LastAnswer()
{
    static Answer answer;
    return answer;
}

// The folder of the last choice, where the next dialog begins.
QString& LastFolder()
{
    static QString folder = QDir::currentPath();
    return folder;
}

// Tells files by their names alone. Looking into each one would hold up the live picture where a disk is slow, and for
// good at a file that has nothing to read yet.
class KindsByName : public QFileIconProvider {
public:
    QIcon icon(const QFileInfo& file) const override { return QFileIconProvider::icon(file.isDir() ? Folder : File); }
    QString type(const QFileInfo& file) const override
    {
        return file.isDir() ? QFileDialog::tr("Folder")
                            : QMimeDatabase().mimeTypeForFile(file, QMimeDatabase::MatchExtension).comment();
    }
};

// Qt's own dialog on every desktop, so that it looks and answers alike everywhere. Left to itself it takes quotation
// marks in what was typed as marks around each of several names; here they are letters of the one name.
class FileDialog : public QFileDialog {
public:
    using QFileDialog::QFileDialog;

    QString Chosen() const { return quotedName.isEmpty() ? selectedFiles().value(0) : quotedName; }

protected:
    void accept() override
    {
        const auto* field = findChild<QLineEdit*>("fileNameEdit");
        const QString typed = field == nullptr ? QString() : field->text();
        if (!typed.contains('"'))
            return QFileDialog::accept();
        const QString path = directory().absoluteFilePath(typed);
        if (QFileInfo(path).isDir())
            return setDirectory(path);
        if (!MayTake(QFileInfo(path)))
            return;
        quotedName = path;
        QDialog::accept();
    }

private:
    bool MayTake(const QFileInfo& file)
    {
        if (acceptMode() == AcceptSave)
            return !file.exists() || Ask(file.fileName() + " already exists.\nDo you want to replace it?",
                                         QMessageBox::Yes | QMessageBox::No, QMessageBox::No) == QMessageBox::Yes;
        if (!file.exists())
            Ask(file.fileName() + "\nFile not found.", QMessageBox::Ok, QMessageBox::Ok);
        return file.exists();
    }

    int Ask(const QString& text, QMessageBox::StandardButtons buttons, QMessageBox::StandardButton preset)
    {
        QMessageBox box(QMessageBox::Warning, windowTitle(), text, buttons, this);
        box.setTextFormat(Qt::PlainText);
        box.setDefaultButton(preset);
        return box.exec();
    }

    QString quotedName;
};

Reference<FolderItem> RunFileDialog(QFileDialog::AcceptMode mode, const String& filter, const String& name)
{
    if (!HasDisplay())
        return nullptr;
    KindsByName kinds;
    FileDialog dialog(QApplication::activeWindow());
    dialog.setIconProvider(&kinds);
    dialog.setOption(QFileDialog::DontUseNativeDialog);
    dialog.setAcceptMode(mode);
    dialog.setFileMode(mode == QFileDialog::AcceptSave ? QFileDialog::AnyFile : QFileDialog::ExistingFile);
    dialog.setNameFilter((filter.IsEmpty() ? QStringLiteral("All files") : ToQt(filter)) + " (*)");
    dialog.setDirectory(LastFolder());
    dialog.selectFile(ToQt(name));
    if (dialog.exec() != QDialog::Accepted || dialog.Chosen().isEmpty())
        return nullptr;
    const QString chosen = dialog.Chosen();
    LastFolder() = QFileInfo(chosen).absolutePath();
    return New<FolderItem>(FromQt(chosen));
}

// A failure that comes with every frame would put one box after the other between the user and the "Stop" button. So a
// text that a timer brings again right after it was answered is passed over for a while.
bool WasJustAnswered(const String& text)
{
    return platform::IsInsideEventLoopTimer() && LastAnswer().text == text && LastAnswer().time.isValid() &&
           !LastAnswer().time.hasExpired(kTimeToAct);
}

} // namespace

void MsgBox(const String& text)
{
    if (WasJustAnswered(text))
        return;
    if (MsgBoxHandler()) {
        MsgBoxHandler()(text);
    } else if (!HasDisplay()) {
        std::fprintf(stderr, "%s\n", text.Bytes().c_str());
    } else {
        QMessageBox box(QMessageBox::NoIcon, QString(), ToQt(text), QMessageBox::Ok, QApplication::activeWindow());
        box.setTextFormat(Qt::PlainText);
        box.exec();
    }
    LastAnswer().text = text;
    LastAnswer().time.start();
}

void SetMsgBoxHandler(std::function<void(const String& text)> handler)
{
    MsgBoxHandler() = std::move(handler);
}

void Beep()
{
    QApplication::beep();
}

void ShowURL(const String& url)
{
    if (ShowURLHandler())
        ShowURLHandler()(url);
    else if (HasDisplay())
        QDesktopServices::openUrl(QUrl(ToQt(url)));
}

void SetShowURLHandler(std::function<void(const String& url)> handler)
{
    ShowURLHandler() = std::move(handler);
}

Reference<FolderItem> GetSaveFolderItem(const String& filter, const String& defaultName)
{
    return RunFileDialog(QFileDialog::AcceptSave, filter, defaultName);
}

Reference<FolderItem> GetOpenFolderItem(const String& filter)
{
    return RunFileDialog(QFileDialog::AcceptOpen, filter, "");
}

} // namespace framework
