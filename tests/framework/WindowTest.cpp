#include "framework/Support.h"

#include <gtest/gtest.h>

#include <QCloseEvent>

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

TEST(Window, MovesControlsWithTheEdgesTheyAreLockedTo)
{
    const struct {
        Anchors anchors;
        QRect expected; // of 100, 80, 50, 20 in a window that grows by 200, 100
    } cases[] = {
        {{}, {100, 80, 50, 20}},
        {{.left = true, .top = true}, {100, 80, 50, 20}},
        {{.left = true, .bottom = true}, {100, 180, 50, 20}},
        {{.right = true, .bottom = true}, {300, 180, 50, 20}},
        {{.left = true, .top = true, .right = true, .bottom = true}, {100, 80, 250, 120}},
    };
    TestWindow window;
    window.layout = [](TestWindow& w) {
        w.Width(300);
        w.Height(200);
        w.MinWidth = 250;
        w.MinHeight = 200;
    };
    std::vector<PushButton*> buttons;
    window.controls = [&](TestWindow& w) {
        for (const auto& each : cases) {
            buttons.push_back(w.Add<PushButton>("Button"));
            buttons.back()->Place(100, 80, 50, 20);
            buttons.back()->LockedTo = each.anchors;
        }
    };
    window.Construct();
    window.log.clear();
    QRect seenByTheWindow;
    window.onResized = [&] { seenByTheWindow = buttons.back()->Widget()->geometry(); };

    QWidget* top = buttons[0]->Widget()->window();
    top->resize(top->width() + 200, top->height() + 100); // as the user does
    EXPECT_EQ(window.Width(), 500);
    EXPECT_EQ(window.Height(), 300);
    EXPECT_EQ(window.log, Log{"window resized"});
    EXPECT_EQ(seenByTheWindow, cases[4].expected) << "the controls have followed before the window is told";
    for (size_t i = 0; i < std::size(cases); ++i)
        EXPECT_EQ(buttons[i]->Widget()->geometry(), cases[i].expected) << i;
    EXPECT_EQ(platform::PixelsOfPort(window.Port())->width, 500);

    window.Width(10);
    EXPECT_EQ(window.Width(), 250);
    top->resize(10, 10);
    EXPECT_EQ(window.Width(), 250) << "held at the smallest size";
    EXPECT_EQ(window.Height(), 200);
    EXPECT_EQ(buttons[3]->Left(), 50);
}

TEST(Window, AFixedSizeIsChangedByCodeAlone)
{
    TestWindow window;
    window.layout = [](TestWindow& w) {
        w.Resizeable = false;
        w.Width(640);
        w.Height(480);
    };
    Canvas* canvas = nullptr;
    window.controls = [&](TestWindow& w) { canvas = w.Add<Canvas>("Canvas1"); };
    window.Construct();
    QWidget* top = canvas->Widget()->window();
    top->resize(900, 900);
    EXPECT_EQ(window.Width(), 640);
    window.Width(320);
    window.Height(240);
    EXPECT_EQ(top->size(), QSize(320, 240));
    EXPECT_EQ(canvas->Widget()->parentWidget()->size(), QSize(320, 240));
    EXPECT_EQ(top->minimumSize(), top->maximumSize());
}

TEST(Window, FindsControlsByNameClassAndIndex)
{
    TestWindow window;
    for (int32_t i = 0; i < 3; ++i)
        window.Add<Slider>("Slider1")->Index = i;
    auto* timer = window.Add<Timer>("SetupTimer");
    EXPECT_EQ(window.ControlNamed<Slider>("Slider1", 2)->Index, 2);
    EXPECT_EQ(window.ControlNamed<Slider>("Slider1", 3), nullptr);
    EXPECT_EQ(window.ControlNamed<Timer>("SetupTimer"), timer);
    EXPECT_EQ(window.ControlNamed<Slider>("SetupTimer"), nullptr);
    EXPECT_EQ(timer->Window(), &window);
    EXPECT_EQ(timer->Name(), "SetupTimer");
}

TEST(Window, TheCloseBoxClosesUnlessThereIsNone)
{
    TestWindow window;
    PushButton* button = window.Add<PushButton>("Button");
    window.CloseButton = false;
    window.Construct();
    button->Widget()->window()->close();
    EXPECT_TRUE(window.Visible());
    window.CloseButton = true;
    button->Widget()->window()->close();
    EXPECT_FALSE(window.Visible());
    EXPECT_EQ(window.log.back(), "window close");
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

TEST(ImplicitWindow, IsForgottenWhenItsStartFails)
{
    EXPECT_THROW(Implicit([](TestWindow& w) { w.onOpen = [] { throw RuntimeException("no"); }; }), RuntimeException);
    EXPECT_FALSE(HasImplicitWindow(kName));
    Turn();
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
    TestWindow third;
    third.Construct();
    Application().Quit();
    EXPECT_EQ(RunEventLoop(), 0) << "asked for before it began";
}

} // namespace
} // namespace framework
