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

// Notes the paint events of a widget.
class PaintWatch : public QObject {
public:
    int paints = 0;

protected:
    bool eventFilter(QObject*, QEvent* event) override
    {
        paints += event->type() == QEvent::Paint ? 1 : 0;
        return false;
    }
};

TEST_F(CanvasTest, ShowsEachFrameAtOnce)
{
    PaintWatch watch;
    canvas->Widget()->installEventFilter(&watch);
    ShowFrame(kFrame);
    ShowFrame(kPainted);
    EXPECT_EQ(watch.paints, 2) << "also two in one turn of the loop";
    platform::NotePortChanged(window.Port(), {0, 0, 20, 100});
    EXPECT_EQ(watch.paints, 2) << "beside the canvas";
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

TEST_F(CanvasTest, TheBackdropShowsBehindAnErasedCanvas)
{
    const auto picture = New<Picture>(50, 50);
    picture->Graphics().ForeColor(kFrame);
    picture->Graphics().FillRect(0, 0, 50, 50);
    auto* plain = window.Add<Canvas>("Plain");
    plain->Place(0, 0, 15, 60);
    window.Backdrop(picture);
    Turn();
    EXPECT_TRUE(window.Backdrop() == picture);
    EXPECT_EQ(ShownAt(plain->Widget(), 5, 5), kFrame);
    EXPECT_EQ(ShownAt(plain->Widget(), 5, 55), kBack);
    ShowFrame(kPainted);
    plain->Refresh(false);
    Turn();
    EXPECT_EQ(ShownAt(plain->Widget(), 5, 5), kPainted) << "not erased, and nothing draws it";
}

TEST(Canvas, OutlivesItsWindowWithoutHarm)
{
    const auto canvas = std::make_shared<TestCanvas>();
    platform::PortReference port = 0;
    {
        TestWindow window;
        window.controls = [&](TestWindow& w) { w.Add("Canvas1", canvas)->Place(0, 0, 50, 50); };
        window.Construct();
        port = window.Port();
        canvas->Refresh();
    }
    EXPECT_EQ(canvas->Window(), nullptr);
    EXPECT_FALSE(platform::PixelsOfPort(port).has_value());
    canvas->Refresh();
    canvas->Width(10);
    canvas->Enabled(true);
    Turn();
    EXPECT_FALSE(canvas->Visible());
    EXPECT_EQ(canvas->paints, 0);
}

} // namespace
} // namespace framework
