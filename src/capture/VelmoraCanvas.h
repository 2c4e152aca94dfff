// SPDX-License-Identifier: MIT
#pragma once

#include "capture/CaptureClassTimer.h"
#include "framework/Canvas.h"
#include "framework/Dictionary.h"
#include "framework/FolderItem.h"
#include "framework/MemoryBlock.h"
#include "framework/Picture.h"
#include "recording/GWorldWrapper.h"
#include "recording/RecordingStatus.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace velmora {

using framework::FolderItem;
using framework::Graphics;
using framework::MemoryBlock;
using framework::NewMemoryBlock;
using framework::Picture;
using framework::Reference;
using framework::String;

/// A four-character code by value, as `StringToOSType` makes it.
using OSType = uint32_t;

/// Frame counts of the video channel since its session was last started.
struct CaptureCounts {
    uint64_t delivered = 0; ///< passed on to the control
    uint64_t lost = 0;      ///< lost by the device or by a full queue, or unreadable
};

/// The capture control: a canvas that owns one Sequence Grabber session with a video and a sound channel, and
/// everything that preview, recording and settings need. Windows call its properties and methods and handle its
/// events. It must be used on the main thread only.
///
/// A property is a pair of functions with the same name; the setter takes an argument. In data procedure mode
/// (`UseDataProc`) the grabber runs in record mode from `Initialize` on and passes each buffer to `DataProc`, which
/// shows and records it; in direct mode the grabber draws into the window and writes the movie itself.
///
/// When a platform call fails, an operation raises the event `Error` with the result code, unless its comment says
/// otherwise. A property of a channel that does not exist fails in the same way.
class VelmoraCanvas : public framework::Canvas {
public:
    VelmoraCanvas() = default;
    ~VelmoraCanvas() override = default;

    /// Adds the control to `SeqGrabbers` and creates the poll timer. Call it once, with the control's own reference,
    /// before the control is used.
    void Constructor(const Reference<VelmoraCanvas>& self);

    // Events. `Error` passes the platform's result code. `PaintInactive` returns true if it has drawn everything.
    std::function<void(int32_t result)> Error;
    std::function<void()> Close;
    std::function<void(Graphics& graphics)> PaintActive;
    std::function<bool(Graphics& graphics)> PaintInactive;
    std::function<void()> Open;                           ///< the framework's event: the control is ready for use
    std::function<void(bool recording)> RecordingChanged; ///< after `Record`, `Stop` and `StopWithResult`
    /// Called when a limit is reached (`Limits`). Returns the file to continue in, or nil to continue in the present
    /// one. If `ends` is true the recording is complete and the handler must see to it that `Stop` is called.
    std::function<Reference<FolderItem>(bool ends)> NextRecordingFile;

    // Plain properties.
    bool isActive = false;         ///< whether a movie is being recorded
    bool ColorBars = false;        ///< without a picture, show colour bars instead of a caption on blue
    String BlueScreenCaption = ""; ///< the text on the blue screen
    bool EnableVideo = true;       ///< read by `VideoEnabled`
    bool EnableSound = false;      ///< read by `SoundEnabled`
    bool UseDataProc = false;      ///< data procedure mode; set it before `Initialize`
    String LastError = "";         ///< the last failure of `Destructor`, as text

    // Session (capture/VelmoraCanvas.cpp).
    /// Opens the session with the first free camera and microphone, in the mode set by `UseDataProc`, and starts the
    /// poll timer. A failure is traced; the control then paints the inactive picture.
    virtual void Initialize();
    /// Starts the timer that calls `Idle` every 10 ms. While it is stopped nothing is shown and nothing recorded.
    virtual void StartPollTimer();
    /// Stops the timer.
    virtual void StopPollTimer();
    /// Releases the session: device lists, channels, component, image sequences and the entry in `SeqGrabbers`. Each
    /// failure is reported in `LastError` and `Error`.
    virtual void Destructor();
    /// Processes what the devices have delivered; the poll timer calls it every 10 ms.
    virtual void Idle();
    /// The control's rectangle in window coordinates: an 8-byte `Rect`.
    virtual Reference<MemoryBlock> GetRect();
    /// Ends the image sequences. The next frame starts new ones at the control's present size.
    virtual void Resize();

    // Preview and pause (capture/PreviewAndPause.cpp).
    /// Pauses or resumes the session. While it is paused no picture and no sound is processed.
    virtual void Pause(bool value);
    /// Whether the session is paused.
    virtual bool Pause();
    /// How the video channel plays, as flags (see `PreviewModeName`); a negative result code on failure.
    virtual int32_t PreviewMode();
    /// Sets the play flags. A failure is only traced.
    virtual void PreviewMode(int32_t flags);
    /// The name of one flag, "Channel Play Normal" for 0; empty for a combination of flags.
    virtual String PreviewModeName(int32_t flags);
    /// Whether the live picture runs. Raises `Error` with 0 on success.
    virtual bool VideoPreview();
    /// Starts or stops the live picture.
    virtual void VideoPreview(bool value);
    /// Whether direct mode shows the picture while it records.
    virtual bool PreviewWhileRecording();
    /// Sets whether direct mode shows the picture while it records. Off saves decoding every frame.
    virtual void PreviewWhileRecording(bool value);

    // Channel enabling (capture/ChannelSetUp.cpp).
    /// Whether the session should have a video channel.
    virtual bool VideoEnabled();
    /// Creates a new video channel and starts the preview if one is requested, or disposes the present channel.
    virtual void VideoEnabled(bool value);
    /// Whether the session should have a sound channel.
    virtual bool SoundEnabled();
    /// Creates a new sound channel, which does not restart the session, or disposes the present one.
    virtual void SoundEnabled(bool value);

    // Recording (recording/RecordingControl.cpp).
    /// Starts recording into `file`, replacing an existing file; nil does nothing.
    virtual void Record(const Reference<FolderItem>& file);
    /// Stops recording and finishes the movie; the live picture goes on. In data procedure mode raises
    /// `RuntimeException` after a message box if the movie cannot be finished.
    virtual void Stop();
    /// Stops and releases the grabber and starts preview, in both modes, without finishing a movie. Returns the result
    /// code of the start.
    virtual int32_t StopWithResult();
    /// Whether the grabber is in record mode; in data procedure mode it is whenever the live picture runs. Raises
    /// `Error` with 0 on success. To learn whether a movie is being recorded, use `Status`.
    virtual bool RecordState();
    /// Limits for the next recordings. `NextRecordingFile` is called when one is reached.
    RecordingLimits Limits;
    /// Progress of the present recording (recording/RecordingStatus.cpp). Cheap enough to be called twice a second.
    virtual RecordingStatus Status();
    /// The frames lost since the last call, oldest first.
    virtual std::vector<LostFrame> TakeLostFrames();

    // Still pictures (recording/PictureGrabbing.cpp).
    /// The present picture, `width` by `height` pixels; nil before the first frame. In data procedure mode the size is
    /// that of the frame.
    virtual Reference<Picture> GrabPicture(int32_t width, int32_t height);

    // Video format (recording/VideoFormat.cpp).
    /// Width of the standard source: always 640 pixels. For the width of the camera's frames see `VideoWidth`.
    virtual int32_t VideoSourceWidth();
    /// Height of the standard source: always 480 pixels.
    virtual int32_t VideoSourceHeight();
    /// Width in pixels of the frames that the camera delivers.
    virtual int32_t VideoWidth();
    /// Height in pixels of the frames that the camera delivers.
    virtual int32_t VideoHeight();
    /// Sets the size in pixels of the next movie's video track.
    virtual void VideoRecordSize(int32_t width, int32_t height);
    /// The compressor's four-character code in memory byte order: on a little-endian machine "jpeg" reads as "gepj".
    virtual String VideoCompressionType();
    /// Sets the compressor by its four-character code, such as "jpeg" or "avc1".
    virtual void VideoCompressionType(const String& code);
    /// Depth of the compressed picture in bits per pixel: 24, or 32 with alpha.
    virtual int32_t VideoDepth();
    /// Sets the depth in bits per pixel.
    virtual void VideoDepth(int32_t bits);
    /// Frames from one key frame to the next; 0: the compressor's default.
    virtual int32_t VideoKeyFrameRate();
    /// Sets the key frame interval in frames.
    virtual void VideoKeyFrameRate(int32_t frames);
    /// Quality of a picture, 0 to 1024; 512 is normal.
    virtual int32_t VideoSpatialQuality();
    /// Sets the quality of a picture, 0 to 1024.
    virtual void VideoSpatialQuality(int32_t quality);
    /// Quality of the frames between key frames, 0 to 1024; 512 is normal.
    virtual int32_t VideoTemporalQuality();
    /// Sets the quality of the frames between key frames, 0 to 1024.
    virtual void VideoTemporalQuality(int32_t quality);
    /// Frame rate in frames per second.
    virtual double VideoFrameRate();
    /// Requests a frame rate in frames per second. The camera uses the nearest rate that it supports.
    virtual void VideoFrameRate(double framesPerSecond);
    /// Requests a frame size in pixels. The camera uses the nearest size that it supports.
    virtual void VideoCaptureSize(int32_t width, int32_t height);
    /// Requests a pixel format or codec by its four-character code, at the present size if the camera supports that.
    virtual void VideoCaptureFormat(int32_t format);
    /// The platform's reference to the digitizer in use, for further platform calls; below 1 without one.
    virtual int32_t VideoDigitizer();
    /// Frames delivered and lost since the session was last started.
    virtual CaptureCounts VideoCounts();
    /// Time scale of the video channel in units per second; 0 without a channel.
    virtual int32_t VideoTimeScale();
    /// Time scale of the sound channel in units per second: its sample rate. 0 without a channel.
    virtual int32_t SoundTimeScale();

    // Transforms of the live picture (recording/Transforms.cpp).
    /// Whether the live picture is mirrored left to right.
    virtual bool VideoFlipHorizontal();
    /// Mirrors the live picture left to right. The recording is never transformed.
    virtual void VideoFlipHorizontal(bool value);
    /// Whether the live picture is mirrored top to bottom.
    virtual bool VideoFlipVertical();
    /// Mirrors the live picture top to bottom.
    virtual void VideoFlipVertical(bool value);
    /// Whether the live picture is rotated.
    virtual bool VideoRotate();
    /// Rotates the live picture by `angle` degrees. Only half a turn keeps it within the control.
    virtual void VideoRotate(bool on, int32_t angle);

    // Devices (devices/ChannelDevices.cpp).
    /// Number of cameras, including the Test Pattern; a negative result code on failure.
    virtual int32_t VideoDeviceCount();
    /// A camera by its index from 0: the length of its name as one byte, the name, the number of inputs and the names
    /// of the inputs. Empty on failure.
    virtual String VideoDevice(int32_t index);
    /// The name of the camera in use.
    virtual String VideoDeviceName();
    /// The index of the camera in use, from 0; negative if it is not in the list.
    virtual int32_t VideoDeviceSelected();
    /// Whether the camera with that index can be used.
    virtual bool VideoDeviceAvailable(int32_t index);
    /// Why the camera does not deliver, or not as requested: a sentence for the user. Empty if all is well.
    std::string VideoDeviceReason();
    /// Always 0. The inputs are in the text of `VideoDevice`.
    virtual int32_t VideoDeviceInputCount(int32_t index);
    /// Number of sound sources, including the Test Tone; a negative result code on failure.
    virtual int32_t SoundDeviceCount();
    /// The name of a sound source by its index from 0. Empty on failure.
    virtual String SoundDevice(int32_t index);
    /// The name of the sound source in use.
    virtual String SoundDeviceName();
    /// Whether the sound source with that index can be used.
    virtual bool SoundDeviceAvailable(int32_t index);
    /// Why the sound source does not deliver, or not as requested: a sentence for the user. Empty if all is well.
    std::string SoundDeviceReason();
    /// Selects the camera of that name. Returns the result code and does not raise `Error`.
    virtual int32_t ChooseVideoDevice(const String& name);
    /// Selects the sound source of that name. Returns the result code and does not raise `Error`.
    virtual int32_t ChooseSoundDevice(const String& name);
    /// The index of the sound source's input, such as a microphone or line socket, from 0; -1 on failure.
    virtual int32_t SoundInput();
    /// Selects an input of the sound source by its index from 0.
    virtual void SoundInput(int32_t index);

    // Sound (devices/SoundParameters.cpp).
    /// The sound compressor's four-character code in memory byte order, like `VideoCompressionType`.
    virtual String SoundCompressionType();
    /// Sets the sound compressor by its four-character code, such as "sowt" or "ulaw".
    virtual void SoundCompressionType(const String& code);
    /// Number of audio channels: 1 for mono, 2 for stereo.
    virtual int32_t SoundChannelCount();
    /// Sets the number of audio channels.
    virtual void SoundChannelCount(int32_t channels);
    /// Sample size in bits.
    virtual int32_t SoundSampleSize();
    /// Sets the sample size: 8, 16 or 24 bits.
    virtual void SoundSampleSize(int32_t bits);
    /// Sample rate in hertz.
    virtual int32_t SoundSampleRate();
    /// Sets the sample rate in hertz.
    virtual void SoundSampleRate(int32_t rate);
    /// Monitor volume of the sound channel; 256 is full volume.
    virtual int32_t SoundVolume();
    /// Sets the monitor volume; 256 is full volume.
    virtual void SoundVolume(int32_t volume);
    /// Gain of the sound source as a factor; 1 is the normal level.
    virtual double SoundInputGain();
    /// Sets the gain of the sound source as a factor.
    virtual void SoundInputGain(double gain);

    // Level meter (devices/SoundLevelMeter.cpp).
    /// Whether the sound source measures its level.
    virtual bool SoundLevelMeterActive();
    /// Turns the level measurement on or off.
    virtual void SoundLevelMeterActive(bool value);
    /// Not a count: the low 16 bits of the gain as a fixed-point number.
    virtual int32_t SoundLevelMeterChannelCount();
    /// Level of the left channel in percent of full scale, 0 to 100; of a mono source, its only level.
    virtual int32_t SoundLevelMeterLeft();
    /// Level of the right channel in percent of full scale, 0 to 100; of a mono source, its only level.
    virtual int32_t SoundLevelMeterRight();

    // Analog image controls (devices/AnalogImageControls.cpp). Values are 0 to 65535; one above 32767 reads back as a
    // negative 16-bit number.
    /// Brightness of the picture.
    virtual int32_t VideoBrightness();
    /// Sets the brightness.
    virtual void VideoBrightness(int32_t value);
    /// The smallest brightness: 0.
    virtual int32_t VideoBrightnessMin();
    /// The largest brightness: 65535.
    virtual int32_t VideoBrightnessMax();
    /// The default brightness: 7761.
    virtual int32_t VideoBrightnessDefault();
    /// Hue of the picture.
    virtual int32_t VideoHue();
    /// Sets the hue.
    virtual void VideoHue(int32_t value);
    /// The smallest hue: 0.
    virtual int32_t VideoHueMin();
    /// The largest hue: 65535.
    virtual int32_t VideoHueMax();
    /// The default hue: 32767.
    virtual int32_t VideoHueDefault();
    /// Contrast of the picture.
    virtual int32_t VideoContrast();
    /// Sets the contrast.
    virtual void VideoContrast(int32_t value);
    /// The smallest contrast: 0.
    virtual int32_t VideoContrastMin();
    /// The largest contrast: 65535.
    virtual int32_t VideoContrastMax();
    /// The default contrast: 32767.
    virtual int32_t VideoContrastDefault();
    /// Saturation of the picture.
    virtual int32_t VideoSaturation();
    /// Sets the saturation.
    virtual void VideoSaturation(int32_t value);
    /// The smallest saturation: 0.
    virtual int32_t VideoSaturationMin();
    /// The largest saturation: 65535.
    virtual int32_t VideoSaturationMax();
    /// The default saturation: 32767.
    virtual int32_t VideoSaturationDefault();
    /// Sharpness of the picture.
    virtual int32_t VideoSharpness();
    /// Sets the sharpness.
    virtual void VideoSharpness(int32_t value);
    /// The smallest sharpness: 0.
    virtual int32_t VideoSharpnessMin();
    /// The largest sharpness: 65535.
    virtual int32_t VideoSharpnessMax();
    /// The default sharpness: 32767.
    virtual int32_t VideoSharpnessDefault();
    /// White level of the picture.
    virtual int32_t VideoWhiteLevel();
    /// Sets the white level.
    virtual void VideoWhiteLevel(int32_t value);
    /// The smallest white level: 0.
    virtual int32_t VideoWhiteLevelMin();
    /// The largest white level: 65535.
    virtual int32_t VideoWhiteLevelMax();
    /// The default white level: 32767.
    virtual int32_t VideoWhiteLevelDefault();

    // Settings (devices/SettingsAndDialogs.cpp).
    /// Shows the settings dialog for camera, compressor and image, and returns when it is closed. Cancel restores the
    /// previous settings.
    virtual void ShowVideoSettingsDialog();
    /// The same; returns the name of the camera that is then in use.
    virtual String ShowVideoSettingsDialogForName();
    /// Shows the settings dialog for sound source, sample format and compressor, and returns when it is closed. Cancel
    /// restores the previous settings.
    virtual void ShowSoundSettingsDialog();
    /// The same; returns the name of the sound source that is then in use.
    virtual String ShowSoundSettingsDialogForName();
    /// The settings of the whole session as a string of bytes; empty on failure.
    virtual String UserSettings();
    /// Restores settings returned by `UserSettings` and starts the live picture. Replaces both channels.
    virtual void UserSettings(const String& settings);

    // DV device control (devices/DeviceControl.cpp).
    /// Plays the tape.
    virtual void DeviceControlPlay();
    /// Stops the tape.
    virtual void DeviceControlStop();
    /// Holds the tape at a still picture.
    virtual void DeviceControlFreeze();
    /// Winds the tape forward.
    virtual void DeviceControlFastForward();
    /// Winds the tape back.
    virtual void DeviceControlRewind();
    /// Plays backward at high speed.
    virtual void DeviceControlRewindPlay();
    /// Plays forward at high speed.
    virtual void DeviceControlFastForwardPlay();
    /// Steps forward by one frame.
    virtual void DeviceControlNextFrame();
    /// Steps back by one frame.
    virtual void DeviceControlPreviousFrame();
    /// Plays forward in slow motion.
    virtual void DeviceControlSlowForward();
    /// Plays backward in slow motion.
    virtual void DeviceControlSlowReverse();
    /// Records on the tape, which erases what was there.
    virtual void DeviceControlRecord();
    /// Sends a command frame of four bytes (AV/C Digital Interface Command Set, 1394 TA) to the first DV device on the
    /// bus. The response is ignored.
    virtual void DeviceControlAVCCommand(int32_t ctype, int32_t subunit, int32_t opcode, int32_t operand);
    /// Always raises `NilObjectException`, since its data handler is never opened.
    virtual Reference<MemoryBlock> DeviceControlAVCQuery(int32_t ctype, int32_t subunit, int32_t opcode,
                                                         int32_t operand);
    /// Whether the deck is loading a tape. Raises what `DeviceControlAVCQuery` raises, like the three after it.
    virtual bool DeviceIsLoading();
    /// Whether the tape plays.
    virtual bool DeviceIsPlaying();
    /// Whether the deck records.
    virtual bool DeviceIsRecording();
    /// Whether the tape winds.
    virtual bool DeviceIsWinding();

    // IIDC features (devices/IIDCFeatures.cpp).
    /// Sets a feature (1394 TA, IIDC 1.31) by its four-character code, such as "zoom", in the camera's own units.
    virtual void IIDCFeature(OSType feature, int32_t value);
    /// The largest value of a feature; -1 if the camera does not have it.
    virtual int32_t IIDCFeatureMaximum(OSType feature);
    /// The smallest value of a feature; -1 if the camera does not have it.
    virtual int32_t IIDCFeatureMinimum(OSType feature);
    /// The present value of a feature; -1 if the camera does not have it.
    virtual int32_t IIDCFeatureValue(OSType feature);
    /// Whether the digitizer reports a component description, which any open digitizer does. See
    /// `isIIDCFeatureSupported` for what a camera offers.
    virtual bool isIIDC();
    /// Whether the camera has a feature. The name is not used.
    virtual bool isIIDCFeatureSupported(const String& name, OSType feature);

    /// All controls by key. The key is the last argument of the data procedure.
    static Reference<framework::Dictionary<VelmoraCanvas>> SeqGrabbers;

    /// A four-character code as a signed number, first character in the most significant byte; -1 for other lengths.
    static int32_t OSTypeToLong(const String& code);

protected:
    void Event_Open() override;
    void Event_Close() override;
    void Event_Paint(Graphics& graphics) override;

private:
    friend struct VelmoraCanvasInspector; // lets tests read the private state

    void OpenSession();
    bool EndSequenceQuietly(Reference<MemoryBlock>& sequence);

    // Thin calls of the platform.
    int32_t OpenDefaultComponent(const String& type);
    int32_t SGInitialize(int32_t component);
    int32_t SGIdle(int32_t component);
    int32_t SGSetGWorld(int32_t component, int32_t port, int32_t device);
    int32_t SGSetDataRef(int32_t component, int32_t a, int32_t b, int32_t c);
    int32_t SGRelease(int32_t component);
    int32_t SGStartPreview(int32_t component);
    int32_t SGStop(int32_t component);
    int32_t SGPause(int32_t component, int32_t pause);
    void SGRecord();

    // Channel set-up (capture/ChannelSetUp.cpp).
    struct ChannelKind;
    static const ChannelKind kVideo;
    static const ChannelKind kSound;
    void CreateSGChannel();
    bool NewChannel(const ChannelKind& kind, MemoryBlock& block);
    void PlaceChannel(int32_t channel);
    void SetCaptureUsage(int32_t channel, const String& name);
    bool EnableChannel(bool value, const ChannelKind& kind);
    void StartRequestedPreview();

    // Preview (capture/PreviewAndPause.cpp).
    int32_t PlayUsage(bool preview) const;

    // Painting (capture/Painting.cpp).
    void triggerPaintEvent(Graphics& graphics);

    // Data procedure (recording/DataProc.cpp).
    static int32_t DataProc(int32_t c, int32_t p, int32_t len, int32_t offset, int32_t chRefCon, int32_t time,
                            int16_t writeType, int32_t refCon);
    void DestroyImageSeqs();
    bool BeginDecompression(int32_t c, int32_t p, int32_t len);
    bool BeginDisplay();
    Reference<MemoryBlock> DisplayMatrix();
    void ShowFrame(int32_t p, int32_t len);

    // Movie writer (recording/MovieWriter.cpp).
    void createmoviestorage(const Reference<FolderItem>& file);
    void addtracksToMovie(int32_t movie);
    int32_t AppendDataProcDataToMovie(int32_t c, int32_t p, int32_t len, int32_t duration);
    void FinishMovieEdits();
    Reference<MemoryBlock> handletomemoryblock(int32_t handle);
    void RecordDirectly(const FolderItem& file);
    void WatchLimits();
    std::string ReachLimit(bool ends);
    void ContinueIn(const Reference<FolderItem>& file);
    void BeginTally(const FolderItem& file);
    void CountInTally();
    void AppendVideo(int32_t c, const Reference<MemoryBlock>& data, int32_t len, int32_t duration);
    void AppendSound(int32_t c, const Reference<MemoryBlock>& data, int32_t len);

    // Video format (recording/VideoFormat.cpp).
    struct CompressorSettings;
    void ReadCompressor(const CompressorSettings& now);
    int32_t DescriptionField(int32_t offset);
    int32_t TimeScaleOf(int32_t channel);

    // Devices (devices/ChannelDevices.cpp).
    bool DeviceAvailable(Reference<MemoryBlock>& list, int32_t channel, int32_t index);

    // Sound (devices/SoundParameters.cpp).
    struct SoundParameters;
    int32_t ReadSoundParameters(const SoundParameters& now);
    void WriteSoundParameters(int32_t sampleSize, int32_t channels, int32_t compression);

    // Analog image controls (devices/AnalogImageControls.cpp).
    using ImageControlCall = int32_t (*)(int32_t digitizer, int32_t value);
    int32_t ImageControl(ImageControlCall read);
    void ImageControl(ImageControlCall write, int32_t value);

    // Settings (devices/SettingsAndDialogs.cpp).
    struct SettingsDialogKind;
    void ShowSettingsDialog(int32_t channel, const SettingsDialogKind& kind);
    void FindChannels();

    // DV device control (devices/DeviceControl.cpp).
    int32_t FindVideoMode(int32_t container, int16_t devices);
    bool IsVideoMode(int32_t container, int32_t mode);
    void SendToVideoDevice(int32_t instance, const MemoryBlock& frame);
    bool IsTransportMode(int32_t mode);

    // IIDC features (devices/IIDCFeatures.cpp).
    struct FeatureSettings;
    bool FetchFeature(OSType feature, FeatureSettings& settings);
    int32_t RawLimit(OSType feature, int32_t offset);

    static bool SeqGrabberModalFilterProc(int32_t dialog, int32_t event, int32_t itemHit, int32_t refCon);

    void RaiseError(int32_t result);
    void RaiseFailure(int32_t result); // raises `Error` unless the result is 0
    void RaiseRecordingChanged(bool recording);

    int32_t theSGComp = 0;      // -1 while it is being opened; below 1: no session
    int32_t sgVideoChannel = 0; // -1 while channel set-up runs
    bool mPauseEnabled = false;
    int32_t sgSoundChannel = 0;
    int32_t previewMode = 0;
    int32_t inDevNum = 0; // only traced; operations get the driver from the channel each time
    bool mPreviewWhileRecording = false;
    Reference<CaptureClassTimer> pollTimer;
    Reference<MemoryBlock> theSGSoundDeviceList;
    Reference<MemoryBlock> theSGVideoDeviceList;
    bool VideoPreviewState = false;
    Reference<GWorldWrapper> GWorld;
    int32_t refCon = 0;
    Reference<MemoryBlock> moviedatahandler;
    Reference<MemoryBlock> outputMovie;
    bool isRecording = false;
    int32_t mysoundmedia = 0;
    int32_t mysoundtrack = 0;
    int32_t myvideotrack = 0;
    int32_t myvideomedia = 0;
    bool gotaudio = false;
    Reference<GWorldWrapper> decompGworld;
    Reference<Picture> decomppicture;
    Reference<MemoryBlock> decompSeq;
    Reference<GWorldWrapper> displayGworld;
    Reference<MemoryBlock> displaySeq;
    int32_t lastHeight = 0;
    int32_t lastWidth = 0;
    bool gFlipV = false;
    bool gFlipH = false;
    bool gRotate = false;
    int32_t gRotateAngle = 0;
    bool matrixChanged = false;
    int32_t lasttimevalue = -1; // time of the last video buffer, -1 before the first
    int32_t preaudiotimeval = 0;
    int32_t videoRecordWidth = 0;
    int32_t videoRecordHeight = 0;
    RecordingTally tally;
    bool watchesLimits = false; // `Limits` are set on the session
};

} // namespace velmora
