// SPDX-License-Identifier: MIT
#include "ui/RealDevices.h"
#include "framework/Date.h"
#include "platform/digitizer/testpattern/TestPatternLayout.h"
#include "platform/drawing/View.h"
#include "support/Await.h"
#include "ui/GrabWindow.h"

namespace {

// What a device menu shows. Behind a camera's name stands the number of its inputs, before it the name's length as a
// character, which can be seen from 32 on.
std::vector<std::string> Shown(velmora::MovieWindow& window, const char* menu)
{
    std::vector<std::string> labels;
    if (const auto* shown = window.VelmoraCanvas1()->Widget()->window()->findChild<QMenu*>(menu))
        for (const QAction* action : shown->actions()) {
            const std::string label = action->text().remove("0 - ").toStdString();
            labels.push_back(label.substr(action->text().endsWith("0 - ") && label.size() > 32 ? 1 : 0));
        }
    return labels;
}

TEST_F(RealDevicesTest, MenusAndTitleNameThem)
{
    using Names = std::vector<std::string>;
    Names fifty, fiftyShown;
    for (int i = 1; i <= 50; ++i) {
        fifty.push_back("Camera");
        fiftyShown.push_back(i == 1 ? "Camera" : "Camera (" + std::to_string(i) + ")");
    }
    const std::string letters = QString(100, QChar(u'Ж')).toStdString();
    const std::string longest(63, 'n');
    struct Case {
        Names names, shown;
    };
    for (const Case& each : {
             Case{{}, {}},
             Case{fifty, fiftyShown},
             Case{{"", ""}, {"Unnamed Device", "Unnamed Device (2)"}},
             Case{{std::string(200, 'n'), std::string(200, 'n')}, {longest, longest.substr(4) + " (2)"}},
             Case{{letters, letters}, {letters.substr(0, 62), letters.substr(0, 58) + " (2)"}},
             Case{{"Камера", "カメラ"}, {"Камера", "カメラ"}},
             // Nine and ten letters: these lengths are those of a tab and of a line's end.
             Case{{"Webcam C9", "USB Camera", "B&W"}, {"Webcam C9", "USB Camera", "B&&W"}},
         }) {
        names = each.names;
        Open();
        const std::string first = names.empty() ? "" : names[0];
        EXPECT_EQ(Shown(*window, "SoundDeviceMenu"), each.shown) << first;
        EXPECT_EQ(Shown(*window, "VideoDeviceMenu"), each.shown) << first;
        EXPECT_EQ(window->Title(), names.empty() ? "Test Pattern" : first.empty() ? each.shown[0] : first);
        Close();
    }
}

// A device may go at any moment between the count and the last name.
TEST_F(RealDevicesTest, OneThatVanishesMeanwhileLeavesTheOthers)
{
    names = {"First", "Second"};
    for (int after = 0; after < 20; ++after) {
        vanishAfter = after;
        Open();
        EXPECT_EQ(Shown(*window, "SoundDeviceMenu").front(), "First") << after;
        EXPECT_EQ(Shown(*window, "VideoDeviceMenu").front(), "First") << after;
        Close();
    }
    EXPECT_TRUE(boxes.empty());
}

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
