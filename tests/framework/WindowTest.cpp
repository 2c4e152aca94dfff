// SPDX-License-Identifier: MIT
#include "framework/Support.h"

#include <gtest/gtest.h>

#include <QClipboard>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QScreen>

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

// A picture larger than the screen is scaled down, but saved and copied at its own size.
TEST(Window, ShowsAPictureToFit)
{
    TestWindow window;
    window.layout = [](TestWindow& w) { w.Resizeable = false; };
    window.controls = [](TestWindow& w) { w.Add<TestCanvas>("Canvas"); };
    window.Construct();
    const auto picture = New<Picture>(3000, 1500);
    picture->Graphics().FillRect(0, 0, 3000, 1500);
    window.Backdrop(picture);
    window.Width(3000);
    window.Height(1500);
    QWidget* shown = window.ControlNamed<Canvas>("Canvas")->Widget()->window();
    EXPECT_LE(shown->width(), shown->screen()->availableSize().width());
    EXPECT_NEAR(shown->width() / 2, shown->height(), 2);
    EXPECT_EQ(window.Width(), 3000);
    EXPECT_EQ(ShownAt(shown, shown->width() - 3, shown->height() - 3), RGB(0, 0, 0));
    QKeyEvent copy(QEvent::KeyPress, Qt::Key_C, Qt::ControlModifier);
    QCoreApplication::sendEvent(shown, &copy);
    EXPECT_EQ(QGuiApplication::clipboard()->image().size(), QSize(3000, 1500));
    QKeyEvent escape(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier);
    QCoreApplication::sendEvent(shown, &escape);
    EXPECT_FALSE(window.Visible());
}

TEST(ImplicitWindow, LivesThroughTheHandlerThatClosesIt)
{
    std::weak_ptr<Window> window;
    bool aliveInHandler = false;
    window = _GetImplicitWindow("TestWindow.TestWindow", [&] {
        const auto made = std::make_shared<TestWindow>();
        auto* timer = made->Add<Timer>("Timer");
        timer->Action = [&w = *made, &window, &aliveInHandler] {
            w.Close();
            Application().DoEvents(); // a handler that continues, and even runs events
            aliveInHandler = !window.expired() && w.log.back() == "window close";
        };
        timer->Period(1);
        timer->Mode(Timer::Multiple);
        return made;
    });
    ASSERT_TRUE(TurnUntil([&] { return aliveInHandler; }));
    Turn();
    EXPECT_TRUE(window.expired());
}

constexpr Color kPainted{10, 20, 30};
constexpr Color kFrame{200, 100, 50};

class CanvasTest : public testing::Test {
protected:
    void SetUp() override
    {
        window.layout = [](TestWindow& w) {
            w.Width(200);
            w.Height(100);
        };
        window.controls = [this](TestWindow& w) {
            canvas = w.Add<TestCanvas>("Canvas1");
            canvas->Place(20, 10, 160, 80);
        };
        window.Construct();
        Turn();
    }

    // What the platform does with a frame: draws into the port and reports it.
    void ShowFrame(Color color)
    {
        ImageOfPort(window.Port()).fill(QColor(color.red, color.green, color.blue));
        platform::NotePortChanged(window.Port(), {0, 0, window.Width(), window.Height()});
    }

    TestWindow window;
    TestCanvas* canvas = nullptr;
};

TEST_F(CanvasTest, PaintsAtItsFirstShowingIntoTheWindowsPort)
{
    EXPECT_EQ(canvas->paints, 1);
    EXPECT_EQ(platform::GetWindowPort(window.WindowReference()), window.Port());
    EXPECT_EQ(PixelAt(window.Port(), 20, 10), kPainted);
    EXPECT_EQ(PixelAt(window.Port(), 179, 89), kPainted);
    EXPECT_NE(PixelAt(window.Port(), 19, 10), kPainted) << "clipped to its rectangle";
    EXPECT_EQ(ShownAt(canvas->Widget(), 80, 40), kPainted);
}

TEST_F(CanvasTest, KeepsAFrameUntilARefresh)
{
    ShowFrame(kFrame);
    canvas->Widget()->update();
    canvas->Widget()->hide();
    canvas->Widget()->show();
    Turn();
    EXPECT_EQ(canvas->paints, 1) << "a repaint of the screen is not a paint event";
    EXPECT_EQ(ShownAt(canvas->Widget(), 80, 40), kFrame);
    canvas->Refresh();
    canvas->Refresh();
    EXPECT_EQ(ShownAt(canvas->Widget(), 80, 40), kFrame) << "the paint comes at the next turn";
    Turn();
    EXPECT_EQ(canvas->paints, 2) << "and once";
    EXPECT_EQ(ShownAt(canvas->Widget(), 80, 40), kPainted);
}

} // namespace
} // namespace framework
