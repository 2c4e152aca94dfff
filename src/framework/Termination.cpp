// SPDX-License-Identifier: MIT
// Ending the program without asking the user.
//
// A signal handler may do very little, so it writes the signal's number into a pipe that the event loop watches. The
// event loop calls `TerminationRequested` and ends. An impatient user need not wait: the third signal ends the process
// at once.
//
// When the display server dies, Qt calls `exit` from within its event handling. The destructors of static objects would
// then destroy windows whose application is gone. An exit handler runs before them: it lets the program finish what it
// writes, and ends the process without running any destructor.
#include "framework/Termination.h"

#include "framework/Application.h"
#include "framework/Guard.h"
#include "framework/Runtime.h"

#include <QSocketNotifier>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

namespace framework {
namespace {

constexpr int kSignals[] = {SIGTERM, SIGHUP, SIGINT};
constexpr int kSignalsUntilForced = 3;

int pipeEnds[2] = {-1, -1}; // read end, write end; never closed, since a signal may arrive at any time
std::atomic<bool> loopWatches = false;
std::atomic<int> signalsReceived = 0;
int terminationSignal = 0;
std::unique_ptr<QSocketNotifier> notifier;

void OnSignal(int signal)
{
    const int error = errno;
    if (!loopWatches || ++signalsReceived >= kSignalsUntilForced) {
        std::signal(signal, SIG_DFL);
        std::raise(signal); // takes effect when this handler returns
    } else {
        const auto number = static_cast<unsigned char>(signal);
        [[maybe_unused]] const ssize_t written = write(pipeEnds[1], &number, sizeof number);
    }
    errno = error;
}

void RequestTermination(Termination reason)
{
    if (const auto application = Application::Instance())
        Guard([&] { Raise(application->TerminationRequested, reason); });
}

void ReadSignal()
{
    unsigned char number = 0;
    if (read(pipeEnds[0], &number, sizeof number) != sizeof number || terminationSignal != 0)
        return;
    terminationSignal = number;
    RequestTermination(Termination::Signal);
    EndEventLoop(EXIT_SUCCESS);
}

void EndWithoutDestructors()
{
    if (!EventLoopRuns())
        return;
    MarkDisplayLost();
    RequestTermination(Termination::DisplayLost);
    std::fflush(nullptr);
    std::_Exit(EXIT_FAILURE);
}

} // namespace

void HandleTerminationSignals()
{
    if (pipe2(pipeEnds, O_CLOEXEC | O_NONBLOCK) != 0)
        return;
    for (const int signal : kSignals) {
        struct sigaction action {};
        // Signals that the parent process ignored stay ignored: "nohup" relies on that.
        if (sigaction(signal, nullptr, &action) != 0 || action.sa_handler == SIG_IGN)
            continue;
        action = {};
        action.sa_handler = OnSignal;
        action.sa_flags = SA_RESTART;
        sigemptyset(&action.sa_mask);
        sigaction(signal, &action, nullptr);
    }
}

TerminationWatch::TerminationWatch()
{
    GuardExit();
    if (pipeEnds[0] < 0)
        return;
    notifier = std::make_unique<QSocketNotifier>(pipeEnds[0], QSocketNotifier::Read);
    QObject::connect(notifier.get(), &QSocketNotifier::activated, [] { ReadSignal(); });
    loopWatches = true;
}

TerminationWatch::~TerminationWatch()
{
    loopWatches = false;
    notifier.reset();
}

void GuardExit()
{
    std::atexit(EndWithoutDestructors);
}

int32_t TerminationSignal()
{
    return terminationSignal;
}

int ExitStatus(int exitCode)
{
    if (terminationSignal != 0) {
        std::fflush(nullptr);
        std::signal(terminationSignal, SIG_DFL);
        std::raise(terminationSignal);
    }
    return exitCode;
}

} // namespace framework
