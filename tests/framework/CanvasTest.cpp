// SPDX-License-Identifier: MIT
#include "framework/Support.h"

#include <gtest/gtest.h>

namespace framework {
namespace {

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
