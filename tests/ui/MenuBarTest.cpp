// SPDX-License-Identifier: MIT
#include "ui/AnalogVideoSettings.h"
#include "ui/GrabWindow.h"
#include "ui/IIDCVideoSettings.h"
#include "ui/UiTest.h"

namespace {

using MenuActionsTest = UiTest;

// What a window's menu shows when it is opened: disabled items in brackets, checked ones with a star.
std::string Shown(const framework::RectControl& anyControl, const char* name)
{
    auto* menu = anyControl.Widget()->window()->findChild<QMenu*>(name);
    if (menu == nullptr)
        return "no menu";
    emit menu->aboutToShow();
    std::string items;
    for (const QAction* action : menu->actions()) {
        const std::string text = action->text().remove('&').toStdString();
        items += items.empty() ? "" : "|";
        items += action->isSeparator() ? "-" : action->isEnabled() ? text : "(" + text + ")";
        items += action->isChecked() ? "*" : "";
    }
    return items;
}

TEST_F(MenuActionsTest, MenusOfTheMainWindow)
{
    spy->numbers = {{"VideoPreview", 1}, {"PreviewWhileRecording", 1}};
    for (const auto& [menu, items] : {std::pair("EditMenu", "(Undo)|-|(Cut)|(Copy)|(Paste)|(Clear)"),
                                      {"MonitorMenu", "Preview*|Preview While Recording*|Grab Picture|Size"},
                                      {"MonitorSize", "Full Size|Half Size|Quarter Size"},
                                      {"SoundDeviceMenu", "(Microphone)*|(Line)|(Test Tone)"},
                                      {"VideoDeviceMenu", "Camera*|Test Pattern"}})
        EXPECT_EQ(Shown(*window->PopupMenu1(), menu), items);
    EXPECT_EQ(Item("VideoEnabled")->Text, "Disabled");
}

TEST_F(MenuActionsTest, AWindowInFrontEnablesItsOwnItems)
{
    const auto expectItems = [](framework::Window& front, const char* control, int32_t index, bool closes) {
        const auto& any = *front.ControlNamed<framework::RectControl>(control, index);
        EXPECT_EQ(Shown(any, "FileMenu"),
                  std::string(closes ? "Close" : "(Close)") + "|(Save Settings)|(Open Settings)|Quit");
        EXPECT_EQ(Shown(any, "MonitorMenu").substr(0, 9), "(Preview)");
        EXPECT_EQ(Choose(front, "FileClose"), closes);
        EXPECT_EQ(front.Visible(), !closes);
    };
    expectItems(*velmora::GrabWindow::Instance(), "Canvas1", -1, true);
    expectItems(*velmora::IIDCVideoSettings::Instance(), "Slider1", 0, true);
    expectItems(*velmora::AnalogVideoSettings::Instance(), "HueSlider", -1, false);
}

TEST_F(MenuActionsTest, CheckMarksFollowTheControl)
{
    const std::map<std::string, const char*> items{{"VideoPreview", "MonitorEnablePreview"},
                                                   {"VideoEnabled", "VideoEnabled"},
                                                   {"SoundEnabled", "SoundEnabled"},
                                                   {"PreviewWhileRecording", "MonitorPreviewWhileRecording"}};
    for (const auto& [on, checked] : items) {
        spy->numbers = {{on, 1}};
        window->UpdateMenus();
        for (const auto& [property, item] : items)
            EXPECT_EQ(Item(item)->Checked, property == on) << property << " while " << on << " is on";
    }
}

// Each item, the boxes it shows and what it does to the control, from one set of starting values.
TEST_F(MenuActionsTest, Actions)
{
    const struct {
        const char *item, *boxes, *calls;
    } cases[] = {
        {"SoundCompressionType", "SoundCompressionType = raw |SoundCompressionType = ulaw",
         "SoundCompressionType = ulaw"},
        {"SoundInputGain", "SoundInputGain = 0.5|SoundInputGain = 0.25", "SoundInputGain = 0.25"},
        {"SoundSampleRate", "VelmoraCanvas1.SoundSampleRate = 44100|VelmoraCanvas1.SoundSampleRate = 11025",
         "SoundSampleRate = 11025"},
        {"SoundSampleSize", "VelmoraCanvas1.SoundSampleSize = 16|VelmoraCanvas1.SoundSampleSize = 8",
         "SoundSampleSize = 8"},
        {"SoundVolume", "VelmoraCanvas1.SoundVolume = 255|VelmoraCanvas1.SoundVolume = 127", "SoundVolume = 127"},
        {"VideoCompressionType", "VideoCompressionType = raw |VideoCompressionType = jpeg",
         "VideoCompressionType = jpeg"},
        {"VideoDepth", "VideoDepth = 32|VideoDepth = 16", "VideoDepth = 16"},
        {"VideoFrameRate", "VideoFrameRate = 25\nVideoKeyFrameRate = 1|VideoFrameRate = 29.92\nVideoKeyFrameRate = 20",
         "VideoFrameRate = 29.92; VideoKeyFrameRate = 20"},
        {"SoundChannelCount", "SoundChannelCount = 2", ""},
        {"VideoDeviceSelected", "VideoDeviceSelected = 1", ""},
        {"VideoSpatialQuality", "VideoSpatialQuality = 512", ""},
        {"VideoTemporalQuality", "VideoTemporalQuality = 256", ""},
        {"VideoEnabled", "", "VideoEnabled = 0"},
        {"SoundEnabled", "", "SoundEnabled = 1"},
        {"MonitorPreviewWhileRecording", "", "PreviewWhileRecording = 1"},
        {"SizeHalfSize", "", "VideoRecordSize 320 240"},
        {"SizeQuarterSize", "", "VideoRecordSize 160 120"},
        {"SizeFullSize", "", "VideoRecordSize 640 480"},
        {"VideoSettings", "", "ShowVideoSettingsDialog"},
        {"SoundSettings", "", "ShowSoundSettingsDialog"},
        {"MonitorGrabPicture", "", "GrabPicture 640 480"},
        {"MonitorEnablePreview", "", "VideoPreview = 1"},
        {"SoundLevelMeterActive", "SoundLevelMeterActive = FALSE|SoundLevelMeterActive = TRUE",
         "SoundLevelMeterActive = 1"},
    };
    spy->TakeCalls();
    for (const auto& each : cases) {
        spy->texts = {{"SoundCompressionType", "raw "}, {"VideoCompressionType", "raw "}, {"VideoDeviceName", "Other"}};
        spy->numbers = {{"SoundInputGain", 0.5},
                        {"SoundSampleRate", 44100},
                        {"SoundSampleSize", 16},
                        {"SoundVolume", 255},
                        {"VideoDepth", 32},
                        {"VideoFrameRate", 25},
                        {"VideoKeyFrameRate", 1},
                        {"SoundChannelCount", 2},
                        {"VideoDeviceSelected", 1},
                        {"VideoSpatialQuality", 512},
                        {"VideoTemporalQuality", 256},
                        {"VideoEnabled", 1}};
        EXPECT_TRUE(Choose(each.item)) << each.item;
        std::string boxes;
        for (const std::string& box : TakeBoxes())
            boxes += (boxes.empty() ? "" : "|") + box;
        EXPECT_EQ(boxes, each.boxes) << each.item;
        EXPECT_EQ(spy->TakeCalls(), each.calls) << each.item;
    }
    EXPECT_EQ(window->Title(), "Other") << "the title is the device's name after the dialog";
    EXPECT_FALSE(framework::HasImplicitWindow("GrabWindow.GrabWindow")) << "no picture, no window";
}

} // namespace
