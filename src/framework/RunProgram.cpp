// SPDX-License-Identifier: MIT
// The runtime from its start to its end. The state in between is in Application.cpp.
#include "framework/Application.h"
#include "framework/Guard.h"
#include "framework/QtText.h"
#include "framework/Runtime.h"
#include "framework/RuntimeState.h"
#include "framework/Termination.h"

#include <QApplication>
#include <QIcon>
#include <QSessionManager>

#include <clocale>
#include <cstdlib>
#include <utility>

namespace framework {
namespace {

// Catches exceptions of everything that is not called through `Guard`, such as timers of other code.
class RuntimeApplication : public QApplication {
public:
    using QApplication::QApplication;
    bool notify(QObject* receiver, QEvent* event) override
    {
        try {
            return QApplication::notify(receiver, event);
        } catch (...) {
            ReportException();
            return false;
        }
    }
};

// The desktop session asks all programs before it ends.
void FollowSession(QSessionManager& session)
{
    if (session.allowsInteraction()) {
        if (!RequestQuit())
            session.cancel();
        session.release();
    } else if (const auto application = Application::Instance()) {
        Guard([&] { Raise(application->TerminationRequested, Termination::Signal); });
    }
}

} // namespace

void StartRuntime(int& argc, char** argv, bool needsDisplay)
{
    Runtime& runtime = Runtime::Instance();
    if (runtime.qt != nullptr)
        return;
    if (!needsDisplay)
        qputenv("QT_QPA_PLATFORM", "offscreen");
    runtime.hasDisplay = needsDisplay;
    runtime.qt = new RuntimeApplication(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    QObject::connect(
        runtime.qt, &QGuiApplication::commitDataRequest, runtime.qt, [](QSessionManager& s) { FollowSession(s); },
        Qt::DirectConnection);
    // Qt sets the user's locale for the whole process. Keep the "C" format of numbers in files and protocols.
    std::setlocale(LC_NUMERIC, "C");
}

void SetProgramName(const String& name, const String& desktopEntry)
{
    QCoreApplication::setApplicationName(ToQt(name));
    QGuiApplication::setDesktopFileName(ToQt(desktopEntry));
    // A program that is not installed uses the icon in its resources.
    QApplication::setWindowIcon(QIcon::fromTheme(ToQt(desktopEntry), QIcon(":/" + ToQt(desktopEntry) + ".png")));
}

int RunEventLoop()
{
    Runtime& runtime = Runtime::Instance();
    const bool lastWindowHasClosed = runtime.hadWindows && runtime.windows.empty();
    if (!runtime.endRequested && !lastWindowHasClosed) {
        const TerminationWatch watch;
        runtime.loopRuns = true;
        QApplication::exec();
        runtime.loopRuns = false;
    }
    runtime.endRequested = false;
    return std::exchange(runtime.exitCode, EXIT_SUCCESS);
}

void EndRuntime()
{
    Runtime& runtime = Runtime::Instance();
    if (runtime.qt == nullptr)
        return;
    runtime.application.reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    delete std::exchange(runtime.qt, nullptr);
}

} // namespace framework
