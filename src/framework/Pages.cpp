// SPDX-License-Identifier: MIT
// Pages of the web and of the installed guide.
//
// xdg-open opens the browser and reports by its exit code whether that worked. It may run as long as the browser does,
// so the program does not wait for it. Without a browser, a page of the guide is shown in the help window.
#include "framework/Application.h"
#include "framework/HelpWindow.h"
#include "framework/QtText.h"
#include "framework/Runtime.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QProcess>
#include <QUrl>

namespace framework {
namespace {

using Pages = std::map<std::string, std::string>;

// Never destroyed, like the process object below: the browser must not end with the program.
Pages& LocalPages()
{
    static auto& pages = *new Pages;
    return pages;
}

std::function<void(const String&)>& ShowURLHandler()
{
    static auto& handler = *new std::function<void(const String&)>;
    return handler;
}

// Where to read a page: on the site, or in the file installed with the program.
QUrl PlaceOf(const String& url)
{
    const auto local = LocalPages().find(url.Bytes());
    const QString path = local == LocalPages().end() ? QString() : ToQt(local->second);
    return QFileInfo(path).isFile() ? QUrl::fromLocalFile(QFileInfo(path).canonicalFilePath()) : QUrl(ToQt(url));
}

void ShowWithoutBrowser(const QUrl& page)
{
    if (page.isLocalFile())
        ShowInHelpWindow(page);
    else
        MsgBox("No web browser could be opened. The page is at " + FromQt(page.toString()) + ".");
}

} // namespace

void ShowURL(const String& url)
{
    if (ShowURLHandler()) {
        ShowURLHandler()(url);
        return;
    }
    if (!HasDisplay())
        return;
    const QUrl page = PlaceOf(url);
    auto* opener = new QProcess;
    opener->setStandardOutputFile(QProcess::nullDevice());
    opener->setStandardErrorFile(QProcess::nullDevice());
    QObject::connect(opener, &QProcess::finished, opener, [opener, page](int code, QProcess::ExitStatus status) {
        opener->deleteLater();
        if (code != 0 || status != QProcess::NormalExit)
            ShowWithoutBrowser(page);
    });
    QObject::connect(opener, &QProcess::errorOccurred, opener, [opener, page](QProcess::ProcessError error) {
        if (error != QProcess::FailedToStart)
            return;
        opener->deleteLater();
        ShowWithoutBrowser(page);
    });
    opener->start("xdg-open", {page.toString(QUrl::FullyEncoded)});
}

void SetShowURLHandler(std::function<void(const String& url)> handler)
{
    ShowURLHandler() = std::move(handler);
}

void SetLocalPages(std::map<std::string, std::string> pages)
{
    LocalPages() = std::move(pages);
}

String ProgramFolder()
{
    return FromQt(QCoreApplication::applicationDirPath());
}

} // namespace framework
