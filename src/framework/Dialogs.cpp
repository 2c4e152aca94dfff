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
#include <QFileInfo>
#include <QMessageBox>
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

// The dialogs are Qt's own on every desktop, so that they look and answer alike everywhere.
Reference<FolderItem> RunFileDialog(QFileDialog::AcceptMode mode, const String& filter, const String& name)
{
    if (!HasDisplay())
        return nullptr;
    QFileDialog dialog(QApplication::activeWindow());
    dialog.setOption(QFileDialog::DontUseNativeDialog);
    dialog.setAcceptMode(mode);
    dialog.setFileMode(mode == QFileDialog::AcceptSave ? QFileDialog::AnyFile : QFileDialog::ExistingFile);
    dialog.setNameFilter((filter.IsEmpty() ? QStringLiteral("All files") : ToQt(filter)) + " (*)");
    dialog.setDirectory(LastFolder());
    dialog.selectFile(ToQt(name));
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
        return nullptr;
    const QString chosen = dialog.selectedFiles().constFirst();
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
