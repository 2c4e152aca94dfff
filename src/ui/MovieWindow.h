// SPDX-License-Identifier: MIT
#pragma once

#include "capture/VelmoraCanvas.h"
#include "framework/Timer.h"
#include "framework/Widgets.h"
#include "framework/Window.h"

#include <memory>

namespace velmora {

/// The main window: the live picture and, below it, what starts a recording, chooses the inactive picture, drives a DV
/// deck, shows the sound levels and flips the picture. It keeps no state: all of it lives in the control and is asked
/// for each time.
class MovieWindow : public framework::Window, public std::enable_shared_from_this<MovieWindow> {
public:
    /// The one window of this class; made and opened when there is none.
    static Reference<MovieWindow> Instance();

    /// The window's controls, looked up by name at each call; nil for one that was never made.
    Reference<VelmoraCanvas> VelmoraCanvas1() const;
    Reference<framework::PushButton> btnstartcapture1() const;
    Reference<framework::PopupMenu> PopupMenu1() const;
    Reference<framework::PopupMenu> PopupMenu2() const;
    Reference<framework::EditField> EditField1() const;
    Reference<framework::Timer> SoundLevelMeterTimer() const;
    Reference<framework::ProgressBar> ProgressBar1() const;
    Reference<framework::ProgressBar> ProgressBar2() const;
    Reference<framework::CheckBox> CheckBox1() const;
    Reference<framework::CheckBox> CheckBox2() const;
    Reference<framework::CheckBox> CheckBox3() const;

protected:
    void Layout() override;
    void CreateControls() override;
    virtual void _CreateControls0();

    // Events of the controls (ui/MovieWindowBehaviour.cpp; Open: ui/MovieWindow.cpp; EnableMenuItems:
    // ui/MenuStates.cpp).
    virtual bool VelmoraCanvas1_PaintInactive(Graphics& g);
    virtual void VelmoraCanvas1_EnableMenuItems();
    virtual void VelmoraCanvas1_PaintActive(Graphics& g);
    virtual void VelmoraCanvas1_Open();
    virtual void btnstartcapture1_Action();
    virtual void PushButton1_Action();
    virtual void PopupMenu1_Change();
    virtual void SoundLevelMeterTimer_Action();
    virtual void CheckBox1_Action();
    virtual void CheckBox2_Action();
    virtual void CheckBox3_Action();

    void AddMenuHandlers() override;
    void Event_EnableMenuItems() override;
    void Event_Resized() override;
    void Event_Open() override;

    // Menu actions (ui/MenuActions.cpp). True: the command was dealt with and goes no further.
    virtual bool _MonitorEnablePreview_Action();
    virtual bool _VideoSettings_Action();
    virtual bool _SoundSettings_Action();
    virtual bool _MonitorGrabPicture_Action();
    virtual bool _SizeFullSize_Action();
    virtual bool _SizeHalfSize_Action();
    virtual bool _SizeQuarterSize_Action();
    virtual bool _FileSaveSettings_Action();
    virtual bool _FileOpenSettings_Action();
    virtual bool _VideoImageSettings_Action();
    virtual bool _VideoEnabled_Action();
    virtual bool _MonitorPreviewWhileRecording_Action();
    virtual bool _SoundChannelCount_Action();
    virtual bool _SoundCompressionType_Action();
    virtual bool _SoundEnabled_Action();
    virtual bool _SoundInputGain_Action();
    virtual bool _SoundLevelMeterActive_Action();
    virtual bool _SoundSampleRate_Action();
    virtual bool _SoundSampleSize_Action();
    virtual bool _SoundVolume_Action();
    virtual bool _VideoCompressionType_Action();
    virtual bool _VideoDepth_Action();
    virtual bool _VideoDeviceSelected_Action();
    virtual bool _VideoFrameRate_Action();
    virtual bool _VideoSpatialQuality_Action();
    virtual bool _VideoTemporalQuality_Action();
    virtual bool _testmenu_Action();
    virtual bool _VideoIIDCVideoSettings_Action();
    virtual bool _ZEMBRILWebsite_Action();
    virtual bool _ZEMBRILSupport_Action();
    virtual bool _ZEMBRILDocumentation_Action();

    /// Fills the two device submenus: what is there, checked where it is available.
    virtual void PopulateMenus();

    /// The capture control that the window adds to itself.
    virtual std::shared_ptr<VelmoraCanvas> NewVelmoraCanvas();

private:
    void MakeCanvas();
    void MakeCaptionField();
    void MakeMeterTimer();
    void SizeControl(int32_t width, int32_t height);
};

} // namespace velmora
