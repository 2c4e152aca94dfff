// SPDX-License-Identifier: MIT
#include "platform/digitizer/testpattern/TestPatternLayout.h"
#include "platform/drawing/View.h"
#include "support/Await.h"
#include "ui/GrabWindow.h"
#include "ui/RealDevices.h"

#include "framework/Date.h"

#include <QCoreApplication>
#include <QImage>

namespace {

// The main window with its control in direct mode, in which the grabber shows the picture by itself.
class DirectMovieWindow : public velmora::MovieWindow {
protected:
    void VelmoraCanvas1_Open() override
    {
        VelmoraCanvas1()->UseDataProc = false;
        MovieWindow::VelmoraCanvas1_Open();
    }
};

class GrabPictureTest : public RealDevicesTest {
protected:
    // Whether the menu item brings up the window.
    bool Grab()
    {
        window->UpdateMenus();
        window->ChooseMenuItem(velmora::MenuBar1::Instance()->_Lookup("MonitorGrabPicture"));
        return framework::HasImplicitWindow("GrabWindow.GrabWindow");
    }

    static std::optional<uint32_t> NumberIn(const QImage& image)
    {
        return platform::ReadFrameNumber(image.constBits(), image.width(), image.height(),
                                         static_cast<int32_t>(image.bytesPerLine()));
    }
};

// In data procedure mode the picture holds what is drawn over each frame: a red border and the clock's red plate.
TEST_F(GrabPictureTest, ShowsTheFrameInBothModes)
{
    for (const bool direct : {false, true}) {
        Open(direct ? std::make_shared<DirectMovieWindow>() : std::make_shared<velmora::MovieWindow>());
        EXPECT_TRUE(direct || !Grab()) << "no event has been handled, so no frame has come";
        ASSERT_TRUE(Await([this] {
            QCoreApplication::processEvents();
            return Grab();
        }));
        const QImage image = velmora::GrabWindow::Instance()->Backdrop()->Image();
        EXPECT_EQ(image.size(), QSize(640, 480)) << direct;
        EXPECT_TRUE(NumberIn(image)) << direct << " holds no frame of the pattern";
        const auto isRed = [&](int x, int y) { return image.pixelColor(x, y) == QColor(Qt::red); };
        EXPECT_EQ(isRed(320, 0), !direct) << "the border";
        EXPECT_EQ(isRed(600, 478), !direct) << "the clock, below its digits";
        const QImage undrawn = velmora::GrabWindow::Instance()->Backdrop()->Undrawn();
        EXPECT_EQ(undrawn.isNull(), direct);
        if (!direct) {
            EXPECT_EQ(NumberIn(undrawn), NumberIn(image));
            EXPECT_NE(undrawn.pixelColor(320, 0), QColor(Qt::red)) << "the border";
            EXPECT_NE(undrawn.pixelColor(600, 478), QColor(Qt::red)) << "the clock's plate";
            EXPECT_EQ(undrawn.copy(1, 1, 638, 400), image.copy(1, 1, 638, 400)) << "the rest";
        }
        const auto grabbed = velmora::GrabWindow::Instance();
        EXPECT_EQ(grabbed->Title(), framework::Date().LongDate());
        EXPECT_EQ(grabbed->Width(), 640);
        EXPECT_EQ(grabbed->Height(), 480);
        Close();
    }
    EXPECT_TRUE(boxes.empty());
}

} // namespace
