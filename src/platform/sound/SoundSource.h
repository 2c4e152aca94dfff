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

inline constexpr double kHighestGain = 4.0;

/// What is asked of a source and what it delivers: linear PCM in host byte order, interleaved.
struct SoundFormat {
    double sampleRate = 44100; ///< samples a second and channel
    int32_t channels = 2;      ///< 1 or 2
    int32_t sampleSize = 16;   ///< bits: 8 (unsigned, 128 is silence), 16 or 24 (signed)

    int32_t BytesPerFrame() const { return channels * sampleSize / 8; }
    bool operator==(const SoundFormat&) const = default;
};

/// Whether a format is one that sources are asked for: 8000 to 48000 samples a second, else `siInvalidSampleRate`; 8,
/// 16 or 24 bits, else `siInvalidSampleSize`; 1 or 2 channels, else `siBadSoundInDevice`.
inline Result CheckSoundFormat(const SoundFormat& format)
{
    if (!(format.sampleRate >= 8000 && format.sampleRate <= 48000))
        return siInvalidSampleRate;
    if (format.sampleSize != 8 && format.sampleSize != 16 && format.sampleSize != 24)
        return siInvalidSampleSize;
    return format.channels == 1 || format.channels == 2 ? noErr : siBadSoundInDevice;
}

/// Sound as it left the device. `bytes` is borrowed for the length of the call and holds whole sample frames.
struct CapturedSound {
    std::span<const uint8_t> bytes;
    SoundFormat format;
    int64_t captureTime = 0; ///< nanoseconds of the monotonic clock at which the first sample was captured
    uint64_t framesLost = 0; ///< sample frames that the source knows it lost just before these
};

/// Takes what a source delivers, on the source's thread.
class SoundSink {
public:
    virtual ~SoundSink() = default;
    virtual void SoundArrived(const CapturedSound& sound) = 0;
    virtual void SoundFailed(Result result) = 0;
};

/// One source of sound. Called on the main thread; `Stop` returns only when no further call of the sink can come.
class SoundSource {
public:
    virtual ~SoundSource() = default;

    virtual std::string Name() const = 0;     ///< for people, UTF-8
    virtual std::string Identity() const = 0; ///< the same on the next day

    virtual std::vector<std::string> Inputs() const { return {}; } ///< ports of the device
    virtual int Input() const { return 0; }                        ///< index of the port in use
    virtual Result SelectInput(int) { return siUnknownInfoType; }

    /// Gain as a factor, 0 to `kHighestGain`: 1.0 is the source's normal level. `siUnknownInfoType` where there is none
    /// to set, `paramErr` for a value out of range, `siInputDeviceErr` while the device is absent or doesn't answer.
    virtual Result GetGain(double&) const { return siUnknownInfoType; }
    virtual Result SetGain(double) { return siUnknownInfoType; }

    /// Balance of two channels, -1 (left only) to 1 (right only). `siUnknownInfoType` where there is none to set.
    virtual Result GetBalance(double&) const { return siUnknownInfoType; }
    virtual Result SetBalance(double) { return siUnknownInfoType; }

    /// Whether the device is muted outside of this program. As for the gain; `siUnknownInfoType` where there is no such
    /// switch.
    virtual Result GetMuted(bool&) const { return siUnknownInfoType; }
    virtual Result SetMuted(bool) { return siUnknownInfoType; }

    /// Why nothing or only silence comes: a sentence for people, UTF-8. Empty when all is well.
    virtual std::string Reason() const { return {}; }

    virtual SoundFormat Format() const = 0;

    /// 0 for a format that `SetFormat` takes, else the code with which it refuses.
    virtual Result CheckFormat(const SoundFormat& format) const { return CheckSoundFormat(format); }

    /// Takes effect at the next buffer while the source runs. `siInvalidSampleRate`, `siInvalidSampleSize` or
    /// `siBadSoundInDevice` for what it can't do, which changes nothing.
    virtual Result SetFormat(const SoundFormat& format) = 0;

    /// Starts delivery to `sink`, which outlives the stop. A device that is absent at the moment answers
    /// `noDeviceForChannel`, counts as started and is taken up when it returns. When the device goes away while it
    /// runs, or sends nothing for two seconds, the sink is told once and delivery goes on by itself once the device is
    /// back.
    virtual Result Start(SoundSink& sink) = 0;
    virtual void Stop() = 0;
};

struct SoundSourceEntry {
    std::string name;
    std::string identity;
    std::vector<std::string> inputs;
    bool available = true;
};

/// Lets the sound server be asked while the program goes on starting.
void PrepareSoundSources();

/// All sound sources: those of the sound server first (microphones before monitors, the default one leading its kind),
/// the Test Tone last.
std::vector<SoundSourceEntry> ListSoundSources();

/// Whether a sound server has been found that has not yet listed its sources: better ones than the Test Tone may come.
bool SoundSourcesAreDue();

/// Opens the source of that identity, else the first of that name, else the first in the list. Never null.
std::unique_ptr<SoundSource> OpenSoundSource(const std::string& identity = {}, const std::string& name = {});

/// Where sources come from: all of a kind, and one of them by its identity (null for an identity of another kind).
struct SoundSourceProvider {
    std::function<std::vector<SoundSourceEntry>()> list;
    std::function<std::unique_ptr<SoundSource>(const std::string& identity)> open;
};

/// Adds a kind of source that another room knows, such as camcorders: it stands between those of the sound server and
/// the Test Tone.
void AddSoundSources(SoundSourceProvider provider);

/// Replaces the whole list with one of the test's own making until it is called with empty functions.
void SetSoundSourceProvider(SoundSourceProvider provider);

} // namespace platform
