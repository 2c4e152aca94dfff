// SPDX-License-Identifier: MIT
#include "framework/Runtime.h"
#include "framework/Support.h"

#include <gtest/gtest.h>

#include <QTimer>

#include <csignal>

namespace framework {
namespace {

// Runs the event loop with a program that says why it ends, and ends the process as `main` does.
[[noreturn]] void RunUntil(const std::function<void()>& event)
{
    const auto application = std::make_shared<Application>();
    RegisterApplication(application);
    application->TerminationRequested = [](Termination reason) {
        std::fprintf(stderr, reason == Termination::Signal ? "asked by a signal" : "display lost %d", HasDisplay());
    };
    HandleTerminationSignals();
    TestWindow window;
    window.Construct();
    QTimer::singleShot(0, event);
    const int code = RunEventLoop();
    std::_Exit(ExitStatus(code));
}

TEST(Termination, ComesToTheProgramAndEndsTheProcessAsItsParentExpects)
{
    for (const int signal : {SIGTERM, SIGHUP, SIGINT})
        EXPECT_EXIT(RunUntil([signal] { raise(signal); }), testing::KilledBySignal(signal), "asked by a signal");
    // What Qt does in the middle of an event when the display server dies.
    EXPECT_EXIT(RunUntil([] { std::exit(3); }), testing::ExitedWithCode(EXIT_FAILURE), "display lost 0");
    // A program that hangs in an event can still be ended.
    EXPECT_EXIT(RunUntil([] {
                    for (;;)
                        raise(SIGTERM);
                }),
                testing::KilledBySignal(SIGTERM), "");
}

TEST(Quit, IsTheApplicationsToAllow)
{
    const auto application = std::make_shared<Application>();
    RegisterApplication(application);
    bool may = false;
    int asked = 0;
    application->MayQuit = [&] {
        ++asked;
        EXPECT_FALSE(RequestQuit()) << "a second request does not ask again";
        return may;
    };
    TestWindow main;
    TestWindow other;
    main.EndsProgram = true;
    for (TestWindow* window : {&main, &other}) {
        window->controls = [](TestWindow& w) { w.Add<TestCanvas>("Canvas"); };
        window->Construct();
    }
    const auto close = [](const Window& window) {
        return window.ControlNamed<Canvas>("Canvas")->Widget()->window()->close();
    };
    QTimer::singleShot(0, [&] {
        EXPECT_FALSE(close(main));
        EXPECT_TRUE(main.Visible());
        may = true;
        EXPECT_TRUE(close(main));
    });
    EXPECT_EQ(RunEventLoop(), EXIT_SUCCESS) << "ends although another window is open";
    EXPECT_EQ(asked, 2);
    EXPECT_TRUE(close(other));
    EXPECT_EQ(asked, 2) << "closing another window ends nothing";
    RegisterApplication(nullptr);
}

} // namespace
} // namespace framework
