// SPDX-License-Identifier: MIT
// The appearance and enabling of menu items.
//
// `MenuBar1` has the fixed texts. Before a menu is shown, the framework enables each item for which the front window
// has a handler (`Window::UpdateMenus`); then it raises the canvas's event and after it the window's. The handlers here
// set the final texts, check marks and enabling. A recording disables nothing, but the items of `InterruptsRecording`
// are rejected.
#include "ui/MenuStates.h"

#include "framework/Application.h"
#include "ui/GrabWindow.h"
#include "ui/IIDCVideoSettings.h"
#include "ui/MenuBar1.h"
#include "ui/MovieWindow.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace velmora {
namespace {

constexpr std::array<std::string_view, 12> kNotWhileRecording{
    "MonitorEnablePreview", "VideoEnabled",         "SoundEnabled",         "VideoSettings",
    "SoundSettings",        "FileOpenSettings",     "VideoCompressionType", "VideoDepth",
    "VideoFrameRate",       "SoundCompressionType", "SoundSampleRate",      "SoundSampleSize",
};

// Appends an item for each device. Devices may disappear after they were counted; the last ones are then missing.
template <typename Describe> void AppendDevices(MenuItem& menu, int32_t count, Describe describe)
{
    for (int32_t i = 0; i < count; i++) {
        const auto item = framework::New<MenuItem>();
        item->HasMnemonic = false;
        try {
            describe(*item, i);
        } catch (const framework::OutOfBoundsException&) {
            return;
        }
        menu.Append(item);
        framework::YieldToBackground();
    }
}

} // namespace

bool InterruptsRecording(const framework::MenuItem& item)
{
    return std::ranges::find(kNotWhileRecording, item.Name.Bytes()) != kNotWhileRecording.end();
}

void MovieWindow::PopulateMenus()
{
    const auto canvas = VelmoraCanvas1();
    AppendDevices(*MenuBar1::SoundDeviceMenu(), canvas->SoundDeviceCount(), [&](MenuItem& item, int32_t i) {
        item.Text = canvas->SoundDevice(i);
        item.Checked = canvas->SoundDeviceAvailable(i);
    });
    AppendDevices(*MenuBar1::VideoDeviceMenu(), canvas->VideoDeviceCount(), [&](MenuItem& item, int32_t i) {
        item.Name = "testmenu";
        item.Text = canvas->VideoDevice(i);
        item.Checked = canvas->VideoDeviceAvailable(i);
    });
}

void MovieWindow::VelmoraCanvas1_EnableMenuItems()
{
    const bool enabled = VelmoraCanvas1()->VideoEnabled();
    MenuBar1::VideoEnabled()->Text = enabled ? "Enabled" : "Disabled";
    MenuBar1::VideoEnabled()->Checked = enabled;
}

void MovieWindow::Event_EnableMenuItems()
{
    const auto canvas = VelmoraCanvas1();
    MenuBar1::MonitorEnablePreview()->Checked = canvas->VideoPreview();
    MenuBar1::VideoEnabled()->Checked = canvas->VideoEnabled();
    MenuBar1::SoundEnabled()->Checked = canvas->SoundEnabled();
    MenuBar1::MonitorPreviewWhileRecording()->Checked = canvas->PreviewWhileRecording();
    MenuBar1::MonitorPreviewWhileRecording()->Enabled = true;
}

void GrabWindow::Event_EnableMenuItems()
{
    MenuBar1::FileClose()->Enable();
}

void IIDCVideoSettings::Event_EnableMenuItems()
{
    MenuBar1::FileClose()->Enable();
}

} // namespace velmora
