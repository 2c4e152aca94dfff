// SPDX-License-Identifier: MIT
#pragma once

#include "platform/grabber/Channel.h"
#include "platform/grabber/SoundStream.h"
#include "platform/sound/DriftCorrection.h"
#include "platform/sound/SoundInput.h"
#include "platform/sound/SoundWatcher.h"

#include <mutex>

namespace platform {

/// A channel over a sound source.
class SoundChannel final : public Channel, private SoundSink {
public:
    /// What a caller asked for; what is delivered follows from it (`FindSoundCoding`).
    struct Parameters {
        int16_t sampleSize = 16;
        int16_t channels = 2;
        FourCharCode compression = CodeOf("raw ");
    };

    /// A channel on a source, with the standard parameters.
    SoundChannel(SampleQueue& queue, std::shared_ptr<SoundSource> source);
    ~SoundChannel() override;

    /// A channel on the source of that identity or name, else on the default one. Where only the Test Tone is left,
    /// that stands in until a real source comes, and is silent as long as a sound server has not answered yet.
    static std::shared_ptr<SoundChannel> OnBestSource(SampleQueue& queue, const std::string& identity = {},
                                                      const std::string& name = {});

    /// Takes the source that the Test Tone stands in for, once there is one.
    void ReplaceStandIn();

    int32_t TimeScale() const override;

    std::vector<ListedDevice> Devices() const override;
    ListedDevice Device() const override;
    std::string Reason() const override { return source->Reason(); }
    Result TakeDevice(const ListedDevice& device) override;
    std::function<void()> RestorePoint() override;
    TaggedItems Settings() const override;
    void ApplySettings(const TaggedItems& settings) override;
    void ForgetSettings() override;

    /// The driver reference of the source, for the SPB calls.
    int32_t Driver() const { return driver; }
    /// The source in use.
    SoundSource& Source() { return *source; }

    /// A second meter, for a settings dialog: what it reads is not taken from those who read the driver's.
    LevelMeter& DialogMeter() { return dialogMeter; }

    /// The parameters in use, and a change of them. Results as `SGSetSoundInputParameters`.
    Parameters GetParameters() const;
    /// Sets the sample format; see `SGSetSoundInputParameters` for results.
    Result SetParameters(const Parameters& wanted);

    /// The sample rate, and a change of it: `siInvalidSampleRate` outside of 8000 to 48000.
    double Rate() const { return source->Format().sampleRate; }
    /// Sets the sample rate in hertz; see `SGSetSoundInputRate` for results.
    Result SetRate(double rate);

    /// What a buffer would be now.
    SharedDescription PresentDescription() const;

    /// The channel's sound on the main thread. Made when the channel has its number.
    SoundStream& Stream();

    int16_t volume = 256;
    std::vector<Fixed> additionalRates;

private:
    Result StartDevice() override { return source->Start(*this); }
    void StopDevice() override;
    void SoundArrived(const CapturedSound& sound) override;
    void Take(const CapturedSound& sound, int64_t now);
    void SoundFailed(Result result) override { NoteFailure(result); }

    struct Awaited {
        SoundWatcher watcher; ///< made before the list is first asked for, so that it misses nothing
        std::string identity;
        std::string name;
    };

    void StopAwaiting();
    Result TakeSource(std::shared_ptr<SoundSource> other);
    void AdoptSource(std::shared_ptr<SoundSource> adopted);
    SoundCoding Coding() const;
    SharedDescription DescriptionOf(const SoundFormat& format, const SoundCoding& coded);

    std::unique_ptr<Awaited> awaited; ///< what the present source stands in for
    std::atomic<bool> isStandIn{false};
    std::shared_ptr<SoundSource> source;
    std::shared_ptr<LevelMeter> meter = std::make_shared<LevelMeter>();
    LevelMeter dialogMeter;
    int32_t driver = 0;
    Parameters parameters;
    std::unique_ptr<SoundStream> stream;

    mutable std::mutex codingMutex;
    SoundCoding coding;

    // Of the source's thread, or of the main thread while the source is stopped.
    DriftCorrection clock;
    SharedDescription delivered;
};

} // namespace platform
