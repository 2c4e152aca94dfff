// SPDX-License-Identifier: MIT
#include "ui/UiTest.h"

#include <sstream>

namespace {

using framework::MenuItem;
using velmora::MenuBar1;

void DescribeMenu(const MenuItem& menu, const std::string& indent, std::ostringstream& text)
{
    for (int32_t i = 0; i < menu.Count(); i++) {
        const auto item = menu.Item(i);
        text << indent << item->Name.Bytes() << "|" << item->Text.Bytes() << "|" << item->KeyboardShortcut.Bytes()
             << (item->AutoEnable ? "|auto" : "|") << (item->Checked ? "|checked" : "") << "\n";
        DescribeMenu(*item, indent + " ", text);
    }
}

TEST(MenuBarTest, Tree)
{
    std::ostringstream text;
    DescribeMenu(MenuBar1(), "", text);
    EXPECT_EQ(text.str(), R"(FileMenu|&File||
 FileClose|Close|Cmd+W|
 FileSaveSettings|Save Settings|Cmd+S|auto
 FileOpenSettings|Open Settings|Cmd+O|auto
 FileQuit|Quit|Cmd+Q|auto
EditMenu|&Edit||
 EditUndo|&Undo|Cmd+Z|
 UntitledMenu0|-||
 EditCut|Cu&t|Cmd+X|
 EditCopy|&Copy|Cmd+C|
 EditPaste|&Paste|Cmd+V|
 EditClear|Clear||
MonitorMenu|Monitor||
 MonitorEnablePreview|Preview|Cmd+R|auto
 MonitorPreviewWhileRecording|Preview While Recording||auto
 MonitorGrabPicture|Grab Picture|Cmd+G|auto
 MonitorSize|Size||auto
  SizeFullSize|Full Size|Cmd+1|auto
  SizeHalfSize|Half Size|Cmd+2|auto
  SizeQuarterSize|Quarter Size|Cmd+3|auto
SoundMenu|Sound||auto
 SoundEnabled|Enabled||auto
 SoundSettings|Settings…||auto
 UntitledSeparator|-||auto
 SoundChannelCount|Channel Count||auto
 SoundCompressionType|Compression Type||auto
 SoundDeviceMenu|Device Available||auto
 SoundInputGain|Input Gain||auto
 SoundLevelMeterActive|Level Meter Active||auto
 SoundSampleRate|Sample Rate||auto
 SoundSampleSize|Sample Size||auto
 SoundVolume|Volume||auto
VideoMenu|Video||auto
 VideoEnabled|Enabled||auto
 VideoSettings|Settings…||auto
 VideoImageSettings|Analog Video Settings…||auto
 VideoIIDCVideoSettings|IIDCVideoSettings||auto
 UntitledSeparator0|-||auto
 VideoCompressionType|CompressionType||auto
 VideoDepth|Depth||auto
 VideoDeviceMenu|Device Available||
 VideoDeviceSelected|Device Selected||auto
 VideoFrameRate|Frame and Keyframe Rate||auto
 VideoSpatialQuality|Spatial Quality||auto
 VideoTemporalQuality|Temporal Quality||auto
ZEMBRILMenu|ZEMBRIL||auto
 ZEMBRILWebsite|Website||auto
 ZEMBRILSupport|Support||auto
 UntitledItem1|-||auto
 ZEMBRILDocumentation|Documentation||auto
)");
}

using MenuActionsTest = UiTest;

TEST_F(MenuActionsTest, DeviceMenusShowWhatIsThere)
{
    std::ostringstream text;
    DescribeMenu(*Item("SoundDeviceMenu"), "", text);
    DescribeMenu(*Item("VideoDeviceMenu"), "", text);
    EXPECT_EQ(text.str(), "|Microphone||auto|checked\n|Line||auto\n|Test Tone||auto\n"
                          "testmenu|Camera||auto|checked\ntestmenu|Test Pattern||auto\n");
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
    struct Case {
        const char* item;
        std::vector<std::string> boxes;
        const char* calls;
    };
    const std::vector<Case> cases{
        {"SoundCompressionType",
         {"SoundCompressionType = raw ", "SoundCompressionType = ulaw"},
         "SoundCompressionType = ulaw"},
        {"SoundInputGain", {"SoundInputGain = 0.5", "SoundInputGain = 0.25"}, "SoundInputGain = 0.25"},
        {"SoundSampleRate",
         {"VelmoraCanvas1.SoundSampleRate = 44100", "VelmoraCanvas1.SoundSampleRate = 11025"},
         "SoundSampleRate = 11025"},
        {"SoundSampleSize",
         {"VelmoraCanvas1.SoundSampleSize = 16", "VelmoraCanvas1.SoundSampleSize = 8"},
         "SoundSampleSize = 8"},
        {"SoundVolume", {"VelmoraCanvas1.SoundVolume = 255", "VelmoraCanvas1.SoundVolume = 127"}, "SoundVolume = 127"},
        {"VideoCompressionType",
         {"VideoCompressionType = raw ", "VideoCompressionType = jpeg"},
         "VideoCompressionType = jpeg"},
        {"VideoDepth", {"VideoDepth = 32", "VideoDepth = 16"}, "VideoDepth = 16"},
        {"VideoFrameRate",
         {"VideoFrameRate = 25\nVideoKeyFrameRate = 1", "VideoFrameRate = 29.92\nVideoKeyFrameRate = 20"},
         "VideoFrameRate = 29.92; VideoKeyFrameRate = 20"},
        {"SoundChannelCount", {"SoundChannelCount = 2"}, ""},
        {"VideoDeviceSelected", {"VideoDeviceSelected = 1"}, ""},
        {"VideoSpatialQuality", {"VideoSpatialQuality = 512"}, ""},
        {"VideoTemporalQuality", {"VideoTemporalQuality = 256"}, ""},
        {"VideoEnabled", {}, "VideoEnabled = 0"},
        {"SoundEnabled", {}, "SoundEnabled = 1"},
        {"MonitorPreviewWhileRecording", {}, "PreviewWhileRecording = 1"},
        {"SizeHalfSize", {}, "VideoRecordSize 320 240"},
        {"SizeQuarterSize", {}, "VideoRecordSize 160 120"},
        {"SizeFullSize", {}, "VideoRecordSize 640 480"},
        {"VideoSettings", {}, "ShowVideoSettingsDialog"},
        {"SoundSettings", {}, "ShowSoundSettingsDialog"},
        {"MonitorGrabPicture", {}, "GrabPicture 640 480"},
        {"MonitorEnablePreview", {}, "VideoPreview = 1"},
        {"SoundLevelMeterActive",
         {"SoundLevelMeterActive = FALSE", "SoundLevelMeterActive = TRUE"},
         "SoundLevelMeterActive = 1"},
    };
    spy->TakeCalls();
    for (const Case& each : cases) {
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
        EXPECT_EQ(TakeBoxes(), each.boxes) << each.item;
        EXPECT_EQ(spy->TakeCalls(), each.calls) << each.item;
    }
    EXPECT_EQ(window->Title(), "Other") << "the title is the device's name after the dialog";
    EXPECT_FALSE(framework::HasImplicitWindow("GrabWindow.GrabWindow")) << "no picture, no window";
}

} // namespace
