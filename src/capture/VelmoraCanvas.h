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

/// Frames of the video channel since its session was last started.
struct CaptureCounts {
    uint64_t delivered = 0; ///< handed over
    uint64_t lost = 0;      ///< by the device before us, by a full queue, or because they could not be read
};

/// The capture control: a canvas that owns one session of the Sequence Grabber with a video and a sound channel, and
/// everything that previewing, recording and settings need. Windows call its properties and methods and answer its
/// events; it is used on the main thread only.
///
/// A property is a pair of functions of one name, the setter with an argument. In data procedure mode (`UseDataProc`)
/// the grabber runs in record mode from `Initialize` on and hands each buffer to `DataProc`, which shows and records
/// it; in direct mode the grabber draws into the window and writes the movie itself.
///
/// Operations report a failing platform call by the event `Error` with its code unless they say otherwise. A property
/// of a channel that doesn't exist gives the platform's failure in the same way.
class VelmoraCanvas : public framework::Canvas {
public:
    VelmoraCanvas() = default;
    ~VelmoraCanvas() override = default;

    /// Takes a key in `SeqGrabbers` and makes the poll timer. To be called once, with the control's own reference,
    /// before the control is used.
    void Constructor(const Reference<VelmoraCanvas>& self);

    // Events. `Error` brings the platform's result code, `PaintInactive` answers True when it has drawn everything.
    std::function<void(int32_t result)> Error;
    std::function<void()> Close;
    std::function<void(Graphics& graphics)> PaintActive;
    std::function<bool(Graphics& graphics)> PaintInactive;
    std::function<void()> Open;                           ///< the framework's event of a control that is ready for use
    std::function<void(bool recording)> RecordingChanged; ///< behind `Record`, and behind either `Stop`
    /// At a boundary of the recording (`RecordingLimits`): names the file in which it goes on, or nil for the present
    /// one. With `ends` the recording has all its frames, and its movie is to be ended by `Stop`.
    std::function<Reference<FolderItem>(bool ends)> NextRecordingFile;

    // Properties that windows touch.
    bool isActive = false;         ///< whether a movie is being recorded
    bool ColorBars = false;        ///< without a picture: colour bars instead of the caption on blue
    String BlueScreenCaption = ""; ///< what the blue screen says
    bool EnableVideo = true;       ///< read by `VideoEnabled`
    bool EnableSound = false;      ///< read by `SoundEnabled`
    bool UseDataProc = false;      ///< data procedure mode; set it before `Initialize`
    String LastError = "";         ///< the last failure of `Destructor` as text

    // Session (capture/VelmoraCanvas.cpp).
    /// Opens the session: the first free camera and microphone, in the mode that `UseDataProc` chooses, and starts the
    /// poll timer. A failure shows in the trace; the control then paints itself inactive.
    virtual void Initialize();
    /// Starts and stops the timer that hands over what the devices have delivered. While it is stopped nothing is shown
    /// and nothing recorded.
    virtual void StartPollTimer();
    virtual void StopPollTimer();
    /// Releases the session: device lists, channels, component, image sequences and the key. Reports each refusal in
    /// `LastError` and `Error`.
    virtual void Destructor();
    /// Hands over what the devices have delivered, as the poll timer does every 10 ms.
    virtual void Idle();
    /// The control's rectangle in window coordinates: an 8-byte `Rect`.
    virtual Reference<MemoryBlock> GetRect();
    /// Ends the image sequences; the next frame builds them anew at the present size.
    virtual void Resize();

    // Preview and pause (capture/PreviewAndPause.cpp).
    /// Whether the session is held: while it is, no picture and no sound passes.
    virtual void Pause(bool value);
    virtual bool Pause();
    /// How the video channel plays, as flags that `PreviewModeName` names one by one; a negative result code when it
    /// can't be read.
    virtual int32_t PreviewMode();
    virtual void PreviewMode(int32_t flags);
    /// The name of one flag, "Channel Play Normal" for none; empty for a sum of flags.
    virtual String PreviewModeName(int32_t flags);
    /// Whether the live picture runs. In data procedure mode, asking raises `Error` with 0 on success.
    virtual bool VideoPreview();
    virtual void VideoPreview(bool value);
    /// Whether the picture is shown while a movie is recorded in direct mode. False spares the decoding of every frame.
    virtual bool PreviewWhileRecording();
    virtual void PreviewWhileRecording(bool value);

    // Channel enabling (capture/ChannelSetUp.cpp).
    /// Whether the session is to have a video channel. Setting it makes a new channel or disposes of the present one.
    virtual bool VideoEnabled();
    virtual void VideoEnabled(bool value);
    /// The same for sound; a new sound channel leaves the running session alone.
    virtual bool SoundEnabled();
    virtual void SoundEnabled(bool value);

    // Recording (recording/RecordingControl.cpp).
    /// Begins a recording into `file`, replacing it; nil does nothing.
    virtual void Record(const Reference<FolderItem>& file);
    /// Ends a recording; in data procedure mode the movie is finished and the live picture goes on.
    virtual void Stop();
    /// Stops and releases the grabber and starts preview, in both modes; the result of the start. Finishes no movie.
    virtual int32_t StopWithResult();
    /// Whether the grabber is in record mode; in data procedure mode it is so while the live picture runs. Raises
    /// `Error` with 0 on success. `Status` says whether a movie is being recorded.
    virtual bool RecordState();
    /// Limits of the next recordings; `NextRecordingFile` answers where they are reached.
    RecordingLimits Limits;
    /// How the recording in progress goes (recording/RecordingStatus.cpp). Cheap: meant to be asked twice a second.
    virtual RecordingStatus Status();
    /// The frames lost since the last call, one by one.
    virtual std::vector<LostFrame> TakeLostFrames();

    // Still pictures (recording/PictureGrabbing.cpp).
    /// The present picture; nil before the first frame. In data procedure mode the size is the frame's own.
    virtual Reference<Picture> GrabPicture(int32_t width, int32_t height);

    // Video format (recording/VideoFormat.cpp).
    /// Width and height of the standard source, 640 and 480 pixels, whatever the camera delivers: see `VideoWidth`.
    virtual int32_t VideoSourceWidth();
    virtual int32_t VideoSourceHeight();
    /// Width and height in pixels of the frames that the camera delivers.
    virtual int32_t VideoWidth();
    virtual int32_t VideoHeight();
    /// Size of the next movie's video track, in pixels.
    virtual void VideoRecordSize(int32_t width, int32_t height);
    /// The compressor by its four-character code, such as "jpeg" or "avc1". Reading gives the bytes as they lie in
    /// memory: on a little-endian machine the characters come in reverse order.
    virtual String VideoCompressionType();
    virtual void VideoCompressionType(const String& code);
    /// Bits of a pixel in the movie, as the compressor stores it: 24, or 32 with alpha.
    virtual int32_t VideoDepth();
    virtual void VideoDepth(int32_t bits);
    /// A key frame each so many frames, for compressors that have frames between them; 0: as is usual.
    virtual int32_t VideoKeyFrameRate();
    virtual void VideoKeyFrameRate(int32_t frames);
    /// Quality of a picture, 0 to 1024; 512 is normal.
    virtual int32_t VideoSpatialQuality();
    virtual void VideoSpatialQuality(int32_t quality);
    /// Quality of the frames between key frames, 0 to 1024; 512 is normal.
    virtual int32_t VideoTemporalQuality();
    virtual void VideoTemporalQuality(int32_t quality);
    /// Frames a second. The camera takes the nearest rate that it has.
    virtual double VideoFrameRate();
    virtual void VideoFrameRate(double framesPerSecond);
    /// Asks the camera for frames of that size; the nearest that it has is taken.
    virtual void VideoCaptureSize(int32_t width, int32_t height);
    /// Asks the camera for frames of that layout or codec, at the present size where it has that.
    virtual void VideoCaptureFormat(int32_t format);
    /// The platform's number of the camera in use, for what else the platform can do with it.
    virtual int32_t VideoDigitizer();
    /// The frames delivered and lost since the session was last started.
    virtual CaptureCounts VideoCounts();
    /// Units a second in which the video channel counts time; 0 without a channel.
    virtual int32_t VideoTimeScale();
    /// Units a second in which the sound channel counts time: its sample rate. 0 without a channel.
    virtual int32_t SoundTimeScale();

    // Transforms of the live picture (recording/Transforms.cpp).
    /// Whether the live picture is mirrored left to right. What is recorded is never transformed.
    virtual bool VideoFlipHorizontal();
    virtual void VideoFlipHorizontal(bool value);
    /// Whether the live picture is turned upside down.
    virtual bool VideoFlipVertical();
    virtual void VideoFlipVertical(bool value);
    /// Whether the live picture is rotated about its middle.
    virtual bool VideoRotate();
    virtual void VideoRotate(bool on, int32_t angle); ///< `angle` in degrees

    // Devices (devices/ChannelDevices.cpp).
    /// How many cameras are listed, the Test Pattern among them; a negative result code on failure.
    virtual int32_t VideoDeviceCount();
    /// A camera by its place from 0: the length of its name as one byte, the name, the number of inputs and their
    /// names. Empty on failure.
    virtual String VideoDevice(int32_t index);
    /// The name of the camera in use.
    virtual String VideoDeviceName();
    /// The place of the camera in use, from 0; negative when it is not in the list.
    virtual int32_t VideoDeviceSelected();
    /// Whether the camera at that place is free to be used.
    virtual bool VideoDeviceAvailable(int32_t index);
    /// Why the device in use does not deliver, or not as requested: a sentence for people; empty when all is well.
    std::string VideoDeviceReason();
    /// Always 0: the inputs are in the text of `VideoDevice`.
    virtual int32_t VideoDeviceInputCount(int32_t index);
    /// How many sound sources are listed, the Test Tone among them; a negative result code on failure.
    virtual int32_t SoundDeviceCount();
    /// The name of a sound source by its place from 0. Empty on failure.
    virtual String SoundDevice(int32_t index);
    /// The name of the sound source in use.
    virtual String SoundDeviceName();
    /// Whether the sound source at that place is free to be used.
    virtual bool SoundDeviceAvailable(int32_t index);
    std::string SoundDeviceReason(); ///< the same of the microphone
    /// Takes the device of that name; 0, or the platform's code, which is not an event.
    virtual int32_t ChooseVideoDevice(const String& name);
    virtual int32_t ChooseSoundDevice(const String& name);
    /// The input of the sound source, such as a microphone or line socket.
    virtual int32_t SoundInput(); ///< from 0, or -1
    virtual void SoundInput(int32_t index);

    // Sound (devices/SoundParameters.cpp).
    /// The sound compressor by its four-character code, such as "sowt" or "ulaw".
    virtual String SoundCompressionType();
    virtual void SoundCompressionType(const String& code);
    /// 1 for mono, 2 for stereo.
    virtual int32_t SoundChannelCount();
    virtual void SoundChannelCount(int32_t channels);
    /// The size of a sample: 8 or 16.
    virtual int32_t SoundSampleSize(); ///< bits
    virtual void SoundSampleSize(int32_t bits);
    /// The sample rate.
    virtual int32_t SoundSampleRate(); ///< samples a second
    virtual void SoundSampleRate(int32_t rate);
    /// The volume of the sound channel.
    virtual int32_t SoundVolume(); ///< 256 is full
    virtual void SoundVolume(int32_t volume);
    /// The gain of the sound source as a factor; 1 is its normal level.
    virtual double SoundInputGain();
    virtual void SoundInputGain(double gain);

    // Level meter (devices/SoundLevelMeter.cpp).
    /// Whether the source measures its level, for the properties below.
    virtual bool SoundLevelMeterActive();
    virtual void SoundLevelMeterActive(bool value);
    /// The low half of the source's gain as a fixed-point number, not a count.
    virtual int32_t SoundLevelMeterChannelCount();
    /// The level of each side; both are the same for a mono source.
    virtual int32_t SoundLevelMeterLeft();  ///< the driver's level, 0 to 100 of full scale
    virtual int32_t SoundLevelMeterRight(); ///< likewise

    // Analog image controls, 0 to 65535 (devices/AnalogImageControls.cpp).
    /// Brightness: its value, the limits of the values, and the value that the device starts with.
    virtual int32_t VideoBrightness();
    virtual void VideoBrightness(int32_t value);
    virtual int32_t VideoBrightnessMin();
    virtual int32_t VideoBrightnessMax();
    virtual int32_t VideoBrightnessDefault();
    /// Hue: its value, the limits of the values, and the value that the device starts with.
    virtual int32_t VideoHue();
    virtual void VideoHue(int32_t value);
    virtual int32_t VideoHueMin();
    virtual int32_t VideoHueMax();
    virtual int32_t VideoHueDefault();
    /// Contrast: its value, the limits of the values, and the value that the device starts with.
    virtual int32_t VideoContrast();
    virtual void VideoContrast(int32_t value);
    virtual int32_t VideoContrastMin();
    virtual int32_t VideoContrastMax();
    virtual int32_t VideoContrastDefault();
    /// Saturation, of the colours: its value, the limits of the values, and the value that the device starts with.
    virtual int32_t VideoSaturation();
    virtual void VideoSaturation(int32_t value);
    virtual int32_t VideoSaturationMin();
    virtual int32_t VideoSaturationMax();
    virtual int32_t VideoSaturationDefault();
    /// Sharpness: its value, the limits of the values, and the value that the device starts with.
    virtual int32_t VideoSharpness();
    virtual void VideoSharpness(int32_t value);
    virtual int32_t VideoSharpnessMin();
    virtual int32_t VideoSharpnessMax();
    virtual int32_t VideoSharpnessDefault();
    /// White level: its value, the limits of the values, and the value that the device starts with.
    virtual int32_t VideoWhiteLevel();
    virtual void VideoWhiteLevel(int32_t value);
    virtual int32_t VideoWhiteLevelMin();
    virtual int32_t VideoWhiteLevelMax();
    virtual int32_t VideoWhiteLevelDefault();

    // Settings (devices/SettingsAndDialogs.cpp).
    /// Shows the dialog for camera, compressor and image, and returns when it is closed. Cancel puts back what was
    /// changed.
    virtual void ShowVideoSettingsDialog();
    virtual String ShowVideoSettingsDialogForName(); ///< the video device's name after the dialog
    /// The same for the sound source, its format and compressor.
    virtual void ShowSoundSettingsDialog();
    virtual String ShowSoundSettingsDialogForName();
    /// The whole session's settings as plain bytes; empty on failure.
    virtual String UserSettings();
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
    /// bus. Its answer is not looked at.
    virtual void DeviceControlAVCCommand(int32_t ctype, int32_t subunit, int32_t opcode, int32_t operand);
    /// Raises `NilObjectException`: the data handler that it asks is opened by no one.
    virtual Reference<MemoryBlock> DeviceControlAVCQuery(int32_t ctype, int32_t subunit, int32_t opcode,
                                                         int32_t operand);
    /// What the tape is doing. They ask by `DeviceControlAVCQuery`, and so raise what it raises.
    virtual bool DeviceIsLoading();
    virtual bool DeviceIsPlaying();
    virtual bool DeviceIsRecording();
    virtual bool DeviceIsWinding();

    // IIDC features (devices/IIDCFeatures.cpp).
    /// Sets a feature by its code (1394 TA, IIDC 1.31), such as "zoom", in the camera's own units.
    virtual void IIDCFeature(OSType feature, int32_t value);
    /// The limits of a feature and its value; -1 where the camera does not have it.
    virtual int32_t IIDCFeatureMaximum(OSType feature);
    virtual int32_t IIDCFeatureMinimum(OSType feature);
    virtual int32_t IIDCFeatureValue(OSType feature);
    /// Whether the camera in use can be asked for features at all; `isIIDCFeatureSupported` says which it has.
    virtual bool isIIDC();
    /// Whether the camera has a feature. The name is for the caller alone.
    virtual bool isIIDCFeatureSupported(const String& name, OSType feature);

    /// Every control by its key, which the data procedure gets as its last argument.
    static Reference<framework::Dictionary<VelmoraCanvas>> SeqGrabbers;

    /// A four-character code as a signed number, first character in the most significant byte; -1 for any other length.
    static int32_t OSTypeToLong(const String& code);

protected:
    void Event_Open() override;
    void Event_Close() override;
    void Event_Paint(Graphics& graphics) override;

private:
    friend struct VelmoraCanvasInspector; // lets tests read the state that the operations keep

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
    void StartWishedPreview();

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
    void GoOnIn(const Reference<FolderItem>& file);
    void BeginTally(const FolderItem& file);
    void CountInTally(RecordingStatus& status);
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
    int32_t FindVideoMode(int32_t container, int32_t devices);
    bool IsVideoMode(int32_t container, int32_t mode);
    void SendToVideoDevice(int32_t instance, const MemoryBlock& frame);
    bool IsTransportMode(int32_t mode);

    // IIDC features (devices/IIDCFeatures.cpp).
    struct FeatureSettings;
    bool FetchFeature(OSType feature, FeatureSettings& settings);
    int32_t RawLimit(OSType feature, int32_t offset);

    static bool SeqGrabberModalFilterProc(int32_t dialog, int32_t event, int32_t itemHit, int32_t refCon);

    void RaiseError(int32_t result);
    void RaiseFailure(int32_t result); // an `Error` unless the result is 0
    void RaiseRecordingChanged(bool recording);

    int32_t theSGComp = 0;      // -1 while it is being opened; below 1: no session
    int32_t sgVideoChannel = 0; // -1 while channel set-up runs
    bool mPauseEnabled = false;
    int32_t sgSoundChannel = 0;
    int32_t previewMode = 0;
    int32_t inDevNum = 0; // only told in a trace; operations ask for the driver afresh
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
    bool watchesLimits = false; // the session has been told of `Limits`
};

} // namespace velmora
