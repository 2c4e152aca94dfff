// SPDX-License-Identifier: MIT
#include "framework/Application.h"

#include "framework/Guard.h"
#include "framework/QtText.h"
#include "framework/Runtime.h"
#include "framework/Termination.h"
#include "framework/WindowWidget.h"

#include <QApplication>
#include <QIcon>
#include <QSessionManager>
#include <QTimer>

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <thread>
#include <utility>

namespace framework {
namespace {

// The second net: handlers are guarded where the framework calls them, what others hang into the event loop is here.
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

struct Runtime {
    RuntimeApplication* qt = nullptr; // ended by `EndRuntime` alone, never behind the last static object
    bool hasDisplay = false;
    bool loopRuns = false;
    bool endRequested = false;
    int exitCode = EXIT_SUCCESS;
    bool reporting = false;
    std::shared_ptr<Application> application;
    std::vector<Window*> windows;
    bool hadWindows = false;
    bool askingToQuit = false;
};

// Never destroyed: a display server that dies has `exit` called in the middle of an event.
Runtime& TheRuntime()
{
    static auto& runtime = *new Runtime;
    return runtime;
}

constexpr const char* kExceptionWithoutObject = "An exception was raised.";

// What an exception says, to whoever mends the program and to the user.
struct ExceptionTexts {
    std::string technical;
    std::string shown;
};

ExceptionTexts TextsOf(const RuntimeException& exception)
{
    const bool technical = dynamic_cast<const TechnicalException*>(&exception) != nullptr;
    return {exception.what(), technical ? kNotCarriedOut : exception.what()};
}

// An empty optional for an exception that is none of the framework's.
std::optional<ExceptionTexts> FrameworkExceptionTexts()
{
    try {
        throw;
    } catch (const RuntimeException& exception) {
        return TextsOf(exception);
    } catch (const Reference<RuntimeException>& exception) {
        return exception ? TextsOf(*exception) : ExceptionTexts{kExceptionWithoutObject, kNotCarriedOut};
    } catch (...) {
        return std::nullopt;
    }
}

std::string ForeignExceptionText()
{
    try {
        throw;
    } catch (const std::exception& exception) {
        return exception.what();
    } catch (...) {
        return kExceptionWithoutObject;
    }
}

void ReportTexts(const ExceptionTexts& texts)
{
    Runtime& runtime = TheRuntime();
    std::fprintf(stderr, "Unhandled exception: %s\n", texts.technical.c_str());
    // Timers fire behind the box. It is not for them to pile up boxes.
    if (runtime.reporting)
        return;
    runtime.reporting = true;
    MsgBox(texts.shown, MessageKind::Warning);
    runtime.reporting = false;
}

} // namespace

void ReportException() noexcept
{
    try {
        if (const auto texts = FrameworkExceptionTexts()) {
            ReportTexts(*texts);
        } else {
            std::fprintf(stderr, "Fatal exception: %s\n", ForeignExceptionText().c_str());
            EndEventLoop(EXIT_FAILURE);
        }
    } catch (...) {
        // Showing it failed: there is nobody left to tell.
        TheRuntime().reporting = false;
    }
}

bool HasDisplay()
{
    return TheRuntime().hasDisplay;
}

void GiveUpDisplay()
{
    TheRuntime().hasDisplay = false;
}

bool EventLoopRuns()
{
    return TheRuntime().loopRuns;
}

bool RequestQuit()
{
    Runtime& runtime = TheRuntime();
    if (runtime.askingToQuit)
        return false;
    runtime.askingToQuit = true;
    bool may = true;
    Guard([&] { may = !runtime.application || !runtime.application->MayQuit || runtime.application->MayQuit(); });
    runtime.askingToQuit = false;
    if (may)
        EndEventLoop(EXIT_SUCCESS);
    return may;
}

void EndEventLoop(int exitCode)
{
    Runtime& runtime = TheRuntime();
    runtime.endRequested = true;
    runtime.exitCode = std::max(runtime.exitCode, exitCode);
    if (runtime.loopRuns)
        QCoreApplication::exit(runtime.exitCode);
}

void NoteWindowOpened(Window& window)
{
    TheRuntime().windows.push_back(&window);
    TheRuntime().hadWindows = true;
}

void NoteWindowClosed(Window& window)
{
    Runtime& runtime = TheRuntime();
    std::erase(runtime.windows, &window);
    if (runtime.windows.empty() && runtime.loopRuns)
        EndEventLoop(EXIT_SUCCESS);
}

const std::vector<Window*>& OpenWindows()
{
    return TheRuntime().windows;
}

void Application::MenuBar(framework::Reference<framework::MenuBar> value)
{
    bar = std::move(value);
    for (Window* window : OpenWindows())
        window->state->widget->RebuildMenus();
}

void Application::DoEvents(int32_t milliseconds)
{
    if (milliseconds <= 0) {
        QCoreApplication::processEvents();
        return;
    }
    QTimer limit;
    limit.setSingleShot(true);
    limit.start(milliseconds);
    QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

void Application::Quit()
{
    EndEventLoop(EXIT_SUCCESS);
}

namespace {

// The session asks all programs before it ends.
void FollowSession(QSessionManager& session)
{
    if (session.allowsInteraction()) {
        if (!RequestQuit())
            session.cancel();
        session.release();
    } else if (const auto application = TheApplication()) {
        Guard([&] { Raise(application->TerminationRequested, Termination::Signal); });
    }
}

} // namespace

void StartRuntime(int& argc, char** argv, bool needsDisplay)
{
    Runtime& runtime = TheRuntime();
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
    // Qt takes the user's locale over for the whole process. Numbers in texts that programs read stay as they are.
    std::setlocale(LC_NUMERIC, "C");
}

void SetProgramName(const String& name, const String& desktopEntry)
{
    QCoreApplication::setApplicationName(ToQt(name));
    QGuiApplication::setDesktopFileName(ToQt(desktopEntry));
    // A program that was not installed brings its icon along.
    QApplication::setWindowIcon(QIcon::fromTheme(ToQt(desktopEntry), QIcon(":/" + ToQt(desktopEntry) + ".png")));
}

int RunEventLoop()
{
    Runtime& runtime = TheRuntime();
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
    Runtime& runtime = TheRuntime();
    if (runtime.qt == nullptr)
        return;
    runtime.application.reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    delete std::exchange(runtime.qt, nullptr);
}

void RegisterApplication(std::shared_ptr<Application> application)
{
    TheRuntime().application = std::move(application);
}

std::shared_ptr<Application> TheApplication()
{
    return TheRuntime().application;
}

void YieldToBackground()
{
    std::this_thread::yield();
}

} // namespace framework
