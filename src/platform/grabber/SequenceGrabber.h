// SPDX-License-Identifier: MIT
#pragma once

#include "platform/components/Components.h"
#include "platform/memory/AddressSpace.h"
#include "platform/memory/FixedPoint.h"
#include "platform/memory/FourCharCode.h"
#include "platform/memory/ResultCodes.h"
#include "platform/movies/Movies.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace platform {

// The Sequence Grabber captures from one video and one sound device and previews, hands on or records what comes.
// A session is a component instance of type "barg"; channels belong to a session. All calls are made on the main
// thread. Every call answers `badComponentInstance` for a number that is no session and `badSGChannel` for one that
// is no living channel. Addresses that can't be written to give `paramErr`.

using SGComponent = ComponentInstance;
using SGChannel = int32_t;

// Channel usage bits.
inline constexpr int32_t seqGrabRecord = 1;
inline constexpr int32_t seqGrabPreview = 2;
inline constexpr int32_t seqGrabPlayDuringRecord = 4;

// Where a recording goes (`SGSetDataOutput`, `SGSetDataRef`).
inline constexpr int32_t seqGrabToDisk = 1;
inline constexpr int32_t seqGrabAppendToFile = 8;
inline constexpr int32_t seqGrabDontMakeMovie = 32;

// What a channel has (`SGGetChannelInfo`).
inline constexpr int32_t seqGrabHasBounds = 1;
inline constexpr int32_t seqGrabHasVolume = 2;

// Write types of the data procedure.
inline constexpr int16_t seqGrabWriteAppend = 0;
inline constexpr int16_t seqGrabWriteReserve = 1;
inline constexpr int16_t seqGrabWriteFill = 2;

/// Takes one captured buffer: `p` holds `len` bytes in the channel's present sample description and is borrowed for
/// the length of the call. `time` is the capture time in the channel's time scale, from the first buffer of the
/// session's life on; it runs on over stops and pauses. A result other than 0 stops the session and is the result of
/// the `SGIdle` that delivered.
using SGDataProc = int32_t (*)(SGChannel channel, Address p, int32_t len, Address offset, int32_t chRefCon,
                               int32_t time, int16_t writeType, int32_t refCon);

// The session.

/// Makes an opened session ready: no channels, no output, all stopped. Once per session; again it is
/// `cantDoThatInCurrentMode`.
Result SGInitialize(SGComponent session);

/// Names the port that previews are drawn into and recorded frames are sized for; `device` is 0.
Result SGSetGWorld(SGComponent session, int32_t port, int32_t device);

/// Says where the next recording goes: a data reference handle and its type (0 for none) and the flags above. One
/// output serves one recording. `paramErr` for neither an output nor `seqGrabDontMakeMovie`,
/// `cantDoThatInCurrentMode` while such a movie is being recorded.
Result SGSetDataRef(SGComponent session, int32_t dataRef, FourCharCode dataRefType, int32_t whereFlags);

/// The same with a file specification record at `file`: 16-bit volume, 32-bit directory, Pascal string name.
/// `bdNamErr` for an empty name, `dirNFErr` for an unknown directory.
Result SGSetDataOutput(SGComponent session, Address file, int32_t whereFlags);

/// Makes a callback of a data procedure; it needs no release.
int32_t NewSGDataUPP(SGDataProc procedure);

/// Installs a callback (0: none) that receives each recorded buffer, with `refCon` as its last argument.
Result SGSetDataProc(SGComponent session, int32_t callback, int32_t refCon);

/// Gives the session time: draws previews, hands waiting samples over in the order of their capture times, takes up
/// devices that came back. Sound comes in pieces of at most 10 ms that end no later than the next frame's time, and
/// without holes: silence replaces what the source lost, pauses and stops. The first frame of a session's
/// life comes before all sound, and behind it one piece of 200 ms of silence that ends at its time.
/// Result: 0, the data procedure's, or the failure of a device or of the grabber's own movie since the last call.
Result SGIdle(SGComponent session);

/// Readies the devices for preview and/or record (each 0 or 1). `noDeviceForChannel` where a channel's device is gone.
Result SGPrepare(SGComponent session, int32_t forPreview, int32_t forRecord);

/// Undoes `SGPrepare`: devices are released. Stops the session first.
Result SGRelease(SGComponent session);

/// Starts previewing on all channels whose usage says so; ends a pause. A running recording is stopped first.
Result SGStartPreview(SGComponent session);

/// Starts recording on all channels whose usage says so; ends a pause and a preview. With an output that isn't used up
/// yet, a movie is written there (`dupFNErr` where `seqGrabAppendToFile` meets a file that holds anything); without
/// one and without a data procedure, nothing is kept. What runs already goes on running.
Result SGStartRecord(SGComponent session);

/// Stops whatever runs; a movie being recorded is finished and its failure is the result. 0 when nothing runs.
Result SGStop(SGComponent session);

/// Pauses (1) or goes on (0). A paused session's devices run on; what they deliver is dropped, uncounted as lost. The
/// count of time runs on.
Result SGPause(SGComponent session, int32_t pause);

/// Writes the mode as one byte each (0 or 1), zeros behind it up to 4 bytes: previewing and recording. A paused
/// session keeps its mode.
Result SGGetMode(SGComponent session, Address previewMode, Address recordMode);

/// Grabs the present picture at the size of the rectangle at `bounds` into a new picture handle (32-bit pixels behind
/// an image description), written as 32 bits at `picture`. The caller disposes it. `offscreenDepth` is 0.
/// `seqGrabInfoNotAvailable` before the first frame or without a video channel.
Result SGGrabPict(SGComponent session, Address picture, Address bounds, int16_t offscreenDepth, int32_t flags);

// Channels.

/// Makes a channel of type "vide" or "soun" on the session's default device and writes its number as 32 bits at
/// `channel` (0 on failure). `couldntGetRequiredComponent` for another type.
Result SGNewChannel(SGComponent session, FourCharCode type, Address channel);

/// Ends a channel, also while the session runs: the others go on. `badSGChannel` for a channel of another session.
Result SGDisposeChannel(SGComponent session, SGChannel channel);

/// Writes the number of the session's channel `index` (from 1) and its type as 32 bits each. `badSGChannel` past the
/// last one.
Result SGGetIndChannel(SGComponent session, int16_t index, Address channel, Address type);

/// Sets the usage bits; they count from the next start, or at once for playing during record.
Result SGSetChannelUsage(SGChannel channel, int32_t usage);
/// Writes the usage bits as 32 bits.
Result SGGetChannelUsage(SGChannel channel, Address usage);

/// Writes what a channel has as 32 bits: bounds (video) or volume (sound).
Result SGGetChannelInfo(SGChannel channel, Address info);

/// The rectangle (top, left, bottom, right, 16 bits each) within the session's port that previews are drawn into.
/// `paramErr` for an empty one; `badSGChannel` for a sound channel.
Result SGSetChannelBounds(SGChannel channel, Address bounds);
/// Writes the rectangle.
Result SGGetChannelBounds(SGChannel channel, Address bounds);

/// How a channel plays: a sum of flags, 0 normal. Stored and returned, without effect.
Result SGSetChannelPlayFlags(SGChannel channel, int32_t flags);
/// Writes the flags as 32 bits.
Result SGGetChannelPlayFlags(SGChannel channel, Address flags);

/// The volume at which a sound channel plays, signed 16 bits, 256 is full. `badSGChannel` for a video channel.
Result SGSetChannelVolume(SGChannel channel, int16_t volume);
/// Writes the volume as 16 bits.
Result SGGetChannelVolume(SGChannel channel, Address volume);

/// Units per second of the channel's times, as 32 bits: 600 for video, the sample rate for sound.
Result SGGetChannelTimeScale(SGChannel channel, Address scale);

/// Fills the handle with the description of the buffer being delivered, or of the newest one outside of a delivery:
/// an image description, or a sound description of 36 bytes in host byte order (channels at 24, sample size at 26,
/// rate at 32). `seqGrabInfoNotAvailable` while there is none.
Result SGGetChannelSampleDescription(SGChannel channel, int32_t handle);

// Video.

/// An open instance of the channel's digitizer, for the VD calls. It lives as long as the channel uses that device.
/// A negative result code for a dead channel.
ComponentInstance SGGetVideoDigitizerComponent(SGChannel channel);

/// The rectangle of what the source delivers, and the part of it in use: both the frame's own size from 0, 0.
Result SGGetSrcVideoBounds(SGChannel channel, Address rect);
/// The part of it in use; the same rectangle.
Result SGGetVideoRect(SGChannel channel, Address rect);

/// The compressor by its code, as 32 bits in host byte order. Setting an unknown one is `noCodecErr`.
Result SGSetVideoCompressorType(SGChannel channel, FourCharCode compressor);
/// Writes the compressor's code as 32 bits.
Result SGGetVideoCompressorType(SGChannel channel, Address compressor);

/// The compressor's settings. Writing: `depth` in bits (0 leaves it), `compressor` 0 leaves it, qualities 0 to 1024
/// and a key frame rate of 0 to 65535: a value outside of its range leaves that setting as it is, and so one value
/// can be set alone. Reading: depth as 16 bits, the others as 32, each address may be 0.
Result SGSetVideoCompressor(SGChannel channel, int16_t depth, FourCharCode compressor, int32_t spatialQuality,
                            int32_t temporalQuality, int32_t keyFrameRate);
/// Reads the compressor's settings.
Result SGGetVideoCompressor(SGChannel channel, Address depth, Address compressor, Address spatialQuality,
                            Address temporalQuality, Address keyFrameRate);

/// Frames a second. Setting takes the nearest rate that the device has at its present size; 0 asks for the fastest.
/// `paramErr` for a negative rate. Reading gives the rate in use as 32 bits.
Result SGSetFrameRate(SGChannel channel, Fixed rate);
/// Writes the rate in use as `Fixed`.
Result SGGetFrameRate(SGChannel channel, Address rate);

// Sound.

/// The driver of the channel's source, for the SPB calls: a number above 0, or 0 for a dead channel.
int32_t SGGetSoundInputDriver(SGChannel channel);

/// Sample size (8, 16 or 24), channels (1 or 2) and format: "raw " (8 bits unsigned), "twos" (big-endian), "sowt"
/// (little-endian), "ulaw", "alaw". "raw " at 16 bits delivers "sowt", and these three at 24 bits "in24". Takes effect
/// at the next buffer. What the source can't do gives its code and changes nothing. Reading: 16, 16 and 32 bits.
Result SGSetSoundInputParameters(SGChannel channel, int16_t sampleSize, int16_t channels, FourCharCode compression);
/// Reads the parameters.
Result SGGetSoundInputParameters(SGChannel channel, Address sampleSize, Address channels, Address compression);

/// Samples a second as unsigned `Fixed`. `siInvalidSampleRate` outside of 8000 to 48000, `cantDoThatInCurrentMode`
/// while the grabber writes a movie.
Result SGSetSoundInputRate(SGChannel channel, Fixed rate);
/// The sample rate in hertz as unsigned `Fixed`.
Fixed SGGetSoundInputRate(SGChannel channel);

/// A handle with a list of `Fixed` rates that the channel is to offer besides the source's own. Copied.
Result SGSetAdditionalSoundRates(SGChannel channel, int32_t rates);

// Devices.

/// Makes a list of the channel's devices as a handle, written as 32 bits at `list`; `SGDisposeDeviceList` gives it
/// back, and the end of the session those that were not given back. The selected index is -1 where the device in use
/// has gone from the list. Flags: 4 includes each device's inputs. Records in host byte order; list: count (16 bits),
/// selected index (16), 4 reserved, then 80 bytes a device: name (Pascal string in 64), icon, flags (32 bits at 68; 1:
/// unavailable), reference, handle of the input list or 0. Input list: count, selected, 4 reserved, then 76 bytes an
/// input: name in 64, icon, flags, reserved.
Result SGGetChannelDeviceList(SGChannel channel, int32_t flags, Address list);
/// Disposes a device list. `paramErr` for a list that is not of this session.
Result SGDisposeDeviceList(SGComponent session, int32_t list);

/// Takes the device of that name (Pascal string at `name`); the session's other channels go on.
Result SGSetChannelDevice(SGChannel channel, Address name);

/// Writes the names of the device and input in use as Pascal strings (room for 255 bytes each; either address may be
/// 0) and the input's number, from 0, as 16 bits.
Result SGGetChannelDeviceAndInputNames(SGChannel channel, Address device, Address input, Address inputNumber);

// Settings.

/// Makes user data of the whole session's settings and writes its number as 32 bits at `settings`; the caller
/// disposes it with `DisposeUserData`. `flags` is 0.
Result SGGetSettings(SGComponent session, Address settings, int32_t flags);

/// Replaces the session's channels by ones with the settings given, as far as this machine can meet them. A failure
/// (`paramErr` for user data that holds none, `cantDoThatInCurrentMode` while the grabber writes a movie) leaves the
/// session as it was.
Result SGSetSettings(SGComponent session, int32_t settings, int32_t flags);

/// Called for each event of a dialog before the dialog itself; 1 takes the event away.
using SGModalFilterProc = bool (*)(int32_t dialog, int32_t event, int32_t itemHit, int32_t refCon);
/// Creates a callback from a procedure; `DisposeSGModalFilterUPP` is optional.
int32_t NewSGModalFilterUPP(SGModalFilterProc procedure);
/// Does nothing: callbacks need not be released.
void DisposeSGModalFilterUPP(int32_t filter);

/// Shows the settings dialog of one channel and returns when the user has closed it: 0 after OK, `userCanceledErr`
/// after Cancel, which has put everything back.
Result SGSettingsDialog(SGComponent session, SGChannel channel, int16_t panelCount, Address panels, int32_t flags,
                        int32_t filter, int32_t refCon);
inline constexpr Result userCanceledErr = -128;

// Beyond the published calls.

/// Counts of one channel since its session was last started.
struct SGChannelCounts {
    uint64_t delivered = 0;      ///< buffers handed over
    uint64_t droppedInQueue = 0; ///< buffers given up because the queue was full
    uint64_t lostBeforeUs = 0;   ///< frames or sample frames that the device says it lost
    uint64_t unreadable = 0;     ///< frames that could not be compressed because they do not decode
    uint64_t damaged = 0;        ///< frames kept out because they are incomplete in their own format
    uint64_t incomplete = 0;     ///< frames taken of which parts were lost on the way
    uint64_t notShown = 0;       ///< frames handed over whose pictures were skipped because newer ones waited
    int64_t awayNanoseconds = 0; ///< how long the device was away, the present outage included
    bool away = false;           ///< the device is away now
};
/// The counts of a channel since its session was started; zeros for an invalid reference.
SGChannelCounts SGGetChannelCounts(SGChannel channel);

/// Why the channel's device does not deliver, or not as requested (held by another program, not allowed, no bandwidth,
/// muted): a sentence for people, UTF-8. Empty when all is well.
std::string SGGetChannelReason(SGChannel channel);

/// The state of the movie that the grabber itself writes. False while it writes none.
bool SGGetRecordingStatus(SGComponent session, MovieStorageStatus& status);

/// Asks a video channel's device for frames of that size in pixels; the nearest that it has is taken, at its present
/// rate or the nearest to it. `paramErr` for a side below 1, else the device's own refusal.
Result SGSetVideoFrameSize(SGChannel channel, int32_t width, int32_t height);

/// Asks a video channel's device for frames in that pixel format or codec, at its present size and the nearest rate.
/// The nearest that the device has is taken, and its size counts more than its format.
Result SGSetVideoFrameFormat(SGChannel channel, FourCharCode format);

/// Where a recording goes on in another file, and where it ends; 0: no limit.
struct SGSplitRule {
    int64_t fileNanoseconds = 0; ///< of each file, from its first frame on
    int64_t fileBytes = 0;       ///< of each file, as far as the frames up to a key frame allow
    int64_t nanoseconds = 0;     ///< of the whole recording, from its first frame on
    int64_t frames = 0;          ///< of the whole recording
};

/// Called on the main thread between two frames of a recording: the frame that comes next begins another file or, with
/// `ends`, is the first one past the end. While the grabber writes the movie, the answer is the full path of the next
/// file; an empty one leaves the recording in its present file. With a data procedure the callee opens and closes its
/// movies itself, and the answer is ignored.
using SGSplitHandler = std::function<std::string(bool ends)>;

/// Sets the rule for the recording that begins next, or for the one that a data procedure makes from now on. Each file
/// begins with a frame that can be decoded by itself; every frame and every sample of sound is in one of the files. A
/// null handler: the recording is one file.
Result SGSetSplits(SGComponent session, const SGSplitRule& rule, SGSplitHandler handler);

/// A frame that was captured, or should have been, and is in no movie.
struct SGLostFrame {
    enum class Cause { Device, Queue, Unreadable, Damaged };
    int64_t captureTime = 0; ///< nanoseconds of the monotonic clock; of a frame the device lost, as it would have been
    Cause cause = Cause::Device;
};

/// The frames that a video channel lost since the last call, at most the first 100000 of them.
std::vector<SGLostFrame> SGTakeLostFrames(SGChannel channel);

/// Offers the component.
void StartSequenceGrabber();

} // namespace platform
