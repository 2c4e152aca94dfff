// SPDX-License-Identifier: MIT
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

} // namespace
} // namespace framework
