#include "framework/Support.h"

#include <gtest/gtest.h>

namespace framework {
namespace {

TEST(Window, RunsItsStartSequenceInOrder)
{
    TestWindow window;
    window.controls = [](TestWindow& w) {
        for (const char* name : {"First", "Second"})
            w.Add<TestCanvas>(name)->log = &w.log;
    };
    window.onOpen = [&] { EXPECT_FALSE(window.ControlNamed<Canvas>("First")->Widget()->isVisible()); };
    window.Construct();
    EXPECT_EQ(window.log,
              (Log{"window layout", "window controls", "window handlers", "First open", "Second open", "window open"}));
    EXPECT_TRUE(window.ControlNamed<Canvas>("First")->Widget()->isVisible());
    window.log.clear();
    window.Construct();
    window.Close();
    window.Close();
    EXPECT_EQ(window.log, (Log{"window close", "First close", "Second close"}));
    EXPECT_FALSE(window.Visible());
}

constexpr const char* kName = "TestWindow.TestWindow";

std::shared_ptr<Window> Implicit(const std::function<void(TestWindow&)>& prepare = {})
{
    return _GetImplicitWindow(kName, [&] {
        const auto window = std::make_shared<TestWindow>();
        if (prepare)
            prepare(*window);
        return window;
    });
}

TEST(ImplicitWindow, IsOneUntilItCloses)
{
    EXPECT_FALSE(HasImplicitWindow(kName));
    const auto first = Implicit([](TestWindow& w) { w.onOpen = [&w] { EXPECT_EQ(Implicit().get(), &w); }; });
    EXPECT_EQ(Implicit(), first);
    EXPECT_TRUE(first->Visible());
    first->Close();
    EXPECT_FALSE(HasImplicitWindow(kName));
    const auto second = Implicit();
    EXPECT_NE(second, first);
    ReleaseImplicitWindows();
    EXPECT_FALSE(second->Visible());
    EXPECT_EQ(second.use_count(), 1);
}

TEST(ImplicitWindow, LivesThroughTheHandlerThatClosesIt)
{
    std::weak_ptr<Window> window;
    bool aliveInHandler = false;
    window = Implicit([&](TestWindow& w) {
        auto* timer = w.Add<Timer>("Timer");
        timer->Action = [&w, &window, &aliveInHandler] {
            w.Close();
            Application().DoEvents(); // a handler that goes on, and even runs events
            aliveInHandler = !window.expired() && w.log.back() == "window close";
        };
        timer->Period(1);
        timer->Mode(Timer::Multiple);
    });
    ASSERT_TRUE(TurnUntil([&] { return aliveInHandler; }));
    Turn();
    EXPECT_TRUE(window.expired());
}

TEST(EventLoop, EndsWithTheLastWindowOrQuit)
{
    TestWindow first, second;
    first.Construct();
    second.Construct();
    auto* timer = first.Add<Timer>("Timer");
    timer->Period(1);
    int fired = 0;
    timer->Action = [&] {
        if (++fired == 3)
            first.Close();
        else if (fired == 2)
            second.Close();
    };
    timer->Mode(Timer::Multiple);
    EXPECT_EQ(RunEventLoop(), 0);
    EXPECT_EQ(fired, 3) << "and the timer of a closed window is silent";
    EXPECT_EQ(RunEventLoop(), 0) << "the last window had closed before it began";
}

} // namespace
} // namespace framework
