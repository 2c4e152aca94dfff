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

struct Runtime {
    RuntimeApplication* qt = nullptr; // deleted by `EndRuntime` only, never by a static destructor
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

// Never destroyed: when the display server dies, Qt calls `exit` in the middle of an event.
Runtime& TheRuntime()
{
    static auto& runtime = *new Runtime;
    return runtime;
}

constexpr const char* kExceptionWithoutObject = "An exception was raised.";

// The text of an exception, for the log and for the user.
struct ExceptionTexts {
    std::string technical;
    std::string shown;
};

ExceptionTexts TextsOf(const RuntimeException& exception)
{
    const bool technical = dynamic_cast<const TechnicalException*>(&exception) != nullptr;
    return {exception.what(), technical ? kNotCarriedOut : exception.what()};
}

// The texts of the exception being handled; empty if it is not one of the framework's.
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
    // Timers fire while the box is open and must not pile up boxes.
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
        // Showing the message failed; standard error has it.
        TheRuntime().reporting = false;
    }
}

bool HasDisplay()
{
    return TheRuntime().hasDisplay;
}

void MarkDisplayLost()
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

// The desktop session asks all programs before it ends.
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
