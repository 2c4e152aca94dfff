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
    /// The requested parameters; the delivered ones follow from them (`FindSoundCoding`).
    struct Parameters {
        int16_t sampleSize = 16;
        int16_t channels = 2;
        FourCharCode compression = CodeOf("raw ");
    };

    /// A channel on a source, with the default parameters.
    SoundChannel(SampleQueue& queue, std::shared_ptr<SoundSource> source);
    ~SoundChannel() override;

    /// A channel on the source of that identity or name, else on the default one. If only the Test Tone is left, it is
    /// used until a real source appears, and is silent while the sound server's answer is pending.
    static std::shared_ptr<SoundChannel> OnBestSource(SampleQueue& queue, const std::string& identity = {},
                                                      const std::string& name = {});

    /// Switches to the source that the Test Tone replaces, once there is one.
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

    /// A second meter, for a settings dialog: reading it does not affect readers of the driver's meter.
    LevelMeter& DialogMeter() { return dialogMeter; }

    /// The parameters in use.
    Parameters GetParameters() const;
    /// Sets the sample format; see `SGSetSoundInputParameters` for results.
    Result SetParameters(const Parameters& wanted);

    /// The sample rate in hertz: that of the source, or the one that is held.
    double Rate() const;
    /// Holds a sample rate: sound that the source delivers at another one is converted from now on.
    void HoldRate(double rate) { heldRate = rate; }
    /// Ends `HoldRate`, unless a movie is being written.
    void ReleaseRate();
    /// Sets the sample rate in hertz; see `SGSetSoundInputRate` for results.
    Result SetRate(double rate);

    /// The present format of the buffers.
    SharedDescription PresentDescription() const;

    /// The channel's sound on the main thread. Create it when the channel has its number.
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
        SoundWatcher watcher; ///< created before the list is first read, so that no change is missed
        std::string identity;
        std::string name;
    };

    void StopAwaiting();
    Result TakeSource(std::shared_ptr<SoundSource> other);
    void AdoptSource(std::shared_ptr<SoundSource> adopted);
    SoundFormat PresentFormat() const;
    bool IsPresent(const SampleDescription& sound) const;
    SoundCoding Coding() const;
    SharedDescription DescriptionOf(const SoundFormat& format, const SoundCoding& coded);

    std::unique_ptr<Awaited> awaited; ///< the source that the present one replaces
    std::atomic<bool> isStandIn{false};
    std::shared_ptr<SoundSource> source;
    std::shared_ptr<LevelMeter> meter = std::make_shared<LevelMeter>();
    LevelMeter dialogMeter;
    int32_t driver = 0;
    Parameters parameters;
    std::unique_ptr<SoundStream> stream;
    std::atomic<double> heldRate{0}; ///< 0: none

    mutable std::mutex codingMutex;
    SoundCoding coding;

    // Used by the source's thread, or by the main thread while the source is stopped.
    DriftCorrection clock;
    SharedDescription delivered;
};

} // namespace platform
