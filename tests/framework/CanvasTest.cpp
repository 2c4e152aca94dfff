#include "framework/Support.h"

#include <gtest/gtest.h>

namespace framework {
namespace {

constexpr Color kPainted{10, 20, 30};
constexpr Color kFrame{200, 100, 50};
constexpr Color kBack{1, 2, 3};

class CanvasTest : public testing::Test {
protected:
    void SetUp() override
    {
        window.layout = [](TestWindow& w) {
            w.Width(200);
            w.Height(100);
            w.HasBackColor = true;
            w.BackColor = kBack;
        };
        window.controls = [this](TestWindow& w) {
            canvas = w.Add<TestCanvas>("Canvas1");
            canvas->Place(20, 10, 160, 80);
            canvas->LockedTo = {true, true, true, true};
        };
        window.Construct();
        Turn();
    }

    // What the platform does with a frame: it draws into the port and tells of it.
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

TEST_F(CanvasTest, KeepsItsContentThroughAResizeAndPaintsAnewAfterIt)
{
    ShowFrame(kFrame);
    window.Width(400);
    window.Height(300);
    EXPECT_EQ(canvas->Width(), 360);
    EXPECT_EQ(canvas->Height(), 280);
    EXPECT_EQ(PixelAt(window.Port(), 100, 50), kFrame);
    EXPECT_EQ(PixelAt(window.Port(), 370, 50), kBack) << "uncovered pixels have the window's colour";
    EXPECT_EQ(PixelAt(window.Port(), 100, 280), kBack);
    Turn();
    EXPECT_EQ(canvas->paints, 2) << "two resizes, one paint";
    EXPECT_EQ(PixelAt(window.Port(), 370, 280), kPainted);
    canvas->Place(50, 40, 360, 280);
    Turn();
    EXPECT_EQ(PixelAt(window.Port(), 399, 299), kPainted) << "moved, and clipped by the window";
    EXPECT_EQ(canvas->paints, 3);
}

} // namespace
} // namespace framework
