// SPDX-License-Identifier: MIT
#pragma once

#include "platform/clock/SuspendedTime.h"
#include "platform/sound/CaptureClock.h"
#include "platform/sound/PulseServer.h"
#include "platform/sound/SoundSource.h"

#include <mutex>

namespace platform {

/// A source of the sound server: a microphone, a line input, or the monitor of a sink.
class PulseSource : public SoundSource, private PulseServer::Client {
public:
    /// `pulseName` is the server's name of the source, `name` the one for the user.
    PulseSource(std::shared_ptr<PulseServer> server, std::string pulseName, std::string name);
    ~PulseSource() override;

    std::string Name() const override { return name; }
    std::string Identity() const override { return IdentityOf(pulseName); }
    /// The identity of the source with that name of the server.
    static std::string IdentityOf(const std::string& pulseName) { return "pulse:" + pulseName; }

    std::vector<std::string> Inputs() const override;
    int Input() const override;
    Result SelectInput(int index) override;
    Result GetGain(double& gain) const override;
    Result SetGain(double gain) override;
    Result GetBalance(double& balance) const override;
    Result SetBalance(double balance) override;
    Result GetMuted(bool& muted) const override;
    Result SetMuted(bool muted) override;
    std::string Reason() const override;
    SoundFormat Format() const override;
    Result SetFormat(const SoundFormat& wanted) override;
    Result Start(SoundSink& sink) override;
    void Stop() override;

private:
    Result SetVolume(const pa_cvolume& volume);
    bool UpdateStream(pa_context* context) override;
    bool WantsStream() const override { return sink != nullptr; }
    void ConnectionLost() override;

    void OpenStream(pa_context* context);
    void DropStream();
    void StreamChanged();
    bool ReadsFromAnotherSource() const;
    bool IsSilent();
    void NoteArrival();
    void SelectPair(int wanted);
    void ConnectStream(pa_stream_flags_t flags, const SoundFormat& streamed);
    void Fail(const std::string& why);
    void ReadAll();
    void Deliver(std::span<const uint8_t> bytes);
    SoundFormat StreamFormat() const;
    std::span<const uint8_t> AsRequested(std::span<const uint8_t> stereo);
    int64_t MeasuredCaptureTime() const;

    const std::shared_ptr<PulseServer> server;
    const std::string pulseName;
    const std::string name;

    // The gain last set here, since the server's steps are coarser.
    double gainSet = -1;
    pa_volume_t volumeSet = PA_VOLUME_INVALID;
    pa_cvolume lastAudible{}; ///< the last volumes that were not all 0, to restore their ratio

    // Guarded by the loop's lock.
    SoundFormat format;             ///< written with the server's lock and this mutex, read with either
    mutable std::mutex formatMutex; ///< asked for each piece of sound, which must not wait for the server's thread
    SoundSink* sink = nullptr;
    pa_stream* stream = nullptr;
    uint32_t streamedIndex = PA_INVALID_INDEX; ///< index of the source that the stream was opened on
    int pair = 0;                              ///< selected channel pair, from 0
    int64_t lastArrival = 0;
    SuspendWatch suspendWatch;
    bool wasSuspended = false; ///< since the last arrival
    std::string trouble;
    bool failureReported = false;
    uint64_t framesLost = 0;
    CaptureClock clock;
    std::vector<uint8_t> mixed;
};

} // namespace platform
