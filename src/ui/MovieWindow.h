// SPDX-License-Identifier: MIT
#pragma once

#include "capture/VelmoraCanvas.h"
#include "framework/Timer.h"
#include "framework/Widgets.h"
#include "framework/Window.h"

#include <memory>

namespace velmora {

/// The main window: the live picture and, below it, the controls that start a recording, choose the inactive picture,
/// operate a DV deck, show the sound levels and flip the picture. It keeps no state: all of it is in the control and is
/// read each time.
class MovieWindow : public framework::Window, public std::enable_shared_from_this<MovieWindow> {
public:
    /// The one window of this class, created and opened if necessary.
    static Reference<MovieWindow> Instance();

    // The window's controls, looked up by name at each call; nil for one that was not created.
    Reference<VelmoraCanvas> VelmoraCanvas1() const;           ///< the capture control
    Reference<framework::PushButton> btnstartcapture1() const; ///< starts and stops a recording
    Reference<framework::PopupMenu> PopupMenu1() const;        ///< the kind of inactive picture
    Reference<framework::PopupMenu> PopupMenu2() const;        ///< the DV command to send
    Reference<framework::EditField> EditField1() const;        ///< the caption of the blue screen
    Reference<framework::Timer> SoundLevelMeterTimer() const;  ///< updates the level bars
    Reference<framework::ProgressBar> ProgressBar1() const;    ///< level of the left channel
    Reference<framework::ProgressBar> ProgressBar2() const;    ///< level of the right channel
    Reference<framework::CheckBox> CheckBox1() const;          ///< mirrors the picture left to right
    Reference<framework::CheckBox> CheckBox2() const;          ///< mirrors the picture top to bottom
    Reference<framework::CheckBox> CheckBox3() const;          ///< rotates the picture by 180 degrees

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

    // Menu actions (ui/MenuActions.cpp). True: the command was handled.
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

    /// Fills the two device submenus with all devices; available ones are checked.
    virtual void PopulateMenus();

    /// The capture control that the window adds to itself.
    virtual std::shared_ptr<VelmoraCanvas> NewVelmoraCanvas();

private:
    struct MenuBinding;
    static const MenuBinding kMenuBindings[];

    void MakeCanvas();
    void MakeCaptionField();
    void MakeMeterTimer();
    void SizeControl(int32_t width, int32_t height);
};

} // namespace velmora
