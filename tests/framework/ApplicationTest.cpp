// SPDX-License-Identifier: MIT
#include "framework/Guard.h"
#include "framework/Runtime.h"
#include "framework/Support.h"
#include "platform/events/EventLoop.h"
#include "platform/memory/CodeAddress.h"

#include <gtest/gtest.h>

#include <QtWidgets>

#include <csignal>
#include <stdexcept>

namespace framework {
namespace {

// Collects the texts of message boxes.
struct Boxes {
    Boxes()
    {
        SetMsgBoxHandler([this](const String& text) { texts.push_back(text.Bytes()); });
    }
    ~Boxes() { SetMsgBoxHandler({}); }
    Log texts;
};

TEST(Exceptions, OfTheFrameworkAreShownAndTheProgramRunsOn)
{
    Boxes boxes;
    Guard([] { throw NilObjectException(); });
    Guard([] { throw Reference<RuntimeException>(New<RuntimeException>("by reference")); });
    Guard([] { throw Reference<RuntimeException>(); });
    // Technical messages are not shown to the user.
    EXPECT_EQ(boxes.texts, (Log{kNotCarriedOut, "by reference", kNotCarriedOut}));

    // Also exceptions of other handlers in the event loop, but not again while the box is open.
    SetMsgBoxHandler([&](const String& text) {
        boxes.texts.push_back(text.Bytes());
        Guard([] { throw RuntimeException("behind the box"); });
    });
    boxes.texts.clear();
    QTimer::singleShot(0, [] { throw RuntimeException("in the loop"); });
    Turn();
    EXPECT_EQ(boxes.texts, Log{"in the loop"});
}

TEST(MsgBoxes, HaveTheProgramsNameASignAndAnExplanation)
{
    SetProgramName("Program", "program");
    SetMsgBoxExplainer([](const String& text) { return text == "error -34" ? Explanation{"Full."} : Explanation{}; });
    struct Case {
        const char *text, *shown, *explanation;
        QMessageBox::Icon sign;
    };
    for (const Case& c : {Case{"error -34", "error -34", "Full.", QMessageBox::Warning},
                          Case{"<b>a\x1b \u202Eb", "<b>a b", "", QMessageBox::Information}}) {
        std::vector<std::string> seen;
        QTimer::singleShot(0, [&] {
            auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            ASSERT_NE(box, nullptr);
            for (const QString& text : {box->windowTitle(), box->text(), box->informativeText()})
                seen.push_back(text.toStdString());
            EXPECT_EQ(box->icon(), c.sign);
            box->accept();
        });
        MsgBox(c.text);
        EXPECT_EQ(seen, (Log{"Program", c.shown, c.explanation}));
    }
    SetMsgBoxExplainer(nullptr);
}

// A failure with every frame comes from a timer: after an answer the user has time to press "Stop".
TEST(MsgBoxes, OfATimerAreNotRepeatedAtOnce)
{
    Boxes boxes;
    MsgBox("from the user");
    MsgBox("from the user");
    static int ticks;
    ticks = 0;
    const auto callback = platform::NewEventLoopTimerUPP(platform::CodeAddressOf(+[](int32_t, int32_t) {
        ++ticks;
        MsgBox("a frame is lost");
        MsgBox(ticks == 2 ? "another failure" : "a frame is lost");
    }));
    const platform::OwnedBlock timer(4);
    platform::InstallEventLoopTimer(platform::GetMainEventLoop(), 0.001, 0.001, callback, 0, timer.Get());
    while (ticks < 2)
        QCoreApplication::processEvents();
    platform::RemoveEventLoopTimer(platform::Peek<int32_t>(timer.Get()));
    EXPECT_EQ(boxes.texts, (Log{"from the user", "from the user", "a frame is lost", "another failure"}));
}

TEST(Exceptions, OfOthersEndTheProgramWithAFailure)
{
    Boxes boxes;
    TestWindow window;
    auto* timer = window.Add<Timer>("Timer");
    timer->Action = [] { throw std::logic_error("a fault"); };
    timer->Period(1);
    timer->Mode(Timer::Single);
    window.Construct();
    testing::internal::CaptureStderr();
    EXPECT_EQ(RunEventLoop(), EXIT_FAILURE);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("a fault"), std::string::npos);
    EXPECT_EQ(boxes.texts, Log{});
}

// Runs the event loop with a program that says why it ends, and ends the process as `main` does.
[[noreturn]] void RunUntil(const std::function<void()>& event)
{
    const auto application = std::make_shared<Application>();
    RegisterApplication(application);
    application->TerminationRequested = [](Termination reason) {
        std::fprintf(stderr, reason == Termination::Signal ? "asked by a signal" : "display lost %d", HasDisplay());
    };
    std::signal(SIGHUP, SIG_DFL); // what nohup starts ignores it
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
