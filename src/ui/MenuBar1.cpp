// SPDX-License-Identifier: MIT
#include "ui/MenuBar1.h"

#include "framework/Application.h"

#include <initializer_list>
#include <memory>

// The menu tree, top to bottom: each menu, then its items. Windows bind their handlers to the names.

namespace velmora {
namespace {

struct ItemRow {
    const char* name;
    bool autoEnable;
    const char* text;
    const char* shortcut = "";
};

Reference<MenuBar1>& Implicit()
{
    static Reference<MenuBar1> instance;
    return instance;
}

template <typename Item = MenuItem> void AppendItem(MenuItem& menu, const ItemRow& row)
{
    const auto item = framework::New<Item>();
    item->Name = row.name;
    item->AutoEnable = row.autoEnable;
    item->Text = row.text;
    item->KeyboardShortcut = row.shortcut;
    menu.Append(item);
}

void AppendItems(MenuItem& menu, std::initializer_list<ItemRow> rows)
{
    for (const ItemRow& row : rows)
        AppendItem(menu, row);
}

Reference<MenuItem> ItemNamed(const char* name)
{
    const Reference<framework::Application> application(framework::Application::Instance());
    return application->MenuBar()->_Lookup(name);
}

} // namespace

MenuBar1::MenuBar1()
{
    MenuBar1::Untitled1();
    MenuBar1::Untitled2();
    MenuBar1::Untitled3();
    MenuBar1::Untitled4();
    MenuBar1::Untitled5();
    MenuBar1::Untitled7();
}

Reference<MenuBar1> MenuBar1::Instance()
{
    if (!Implicit())
        Implicit() = framework::New<MenuBar1>();
    return Implicit();
}

void MenuBar1::Release()
{
    Implicit() = nullptr;
}

void MenuBar1::Untitled1()
{
    AppendItem(*this, {"FileMenu", false, "&File"});
    MenuItem& menu = *Child("FileMenu");
    AppendItems(menu, {{"FileClose", false, "Close", "Cmd+W"},
                       {"FileSaveSettings", true, "Save Settings", "Cmd+S"},
                       {"FileOpenSettings", true, "Open Settings", "Cmd+O"}});
    AppendItem<framework::QuitMenuItem>(menu, {"FileQuit", true, "Quit", "Cmd+Q"});
}

void MenuBar1::Untitled2()
{
    AppendItem(*this, {"EditMenu", false, "&Edit"});
    AppendItems(*Child("EditMenu"), {{"EditUndo", false, "&Undo", "Cmd+Z"},
                                     {"UntitledMenu0", false, "-"},
                                     {"EditCut", false, "Cu&t", "Cmd+X"},
                                     {"EditCopy", false, "&Copy", "Cmd+C"},
                                     {"EditPaste", false, "&Paste", "Cmd+V"},
                                     {"EditClear", false, "Clear"}});
}

void MenuBar1::Untitled3()
{
    AppendItem(*this, {"MonitorMenu", false, "Monitor"});
    AppendItems(*Child("MonitorMenu"), {{"MonitorEnablePreview", true, "Preview", "Cmd+R"},
                                        {"MonitorPreviewWhileRecording", true, "Preview While Recording"},
                                        {"MonitorGrabPicture", true, "Grab Picture", "Cmd+G"},
                                        {"MonitorSize", true, "Size"}});
    AppendItems(*Child("MonitorMenu")->Child("MonitorSize"), {{"SizeFullSize", true, "Full Size", "Cmd+1"},
                                                              {"SizeHalfSize", true, "Half Size", "Cmd+2"},
                                                              {"SizeQuarterSize", true, "Quarter Size", "Cmd+3"}});
}

void MenuBar1::Untitled4()
{
    AppendItem(*this, {"SoundMenu", true, "Sound"});
    AppendItems(*Child("SoundMenu"), {{"SoundEnabled", true, "Enabled"},
                                      {"SoundSettings", true, "Settings…"},
                                      {"UntitledSeparator", true, "-"},
                                      {"SoundChannelCount", true, "Channel Count"},
                                      {"SoundCompressionType", true, "Compression Type"},
                                      {"SoundDeviceMenu", true, "Device Available"},
                                      {"SoundInputGain", true, "Input Gain"},
                                      {"SoundLevelMeterActive", true, "Level Meter Active"},
                                      {"SoundSampleRate", true, "Sample Rate"},
                                      {"SoundSampleSize", true, "Sample Size"},
                                      {"SoundVolume", true, "Volume"}});
}

void MenuBar1::Untitled5()
{
    AppendItem(*this, {"VideoMenu", true, "Video"});
    AppendItems(*Child("VideoMenu"), {{"VideoEnabled", true, "Enabled"},
                                      {"VideoSettings", true, "Settings…"},
                                      {"VideoImageSettings", true, "Analog Video Settings…"},
                                      {"VideoIIDCVideoSettings", true, "IIDCVideoSettings"},
                                      {"UntitledSeparator0", true, "-"},
                                      {"VideoCompressionType", true, "CompressionType"},
                                      {"VideoDepth", true, "Depth"},
                                      {"VideoDeviceMenu", false, "Device Available"},
                                      {"VideoDeviceSelected", true, "Device Selected"},
                                      {"VideoFrameRate", true, "Frame and Keyframe Rate"},
                                      {"VideoSpatialQuality", true, "Spatial Quality"},
                                      {"VideoTemporalQuality", true, "Temporal Quality"}});
}

void MenuBar1::Untitled7()
{
    AppendItem(*this, {"ZEMBRILMenu", true, "ZEMBRIL"});
    AppendItems(*Child("ZEMBRILMenu"), {{"ZEMBRILWebsite", true, "Website"},
                                        {"ZEMBRILSupport", true, "Support"},
                                        {"UntitledItem1", true, "-"},
                                        {"ZEMBRILDocumentation", true, "Documentation"}});
}

Reference<MenuItem> MenuBar1::VideoDeviceMenu()
{
    return ItemNamed("VideoDeviceMenu");
}

Reference<MenuItem> MenuBar1::SoundDeviceMenu()
{
    return ItemNamed("SoundDeviceMenu");
}

Reference<MenuItem> MenuBar1::VideoEnabled()
{
    return ItemNamed("VideoEnabled");
}

Reference<MenuItem> MenuBar1::SoundEnabled()
{
    return ItemNamed("SoundEnabled");
}

Reference<MenuItem> MenuBar1::MonitorPreviewWhileRecording()
{
    return ItemNamed("MonitorPreviewWhileRecording");
}

Reference<MenuItem> MenuBar1::MonitorEnablePreview()
{
    return ItemNamed("MonitorEnablePreview");
}

Reference<MenuItem> MenuBar1::FileClose()
{
    return ItemNamed("FileClose");
}

} // namespace velmora
