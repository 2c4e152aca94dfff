// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/FourCharCode.h"
#include "platform/memory/ResultCodes.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace platform {

inline constexpr double kMaxGain = 4.0;

/// The format of a source's sound: linear PCM in host byte order, interleaved.
struct SoundFormat {
    double sampleRate = 44100; ///< sample frames per second
    int32_t channels = 2;      ///< 1 or 2
    int32_t sampleSize = 16;   ///< bits: 8 (unsigned, 128 is silence), 16 or 24 (signed)

    int32_t BytesPerFrame() const { return channels * sampleSize / 8; } ///< bytes of one sample of all channels
    bool operator==(const SoundFormat&) const = default;
};

/// Checks the range of a format: 8000 to 48000 Hz, else `siInvalidSampleRate`; 8, 16 or 24 bits, else
/// `siInvalidSampleSize`; 1 or 2 channels, else `siBadSoundInDevice`.
inline Result CheckSoundFormat(const SoundFormat& format)
{
    if (!(format.sampleRate >= 8000 && format.sampleRate <= 48000))
        return siInvalidSampleRate;
    if (format.sampleSize != 8 && format.sampleSize != 16 && format.sampleSize != 24)
        return siInvalidSampleSize;
    return format.channels == 1 || format.channels == 2 ? noErr : siBadSoundInDevice;
}

/// A buffer of captured sound. `bytes` holds whole sample frames and is only valid during the call.
struct CapturedSound {
    std::span<const uint8_t> bytes;
    SoundFormat format;
    int64_t captureTime = 0; ///< of the first sample, in nanoseconds, monotonic clock
    uint64_t framesLost = 0; ///< sample frames that the source lost just before these
};

/// Receives the sound of a source, on the source's thread.
class SoundSink {
public:
    virtual ~SoundSink() = default;
    virtual void SoundArrived(const CapturedSound& sound) = 0; ///< a buffer was captured
    virtual void SoundFailed(Result result) = 0;               ///< an outage began; see `SoundSource::Start`
};

/// A sound source. All functions are called on the main thread.
class SoundSource {
public:
    virtual ~SoundSource() = default;

    virtual std::string Name() const = 0;     ///< for the user, UTF-8
    virtual std::string Identity() const = 0; ///< persistent identifier

    virtual std::vector<std::string> Inputs() const { return {}; } ///< names of the inputs, such as ports; may be empty
    virtual int Input() const { return 0; }                        ///< index of the input in use
    /// Selects an input by its index. `paramErr` if out of range, `siUnknownInfoType` if there are no inputs.
    virtual Result SelectInput(int) { return siUnknownInfoType; }

    /// Gets the gain as a factor, 0 to `kMaxGain`; 1.0 is the normal level. `siUnknownInfoType` if it is not
    /// adjustable, `siInputDeviceErr` while the device is absent.
    virtual Result GetGain(double&) const { return siUnknownInfoType; }
    /// Sets the gain. Also `paramErr` for a value out of range, `siInputDeviceErr` if the device does not respond.
    virtual Result SetGain(double) { return siUnknownInfoType; }

    /// Gets the balance, -1 (left only) to 1 (right only). Results as `GetGain`.
    virtual Result GetBalance(double&) const { return siUnknownInfoType; }
    /// Sets the balance. Results as `SetGain`.
    virtual Result SetBalance(double) { return siUnknownInfoType; }

    /// Gets whether the device is muted. Results as `GetGain`.
    virtual Result GetMuted(bool&) const { return siUnknownInfoType; }
    /// Mutes the device or not. Results as `SetGain`.
    virtual Result SetMuted(bool) { return siUnknownInfoType; }

    /// Why there is no sound, or only silence: a sentence for the user, UTF-8. Empty if all is well.
    virtual std::string Reason() const { return {}; }

    virtual SoundFormat Format() const = 0; ///< the present format

    /// The result that `SetFormat` would give.
    virtual Result CheckFormat(const SoundFormat& format) const { return CheckSoundFormat(format); }

    /// Sets the format. A source that runs drops what it has not delivered yet: nothing arrives in the old format once
    /// this function has returned. `siInvalidSampleRate`, `siInvalidSampleSize` or `siBadSoundInDevice` for a format
    /// that is not supported, which changes nothing.
    virtual Result SetFormat(const SoundFormat& format) = 0;

    /// Starts delivery to `sink`, which must stay valid until `Stop`. `noDeviceForChannel` if the device is absent; the
    /// source is started all the same and delivers when the device returns. If the device disappears while it runs, or
    /// delivers nothing for two seconds, `SoundFailed` is called once; delivery resumes when the device is back.
    virtual Result Start(SoundSink& sink) = 0;
    /// Stops delivery. Afterwards the sink is not called any more.
    virtual void Stop() = 0;
};

/// A sound source in the list of sources.
struct SoundSourceEntry {
    std::string name;
    std::string identity;
    std::vector<std::string> inputs;
    bool available = true;
};

/// Starts to connect to the sound server and returns at once.
void PrepareSoundSources();

/// All sound sources: those of the sound server (microphones before monitors, the default one of each kind first), then
/// added ones, the Test Tone last.
std::vector<SoundSourceEntry> ListSoundSources();

/// Whether a sound server has been found that has not yet listed its sources.
bool SoundSourcesArePending();

/// Opens the source of that identity, else the first one of that name, else the first in the list. Never null.
std::unique_ptr<SoundSource> OpenSoundSource(const std::string& identity = {}, const std::string& name = {});

/// Provides the sources of a kind: lists them, and opens one by its identity (null for an identity of another kind).
struct SoundSourceProvider {
    std::function<std::vector<SoundSourceEntry>()> list;
    std::function<std::unique_ptr<SoundSource>(const std::string& identity)> open;
};

/// Adds the sources of another module, such as camcorders. They are listed between those of the sound server and the
/// Test Tone.
void AddSoundSources(SoundSourceProvider provider);

/// Replaces the whole list, for tests; empty functions restore it.
void SetSoundSourceProvider(SoundSourceProvider provider);

} // namespace platform
