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

// The Sequence Grabber captures from one video and one sound device and previews, delivers or records the samples. A
// session is a component instance of type "barg"; channels belong to a session. All calls are made on the main thread.
// Every call returns `badComponentInstance` for a number that is not a session and `badSGChannel` for a number that is
// not a channel. Addresses that can't be written to give `paramErr`.

using SGComponent = ComponentInstance;
using SGChannel = int32_t;

// Channel usage bits.
inline constexpr int32_t seqGrabRecord = 1;
inline constexpr int32_t seqGrabPreview = 2;
inline constexpr int32_t seqGrabPlayDuringRecord = 4;

// Flags for the output of a recording (`SGSetDataOutput`, `SGSetDataRef`).
inline constexpr int32_t seqGrabToDisk = 1;
inline constexpr int32_t seqGrabAppendToFile = 8;
inline constexpr int32_t seqGrabDontMakeMovie = 32;

// Properties of a channel (`SGGetChannelInfo`).
inline constexpr int32_t seqGrabHasBounds = 1;
inline constexpr int32_t seqGrabHasVolume = 2;

// Write types of the data procedure.
inline constexpr int16_t seqGrabWriteAppend = 0;
inline constexpr int16_t seqGrabWriteReserve = 1;
inline constexpr int16_t seqGrabWriteFill = 2;

/// Receives one captured buffer: `p` holds `len` bytes in the channel's present sample description and is only valid
/// during the call. While no movie is being written, a frame that the grabber would have to compress is compressed when
/// its bytes are read; `len` is then an upper bound, and zeros follow the frame. `time` is the capture time in the
/// channel's time scale, counted from the first buffer of the session on, across stops and pauses. A result other than
/// 0 stops the session and is returned by the `SGIdle` that delivered the buffer.
using SGDataProc = int32_t (*)(SGChannel channel, Address p, int32_t len, Address offset, int32_t chRefCon,
                               int32_t time, int16_t writeType, int32_t refCon);

// The session.

/// Initializes an opened session: no channels, no output, stopped. Once per session; a second call returns
/// `cantDoThatInCurrentMode`.
Result SGInitialize(SGComponent session);

/// Sets the port into which previews are drawn and for which recorded frames are sized; `device` is 0.
Result SGSetGWorld(SGComponent session, int32_t port, int32_t device);

/// Sets the output of the next recording: a data reference handle and its type (0 for none) and the flags above. An
/// output is used for one recording. Returns `paramErr` for neither an output nor `seqGrabDontMakeMovie`,
/// `cantDoThatInCurrentMode` while such a movie is being recorded.
Result SGSetDataRef(SGComponent session, int32_t dataRef, FourCharCode dataRefType, int32_t whereFlags);

/// The same with a file specification record at `file`: 16-bit volume, 32-bit directory, Pascal string name. Returns
/// `bdNamErr` for an empty name, `dirNFErr` for an unknown directory.
Result SGSetDataOutput(SGComponent session, Address file, int32_t whereFlags);

/// Creates a callback of a data procedure; it need not be released.
int32_t NewSGDataUPP(SGDataProc procedure);

/// Installs a callback (0: none) that receives each recorded buffer, with `refCon` as its last argument.
Result SGSetDataProc(SGComponent session, int32_t callback, int32_t refCon);

/// Gives the session time: draws previews, delivers waiting samples in the order of their capture times, resumes
/// devices that have returned. Sound comes in pieces of at most 10 ms that end no later than the next frame's time, and
/// without gaps: silence replaces what the source lost, pauses and stops. A session's first frame precedes all sound
/// and is followed by one piece of 200 ms of silence that ends at its time. Returns 0, the data procedure's result, or
/// the failure of a device or of the grabber's own movie since the last call.
Result SGIdle(SGComponent session);

/// Prepares the devices for preview and/or record (each 0 or 1). Returns `noDeviceForChannel` if a channel's device is
/// gone.
Result SGPrepare(SGComponent session, int32_t forPreview, int32_t forRecord);

/// Undoes `SGPrepare`: releases the devices. Stops the session first.
Result SGRelease(SGComponent session);

/// Starts previewing on all channels with that usage; ends a pause. Stops a running recording first.
Result SGStartPreview(SGComponent session);

/// Starts recording on all channels with that usage; ends a pause and a preview. With an unused output, writes a movie
/// there (`dupFNErr` if `seqGrabAppendToFile` is set and the file is not empty); without an output and a data
/// procedure, samples are dropped. A session that is recording already continues.
Result SGStartRecord(SGComponent session);

/// Stops the session; completes a movie that is being recorded and returns its failure. Returns 0 if the session is
/// stopped.
Result SGStop(SGComponent session);

/// Pauses (1) or resumes (0). The devices of a paused session keep running; what they deliver is dropped and not
/// counted as lost. Time continues to be counted.
Result SGPause(SGComponent session, int32_t pause);

/// Writes the mode as one byte each (0 or 1), followed by zeros up to 4 bytes: previewing and recording. A paused
/// session keeps its mode.
Result SGGetMode(SGComponent session, Address previewMode, Address recordMode);

/// Grabs the present picture at the size of the rectangle at `bounds` into a new picture handle (an image description,
/// then 32-bit pixels), written as 32 bits at `picture`. The caller disposes it. `offscreenDepth` is 0. Returns
/// `seqGrabInfoNotAvailable` before the first frame or without a video channel.
Result SGGrabPict(SGComponent session, Address picture, Address bounds, int16_t offscreenDepth, int32_t flags);

// Channels.

/// Creates a channel of type "vide" or "soun" on the default device and writes its number as 32 bits at `channel` (0 on
/// failure). Returns `couldntGetRequiredComponent` for another type.
Result SGNewChannel(SGComponent session, FourCharCode type, Address channel);

/// Disposes a channel, even while the session runs; the others continue. `badSGChannel` for a channel of another
/// session.
Result SGDisposeChannel(SGComponent session, SGChannel channel);

/// Writes the number of the session's channel `index` (from 1) and its type as 32 bits each. Returns `badSGChannel` if
/// there are fewer channels.
Result SGGetIndChannel(SGComponent session, int16_t index, Address channel, Address type);

/// Sets the usage bits; they take effect at the next start, or at once for playing during record.
Result SGSetChannelUsage(SGChannel channel, int32_t usage);
/// Writes the usage bits as 32 bits.
Result SGGetChannelUsage(SGChannel channel, Address usage);

/// Writes the properties of a channel as 32 bits: bounds (video) or volume (sound).
Result SGGetChannelInfo(SGChannel channel, Address info);

/// Sets the rectangle (top, left, bottom, right, 16 bits each) in the session's port into which previews are drawn.
/// Returns `paramErr` for an empty one, `badSGChannel` for a sound channel.
Result SGSetChannelBounds(SGChannel channel, Address bounds);
/// Writes the rectangle.
Result SGGetChannelBounds(SGChannel channel, Address bounds);

/// Sets how a channel plays: a sum of flags, 0 is normal. Stored and returned, but without effect.
Result SGSetChannelPlayFlags(SGChannel channel, int32_t flags);
/// Writes the flags as 32 bits.
Result SGGetChannelPlayFlags(SGChannel channel, Address flags);

/// Sets the volume at which a sound channel plays, signed 16 bits, 256 is full. `badSGChannel` for a video channel.
Result SGSetChannelVolume(SGChannel channel, int16_t volume);
/// Writes the volume as 16 bits.
Result SGGetChannelVolume(SGChannel channel, Address volume);

/// Writes the channel's time scale in units per second, as 32 bits: 600 for video, the sample rate for sound.
Result SGGetChannelTimeScale(SGChannel channel, Address scale);

/// Fills the handle with the description of the buffer being delivered, or else of the newest one: an image
/// description, or a sound description of 36 bytes in host byte order (channels at 24, sample size at 26, rate at 32).
/// Returns `seqGrabInfoNotAvailable` if there is none yet.
Result SGGetChannelSampleDescription(SGChannel channel, int32_t handle);

// Video.

/// Returns an open instance of the channel's digitizer, for the VD calls. It lives as long as the channel uses that
/// device. A negative result code for an invalid channel.
ComponentInstance SGGetVideoDigitizerComponent(SGChannel channel);

/// Writes the rectangle of the source: the frame's size at 0, 0.
Result SGGetSrcVideoBounds(SGChannel channel, Address rect);
/// Writes the part of the source in use, which is the same rectangle.
Result SGGetVideoRect(SGChannel channel, Address rect);

/// Sets the compressor by its code, 32 bits in host byte order. `noCodecErr` for an unknown one.
Result SGSetVideoCompressorType(SGChannel channel, FourCharCode compressor);
/// Writes the compressor's code as 32 bits.
Result SGGetVideoCompressorType(SGChannel channel, Address compressor);

/// Sets the compressor's settings: `depth` in bits, `compressor` by its code (0 leaves either as it is), qualities from
/// 0 to 1024 and a key frame rate from 0 to 65535. A value outside of its range leaves that setting as it is, so that
/// one value can be set alone.
Result SGSetVideoCompressor(SGChannel channel, int16_t depth, FourCharCode compressor, int32_t spatialQuality,
                            int32_t temporalQuality, int32_t keyFrameRate);
/// Writes the compressor's settings: the depth as 16 bits, the others as 32; each address may be 0.
Result SGGetVideoCompressor(SGChannel channel, Address depth, Address compressor, Address spatialQuality,
                            Address temporalQuality, Address keyFrameRate);

/// Sets the frame rate in frames per second. Uses the nearest rate that the device supports at its present size; 0
/// requests the fastest. Returns `paramErr` for a negative rate.
Result SGSetFrameRate(SGChannel channel, Fixed rate);
/// Writes the rate in use as `Fixed`.
Result SGGetFrameRate(SGChannel channel, Address rate);

// Sound.

/// The driver of the channel's source, for the SPB calls: a number above 0, or 0 for an invalid channel.
int32_t SGGetSoundInputDriver(SGChannel channel);

/// Sets sample size (8, 16 or 24), channels (1 or 2) and format: "raw " (8 bits unsigned), "twos" (big-endian), "sowt"
/// (little-endian), "ulaw", "alaw". "raw " at 16 bits delivers "sowt", and these three at 24 bits "in24". Takes effect
/// at the next buffer. What the source does not support returns its code and changes nothing.
Result SGSetSoundInputParameters(SGChannel channel, int16_t sampleSize, int16_t channels, FourCharCode compression);
/// Writes the parameters: 16, 16 and 32 bits.
Result SGGetSoundInputParameters(SGChannel channel, Address sampleSize, Address channels, Address compression);

/// Sets the sample rate in hertz as unsigned `Fixed`. Returns `siInvalidSampleRate` outside of 8000 to 48000,
/// `cantDoThatInCurrentMode` while the grabber writes a movie.
Result SGSetSoundInputRate(SGChannel channel, Fixed rate);
/// Writes the sample rate in hertz as unsigned `Fixed`.
Fixed SGGetSoundInputRate(SGChannel channel);

/// Sets a list of `Fixed` rates, in a handle, that the channel offers besides the source's own. The list is copied.
Result SGSetAdditionalSoundRates(SGChannel channel, int32_t rates);

// Devices.

/// Creates a list of the channel's devices as a handle, written as 32 bits at `list`; `SGDisposeDeviceList` disposes
/// it, or the end of the session. The selected index is -1 if the device in use is no longer in the list. Flags: 4
/// includes each device's inputs. Records are in host byte order. List: count (16 bits), selected index (16), 4
/// reserved, then 80 bytes per device: name (Pascal string in 64), icon, flags (32 bits at 68; 1: unavailable),
/// reference, handle of the input list or 0. Input list: count, selected, 4 reserved, then 76 bytes per input: name in
/// 64, icon, flags, reserved.
Result SGGetChannelDeviceList(SGChannel channel, int32_t flags, Address list);
/// Disposes a device list. `paramErr` for a list that does not belong to this session.
Result SGDisposeDeviceList(SGComponent session, int32_t list);

/// Switches to the device of that name (Pascal string at `name`); the session's other channels continue.
Result SGSetChannelDevice(SGChannel channel, Address name);

/// Writes the names of the device and input in use as Pascal strings (255 bytes each; either address may be 0) and the
/// input's number, from 0, as 16 bits.
Result SGGetChannelDeviceAndInputNames(SGChannel channel, Address device, Address input, Address inputNumber);

// Settings.

/// Creates user data with the whole session's settings and writes its number as 32 bits at `settings`; the caller
/// disposes it with `DisposeUserData`. `flags` is 0.
Result SGGetSettings(SGComponent session, Address settings, int32_t flags);

/// Replaces the session's channels by ones with the given settings, as far as this machine supports them. A failure
/// (`paramErr` for user data without settings, `cantDoThatInCurrentMode` while the grabber writes a movie) changes
/// nothing.
Result SGSetSettings(SGComponent session, int32_t settings, int32_t flags);

/// Called for each event of a dialog before the dialog itself; return 1 to suppress the event.
using SGModalFilterProc = bool (*)(int32_t dialog, int32_t event, int32_t itemHit, int32_t refCon);
/// Creates a callback from a procedure; `DisposeSGModalFilterUPP` is optional.
int32_t NewSGModalFilterUPP(SGModalFilterProc procedure);
/// Does nothing: callbacks need not be released.
void DisposeSGModalFilterUPP(int32_t filter);

/// Shows the settings dialog of one channel and returns when the user has closed it: 0 after OK, `userCanceledErr`
/// after Cancel, which restores everything.
Result SGSettingsDialog(SGComponent session, SGChannel channel, int16_t panelCount, Address panels, int32_t flags,
                        int32_t filter, int32_t refCon);
inline constexpr Result userCanceledErr = -128;

// Extensions to the published calls.

/// Counts of one channel since its session was last started.
struct SGChannelCounts {
    uint64_t delivered = 0;      ///< buffers delivered
    uint64_t droppedInQueue = 0; ///< buffers dropped because the queue was full
    uint64_t lostBeforeUs = 0;   ///< frames or sample frames that the device reports as lost
    uint64_t unreadable = 0;     ///< frames that could not be compressed because they do not decode
    uint64_t damaged = 0;        ///< frames left out because they are incomplete in their own format
    uint64_t incomplete = 0;     ///< frames accepted although parts were lost in transfer
    uint64_t notShown = 0;       ///< frames delivered whose pictures were skipped because newer ones waited
    int64_t awayNanoseconds = 0; ///< how long the device was away, including the present outage
    bool away = false;           ///< the device is away at present
};
/// The counts of a channel since its session was started; zeros for an invalid reference.
SGChannelCounts SGGetChannelCounts(SGChannel channel);

/// Why the channel's device does not deliver, or not as requested (used by another program, no permission, no
/// bandwidth, muted): a sentence for the user, UTF-8. Empty if all is well.
std::string SGGetChannelReason(SGChannel channel);

/// The state of the movie that the grabber itself writes. Returns false if it writes none.
bool SGGetRecordingStatus(SGComponent session, MovieStorageStatus& status);

/// Requests a frame size in pixels from a video channel's device, which uses the nearest size that it supports, at its
/// present rate or the nearest to it. Returns `paramErr` for a side below 1, otherwise the device's result.
Result SGSetVideoFrameSize(SGChannel channel, int32_t width, int32_t height);

/// Requests a pixel format or codec from a video channel's device, at its present size and the nearest rate. The device
/// uses the nearest that it supports; the size takes precedence over the format.
Result SGSetVideoFrameFormat(SGChannel channel, FourCharCode format);

/// When a recording continues in another file, and when it ends; 0: no limit.
struct SGSplitRule {
    int64_t fileNanoseconds = 0; ///< per file, from its first frame on
    int64_t fileBytes = 0;       ///< per file, as far as the frames before the next key frame permit
    int64_t nanoseconds = 0;     ///< of the whole recording, from its first frame on
    int64_t frames = 0;          ///< in the whole recording
};

/// Called on the main thread between two frames of a recording: the next frame starts another file or, with `ends`, is
/// the first one after the end. While the grabber writes the movie, the handler returns the full path of the next file;
/// an empty path continues in the present file. With a data procedure the handler opens and closes its own movies, and
/// the result is ignored.
using SGSplitHandler = std::function<std::string(bool ends)>;

/// Sets the rule for the recording that starts next, or for the one that a data procedure makes from now on. Each file
/// starts with a frame that can be decoded on its own; every frame and every sample of sound is in one of the files.
/// With a null handler the recording is one file.
Result SGSetSplits(SGComponent session, const SGSplitRule& rule, SGSplitHandler handler);

/// A frame that was captured, or should have been, and is missing from the movie.
struct SGLostFrame {
    enum class Cause { Device, Queue, Unreadable, Damaged };
    int64_t captureTime = 0; ///< in nanoseconds, monotonic clock; of a frame that the device lost, an estimate
    Cause cause = Cause::Device;
};

/// The frames that a video channel lost since the last call, at most the first 100000 of them.
std::vector<SGLostFrame> SGTakeLostFrames(SGChannel channel);

/// Registers the component.
void StartSequenceGrabber();

} // namespace platform
