// SPDX-License-Identifier: MIT
#include "framework/Application.h"
#include "framework/TextStreams.h"
#include "ui/AnalogVideoSettings.h"
#include "ui/GrabWindow.h"
#include "ui/Guide.h"
#include "ui/IIDCVideoSettings.h"
#include "ui/MovieWindow.h"

// What the menu items do while the main window is in front. Besides the user's own commands there are items that
// exercise the control: each shows a value, sets a fixed one and shows the value again. So if a device rejects the
// value, both boxes show the same.

namespace velmora {
namespace {

using framework::MsgBox;
using framework::Str;

template <typename Show, typename Change> void ShowChangeShow(Show show, Change change)
{
    show();
    change();
    show();
}

bool OpenVendorPage(const char* path)
{
    framework::ShowURL(VendorPage(path));
    return true;
}

} // namespace

struct MovieWindow::MenuBinding {
    const char* item;
    bool (MovieWindow::*action)();
};

const MovieWindow::MenuBinding MovieWindow::kMenuBindings[] = {
    {"MonitorEnablePreview", &MovieWindow::_MonitorEnablePreview_Action},
    {"VideoSettings", &MovieWindow::_VideoSettings_Action},
    {"SoundSettings", &MovieWindow::_SoundSettings_Action},
    {"MonitorGrabPicture", &MovieWindow::_MonitorGrabPicture_Action},
    {"SizeFullSize", &MovieWindow::_SizeFullSize_Action},
    {"SizeHalfSize", &MovieWindow::_SizeHalfSize_Action},
    {"SizeQuarterSize", &MovieWindow::_SizeQuarterSize_Action},
    {"FileSaveSettings", &MovieWindow::_FileSaveSettings_Action},
    {"FileOpenSettings", &MovieWindow::_FileOpenSettings_Action},
    {"VideoImageSettings", &MovieWindow::_VideoImageSettings_Action},
    {"VideoEnabled", &MovieWindow::_VideoEnabled_Action},
    {"MonitorPreviewWhileRecording", &MovieWindow::_MonitorPreviewWhileRecording_Action},
    {"SoundChannelCount", &MovieWindow::_SoundChannelCount_Action},
    {"SoundCompressionType", &MovieWindow::_SoundCompressionType_Action},
    {"SoundEnabled", &MovieWindow::_SoundEnabled_Action},
    {"SoundInputGain", &MovieWindow::_SoundInputGain_Action},
    {"SoundLevelMeterActive", &MovieWindow::_SoundLevelMeterActive_Action},
    {"SoundSampleRate", &MovieWindow::_SoundSampleRate_Action},
    {"SoundSampleSize", &MovieWindow::_SoundSampleSize_Action},
    {"SoundVolume", &MovieWindow::_SoundVolume_Action},
    {"VideoCompressionType", &MovieWindow::_VideoCompressionType_Action},
    {"VideoDepth", &MovieWindow::_VideoDepth_Action},
    {"VideoDeviceSelected", &MovieWindow::_VideoDeviceSelected_Action},
    {"VideoFrameRate", &MovieWindow::_VideoFrameRate_Action},
    {"VideoSpatialQuality", &MovieWindow::_VideoSpatialQuality_Action},
    {"VideoTemporalQuality", &MovieWindow::_VideoTemporalQuality_Action},
    {"testmenu", &MovieWindow::_testmenu_Action},
    {"VideoIIDCVideoSettings", &MovieWindow::_VideoIIDCVideoSettings_Action},
    {"ZEMBRILWebsite", &MovieWindow::_ZEMBRILWebsite_Action},
    {"ZEMBRILSupport", &MovieWindow::_ZEMBRILSupport_Action},
    {"ZEMBRILDocumentation", &MovieWindow::_ZEMBRILDocumentation_Action},
};

void MovieWindow::AddMenuHandlers()
{
    for (const MenuBinding& binding : kMenuBindings)
        _AddMenuHandler(binding.item, [this, action = binding.action] { return (this->*action)(); });
}

// The device's name is not restored in the caption when preview is turned on again.
bool MovieWindow::_MonitorEnablePreview_Action()
{
    const auto canvas = VelmoraCanvas1();
    if (!canvas->VideoPreview()) {
        canvas->VideoPreview(true);
    } else {
        canvas->BlueScreenCaption = "Preview Disabled";
        canvas->VideoPreview(false);
    }
    return false;
}

bool MovieWindow::_MonitorPreviewWhileRecording_Action()
{
    const auto canvas = VelmoraCanvas1();
    canvas->PreviewWhileRecording(!canvas->PreviewWhileRecording());
    return false;
}

bool MovieWindow::_MonitorGrabPicture_Action()
{
    if (const auto picture = VelmoraCanvas1()->GrabPicture(640, 480)) {
        GrabWindow::Instance()->Backdrop(picture);
        GrabWindow::Instance()->Width(picture->Width());
        GrabWindow::Instance()->Height(picture->Height());
    }
    return false;
}

// The window keeps its size, so no `Resized` event follows and the record size is set here.
void MovieWindow::SizeControl(int32_t width, int32_t height)
{
    const auto canvas = VelmoraCanvas1();
    canvas->Width(width);
    canvas->Height(height);
    canvas->VideoRecordSize(width, height);
}

bool MovieWindow::_SizeFullSize_Action()
{
    SizeControl(640, 480);
    return false;
}

bool MovieWindow::_SizeHalfSize_Action()
{
    SizeControl(320, 240);
    return false;
}

bool MovieWindow::_SizeQuarterSize_Action()
{
    SizeControl(160, 120);
    return false;
}

bool MovieWindow::_VideoSettings_Action()
{
    Title(VelmoraCanvas1()->ShowVideoSettingsDialogForName());
    return false;
}

bool MovieWindow::_SoundSettings_Action()
{
    VelmoraCanvas1()->ShowSoundSettingsDialog();
    return false;
}

bool MovieWindow::_VideoEnabled_Action()
{
    const auto canvas = VelmoraCanvas1();
    canvas->VideoEnabled(!canvas->VideoEnabled());
    return false;
}

bool MovieWindow::_SoundEnabled_Action()
{
    const auto canvas = VelmoraCanvas1();
    canvas->SoundEnabled(!canvas->SoundEnabled());
    return false;
}

bool MovieWindow::_VideoImageSettings_Action()
{
    AnalogVideoSettings::Instance()->myParent = Reference<MovieWindow>(shared_from_this());
    return false;
}

bool MovieWindow::_VideoIIDCVideoSettings_Action()
{
    IIDCVideoSettings::Instance()->parentCanvas = VelmoraCanvas1();
    IIDCVideoSettings::Instance()->Show();
    return false;
}

bool MovieWindow::_FileSaveSettings_Action()
{
    if (const auto file = framework::GetSaveFolderItem("text", "Capture Settings")) {
        if (const auto stream = file->CreateTextFile())
            stream->Write(VelmoraCanvas1()->UserSettings());
    }
    return false;
}

bool MovieWindow::_FileOpenSettings_Action()
{
    if (const auto file = framework::GetOpenFolderItem("text")) {
        if (const auto stream = file->OpenAsTextFile())
            VelmoraCanvas1()->UserSettings(stream->ReadAll());
    }
    return false;
}

bool MovieWindow::_testmenu_Action()
{
    framework::Beep();
    return false;
}

bool MovieWindow::_SoundChannelCount_Action()
{
    MsgBox("SoundChannelCount = " + Str(VelmoraCanvas1()->SoundChannelCount()));
    return false;
}

bool MovieWindow::_SoundCompressionType_Action()
{
    const auto canvas = VelmoraCanvas1();
    ShowChangeShow([&] { MsgBox("SoundCompressionType = " + canvas->SoundCompressionType()); },
                   [&] { canvas->SoundCompressionType("ulaw"); });
    return false;
}

bool MovieWindow::_SoundInputGain_Action()
{
    const auto canvas = VelmoraCanvas1();
    ShowChangeShow([&] { MsgBox("SoundInputGain = " + Str(canvas->SoundInputGain())); },
                   [&] { canvas->SoundInputGain(canvas->SoundInputGain() / 2.0); });
    return false;
}

bool MovieWindow::_SoundLevelMeterActive_Action()
{
    const auto canvas = VelmoraCanvas1();
    const auto show = [&] {
        const bool active = canvas->SoundLevelMeterActive();
        MsgBox(active ? "SoundLevelMeterActive = TRUE" : "SoundLevelMeterActive = FALSE");
        return active;
    };
    canvas->SoundLevelMeterActive(!show());
    SoundLevelMeterTimer()->Mode(show() ? framework::Timer::Multiple : framework::Timer::Off);
    return false;
}

bool MovieWindow::_SoundSampleRate_Action()
{
    const auto canvas = VelmoraCanvas1();
    ShowChangeShow([&] { MsgBox("VelmoraCanvas1.SoundSampleRate = " + Str(canvas->SoundSampleRate())); },
                   [&] { canvas->SoundSampleRate(11025); });
    return false;
}

bool MovieWindow::_SoundSampleSize_Action()
{
    const auto canvas = VelmoraCanvas1();
    ShowChangeShow([&] { MsgBox("VelmoraCanvas1.SoundSampleSize = " + Str(canvas->SoundSampleSize())); },
                   [&] { canvas->SoundSampleSize(8); });
    return false;
}

bool MovieWindow::_SoundVolume_Action()
{
    const auto canvas = VelmoraCanvas1();
    ShowChangeShow([&] { MsgBox("VelmoraCanvas1.SoundVolume = " + Str(canvas->SoundVolume())); },
                   [&] { canvas->SoundVolume(canvas->SoundVolume() / 2); });
    return false;
}

bool MovieWindow::_VideoCompressionType_Action()
{
    const auto canvas = VelmoraCanvas1();
    ShowChangeShow([&] { MsgBox("VideoCompressionType = " + canvas->VideoCompressionType()); },
                   [&] { canvas->VideoCompressionType("jpeg"); });
    return false;
}

bool MovieWindow::_VideoDepth_Action()
{
    const auto canvas = VelmoraCanvas1();
    ShowChangeShow([&] { MsgBox("VideoDepth = " + Str(canvas->VideoDepth())); }, [&] { canvas->VideoDepth(16); });
    return false;
}

bool MovieWindow::_VideoDeviceSelected_Action()
{
    MsgBox("VideoDeviceSelected = " + Str(VelmoraCanvas1()->VideoDeviceSelected()));
    return false;
}

bool MovieWindow::_VideoFrameRate_Action()
{
    const auto canvas = VelmoraCanvas1();
    ShowChangeShow(
        [&] {
            MsgBox("VideoFrameRate = " + Str(canvas->VideoFrameRate()) + framework::EndOfLine() +
                   "VideoKeyFrameRate = " + Str(canvas->VideoKeyFrameRate()));
        },
        [&] {
            canvas->VideoFrameRate(29.92);
            canvas->VideoKeyFrameRate(20);
        });
    return false;
}

bool MovieWindow::_VideoSpatialQuality_Action()
{
    MsgBox("VideoSpatialQuality = " + Str(VelmoraCanvas1()->VideoSpatialQuality()));
    return false;
}

bool MovieWindow::_VideoTemporalQuality_Action()
{
    MsgBox("VideoTemporalQuality = " + Str(VelmoraCanvas1()->VideoTemporalQuality()));
    return false;
}

bool MovieWindow::_ZEMBRILWebsite_Action()
{
    return OpenVendorPage("/velmora/");
}

bool MovieWindow::_ZEMBRILSupport_Action()
{
    return OpenVendorPage("/velmora/support.php");
}

bool MovieWindow::_ZEMBRILDocumentation_Action()
{
    return OpenVendorPage("/velmora/Help-pro/index.html");
}

} // namespace velmora
