// SPDX-License-Identifier: MIT
#include "ui/RealDevices.h"

#include <QMenu>

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

} // namespace
