// SPDX-License-Identifier: MIT
#include "framework/Application.h"

#include "framework/Guard.h"
#include "framework/Runtime.h"
#include "framework/RuntimeState.h"

#include <QCoreApplication>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <thread>
#include <utility>

namespace framework {
namespace {

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
    Runtime& runtime = Runtime::Instance();
    std::fprintf(stderr, "Unhandled exception: %s\n", texts.technical.c_str());
    // Timers fire while the box is open and must not pile up boxes.
    if (runtime.reporting)
        return;
    runtime.reporting = true;
    MsgBox(texts.shown, MessageKind::Warning);
    runtime.reporting = false;
}

} // namespace

Runtime& Runtime::Instance()
{
    static auto& runtime = *new Runtime;
    return runtime;
}

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
        Runtime::Instance().reporting = false;
    }
}

bool HasDisplay()
{
    return Runtime::Instance().hasDisplay;
}

void MarkDisplayLost()
{
    Runtime::Instance().hasDisplay = false;
}

bool EventLoopRuns()
{
    return Runtime::Instance().loopRuns;
}

bool RequestQuit()
{
    Runtime& runtime = Runtime::Instance();
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
    Runtime& runtime = Runtime::Instance();
    runtime.endRequested = true;
    runtime.exitCode = std::max(runtime.exitCode, exitCode);
    if (runtime.loopRuns)
        QCoreApplication::exit(runtime.exitCode);
}

void NoteWindowOpened(Window& window, std::function<void()> menuBarReplaced)
{
    Runtime& runtime = Runtime::Instance();
    runtime.windows.push_back(&window);
    runtime.menuBarReplaced[&window] = std::move(menuBarReplaced);
    runtime.hadWindows = true;
}

void NoteWindowClosed(Window& window)
{
    Runtime& runtime = Runtime::Instance();
    std::erase(runtime.windows, &window);
    runtime.menuBarReplaced.erase(&window);
    if (runtime.windows.empty() && runtime.loopRuns)
        EndEventLoop(EXIT_SUCCESS);
}

const std::vector<Window*>& OpenWindows()
{
    return Runtime::Instance().windows;
}

void Application::MenuBar(framework::Reference<framework::MenuBar> value)
{
    bar = std::move(value);
    for (const auto& [window, replaced] : Runtime::Instance().menuBarReplaced)
        replaced();
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

void RegisterApplication(std::shared_ptr<Application> application)
{
    Runtime::Instance().application = std::move(application);
}

std::shared_ptr<Application> Application::Instance()
{
    return Runtime::Instance().application;
}

void YieldToBackground()
{
    std::this_thread::yield();
}

} // namespace framework
