#include "ui/AnalogVideoSettings.h"
#include "ui/GrabWindow.h"
#include "ui/IIDCVideoSettings.h"
#include "ui/UiTest.h"

#include <QCoreApplication>

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

TEST(MenuBarTest, GettersNeedTheApplicationsBar)
{
    framework::RegisterApplication(nullptr);
    EXPECT_THROW(MenuBar1::FileClose(), framework::NilObjectException);
    framework::RegisterApplication(std::make_shared<framework::Application>());
    EXPECT_THROW(MenuBar1::FileClose(), framework::NilObjectException);
    framework::RegisterApplication(nullptr);
}

using MenuActionsTest = UiTest;

TEST_F(MenuActionsTest, OneBarIsTheApplications)
{
    EXPECT_EQ(velmora::App::Instance()->MenuBar().Get(), MenuBar1::Instance().Get());
    EXPECT_EQ(MenuBar1::FileClose().Get(), Item("FileClose").Get());
    EXPECT_NE(Item("FileQuit").As<framework::QuitMenuItem>().Get(), nullptr);
}

TEST_F(MenuActionsTest, EnablingFollowsTheFrontWindow)
{
    const auto enabled = [this](framework::Window& front, const char* name) {
        front.UpdateMenus();
        return Item(name)->Enabled;
    };
    const auto grab = velmora::GrabWindow::Instance();
    const auto iidc = velmora::IIDCVideoSettings::Instance();
    const auto analog = velmora::AnalogVideoSettings::Instance();
    EXPECT_FALSE(enabled(*window, "FileClose"));
    EXPECT_FALSE(enabled(*analog, "FileClose"));
    EXPECT_TRUE(enabled(*grab, "FileClose"));
    EXPECT_TRUE(enabled(*iidc, "FileClose"));
    for (const char* name : {"VideoDepth", "MonitorPreviewWhileRecording", "SizeHalfSize"}) {
        EXPECT_TRUE(enabled(*window, name)) << name;
        EXPECT_FALSE(enabled(*analog, name)) << name;
    }
    EXPECT_FALSE(enabled(*window, "EditCopy"));
    EXPECT_TRUE(enabled(*grab, "FileQuit"));
}

TEST_F(MenuActionsTest, ChecksFollowTheControl)
{
    spy->numbers = {{"VideoPreview", 1}, {"VideoEnabled", 1}, {"SoundEnabled", 0}, {"PreviewWhileRecording", 0}};
    window->UpdateMenus();
    EXPECT_TRUE(Item("MonitorEnablePreview")->Checked);
    EXPECT_TRUE(Item("VideoEnabled")->Checked);
    EXPECT_EQ(Item("VideoEnabled")->Text, "Enabled");
    EXPECT_FALSE(Item("SoundEnabled")->Checked);
    EXPECT_FALSE(Item("MonitorPreviewWhileRecording")->Checked);
    spy->numbers = {{"VideoPreview", 0}, {"VideoEnabled", 0}, {"SoundEnabled", 1}, {"PreviewWhileRecording", 1}};
    window->UpdateMenus();
    EXPECT_FALSE(Item("MonitorEnablePreview")->Checked);
    EXPECT_FALSE(Item("VideoEnabled")->Checked);
    EXPECT_EQ(Item("VideoEnabled")->Text, "Disabled");
    EXPECT_TRUE(Item("SoundEnabled")->Checked);
    EXPECT_EQ(Item("SoundEnabled")->Text, "Enabled");
    EXPECT_TRUE(Item("MonitorPreviewWhileRecording")->Checked);
}

TEST_F(MenuActionsTest, DeviceMenusShowWhatIsThere)
{
    std::ostringstream text;
    DescribeMenu(*Item("SoundDeviceMenu"), "", text);
    DescribeMenu(*Item("VideoDeviceMenu"), "", text);
    EXPECT_EQ(text.str(), "|Microphone||auto|checked\n|Line||auto\n|Test Tone||auto\n"
                          "testmenu|Camera||auto|checked\ntestmenu|Test Pattern||auto\n");
    spy->TakeCalls();
    window->UpdateMenus();
    window->ChooseMenuItem(Item("VideoDeviceMenu")->Item(1));
    window->ChooseMenuItem(Item("SoundDeviceMenu")->Item(1));
    EXPECT_EQ(spy->TakeCalls(), "");
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

TEST_F(MenuActionsTest, SizeItemsResizeTheControlAlone)
{
    Choose("SizeQuarterSize");
    const auto canvas = window->VelmoraCanvas1();
    EXPECT_EQ(canvas->Width(), 160);
    EXPECT_EQ(canvas->Height(), 120);
    EXPECT_EQ(canvas->Left(), 20);
    EXPECT_EQ(window->Width(), 680);
    Choose("SizeHalfSize");
    window->Width(780);
    window->Height(684);
    QCoreApplication::processEvents();
    EXPECT_EQ(spy->calls.back(), "VideoRecordSize 420 290") << "half size plus the window's growth";
}

TEST_F(MenuActionsTest, PreviewLeavesItsCaption)
{
    spy->numbers["VideoPreview"] = 1;
    Choose("MonitorEnablePreview");
    EXPECT_EQ(spy->BlueScreenCaption, "Preview Disabled");
    EXPECT_FALSE(spy->VideoPreview());
    Choose("MonitorEnablePreview");
    EXPECT_TRUE(spy->VideoPreview());
    EXPECT_EQ(spy->BlueScreenCaption, "Preview Disabled");
}

TEST_F(MenuActionsTest, LevelMeterStartsAndStopsTheTimer)
{
    Choose("SoundLevelMeterActive");
    EXPECT_EQ(TakeBoxes(), (std::vector<std::string>{"SoundLevelMeterActive = FALSE", "SoundLevelMeterActive = TRUE"}));
    EXPECT_EQ(window->SoundLevelMeterTimer()->Mode(), framework::Timer::Multiple);
    Choose("SoundLevelMeterActive");
    EXPECT_EQ(TakeBoxes(), (std::vector<std::string>{"SoundLevelMeterActive = TRUE", "SoundLevelMeterActive = FALSE"}));
    EXPECT_EQ(window->SoundLevelMeterTimer()->Mode(), framework::Timer::Off);
}

TEST_F(MenuActionsTest, WebPages)
{
    for (const char* item : {"ZEMBRILWebsite", "ZEMBRILSupport", "ZEMBRILDocumentation"})
        EXPECT_TRUE(Choose(item)) << item;
    EXPECT_EQ(pages, (std::vector<std::string>{"https://velmora.example/velmora/",
                                               "https://velmora.example/velmora/support.php",
                                               "https://velmora.example/velmora/Help-pro/index.html"}));
}

TEST_F(MenuActionsTest, GrabsShareOneWindowThatKeepsItsTitle)
{
    spy->picture = framework::New<framework::Picture>(320, 200);
    Choose("MonitorGrabPicture");
    const auto grab = velmora::GrabWindow::Instance();
    EXPECT_EQ(grab->Backdrop().Get(), spy->picture.Get());
    EXPECT_EQ(grab->Width(), 320);
    EXPECT_EQ(grab->Height(), 200);
    EXPECT_EQ(grab->ControlNamed<framework::Canvas>("Canvas1")->Width(), 640);
    grab->Title("the first grab");
    spy->picture = framework::New<framework::Picture>(720, 576);
    Choose("MonitorGrabPicture");
    EXPECT_EQ(velmora::GrabWindow::Instance().Get(), grab.Get());
    EXPECT_EQ(grab->Backdrop().Get(), spy->picture.Get());
    EXPECT_EQ(grab->Width(), 720);
    EXPECT_EQ(grab->Title(), "the first grab");
    Choose(*grab, "FileClose");
    EXPECT_FALSE(framework::HasImplicitWindow("GrabWindow.GrabWindow"));
    Choose("MonitorGrabPicture");
    EXPECT_NE(velmora::GrabWindow::Instance()->Title(), "the first grab");
}

} // namespace
