// SPDX-License-Identifier: MIT
// DV camcorders as digitizers and sound sources.
//
// A `DvDevice` is the stream of one camcorder, shared by the digitizer and the sound source that use it, and lives as
// long as one of them. While one of them runs, the device's thread keeps the stream going, so a camcorder that was
// switched off resumes when it is back. Frames arrive on the stream's own thread and are passed on unchanged; the sound
// is extracted from them there.
//
// The sinks are guarded by one mutex, which is held while they are called: so removing a sink waits for a running call.
#include "platform/digitizer/dv/DvDigitizer.h"

#include "platform/clock/MonotonicClock.h"
#include "platform/digitizer/ReconnectingThread.h"
#include "platform/digitizer/dv/DvFrame.h"
#include "platform/dv/Bus.h"
#include "platform/dv/FireWireUnits.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <mutex>
#include <sys/eventfd.h>
#include <utility>

namespace platform {
namespace {

constexpr std::string_view kIdentityPrefix = "dv:";
constexpr FourCharCode kDvNtsc = CodeOf("dvc ");
constexpr FourCharCode kDvPal = CodeOf("dvcp");

std::optional<uint64_t> GuidOf(const std::string& identity)
{
    uint64_t guid = 0;
    const char* end = identity.data() + identity.size();
    if (!identity.starts_with(kIdentityPrefix) ||
        std::from_chars(identity.data() + kIdentityPrefix.size(), end, guid, 16).ptr != end)
        return std::nullopt;
    return guid;
}

class DvDevice : private DvStreamSink, private DeviceRun, private FrameSink {
public:
    DvDevice(std::shared_ptr<Bus> deviceBus, BusDevice busDevice)
        : bus(std::move(deviceBus)), device(std::move(busDevice)), news(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
    {
    }
    ~DvDevice() override { SetSinks(nullptr, nullptr); }

    const BusDevice& Device() const { return device; }

    // A sink replaces the previous one. Stopping only removes one's own sink, so picture and sound, and two digitizers
    // of one camcorder, stop independently.
    Result AddSink(FrameSink& sink) { return SetSinks(&sink, soundSink); }
    Result AddSink(SoundSink& sink) { return SetSinks(frameSink, &sink); }
    void RemoveSink(const FrameSink* sink)
    {
        if (sink != nullptr && sink == frameSink)
            SetSinks(nullptr, soundSink);
    }
    void RemoveSink(const SoundSink* sink)
    {
        if (sink != nullptr && sink == soundSink)
            SetSinks(frameSink, nullptr);
    }

    DvFrameInfo LastFrame()
    {
        const std::lock_guard lock(mutex);
        return lastFrame;
    }

    double SoundRate()
    {
        const std::lock_guard lock(mutex);
        return sound.sampleRate;
    }

    std::string Reason()
    {
        const std::lock_guard lock(mutex);
        return reason;
    }

private:
    Result Begin() override
    {
        stream = bus->OpenStream(device.guid);
        failure = stream ? stream->Start(*this) : noDeviceForChannel;
        Explain(stream ? stream->Reason() : device.name + " is not connected.");
        if (failure != noErr)
            stream.reset();
        return failure == noErr ? noErr : noDeviceForChannel;
    }
    void Explain(const std::string& sentence)
    {
        const std::lock_guard lock(mutex);
        reason = sentence;
    }
    void End(Result why) override
    {
        if (why != noErr)
            Explain(stream->Reason().empty() ? device.name + " is not connected." : stream->Reason());
        stream->Stop();
        stream.reset();
    }
    pollfd Waiting() const override { return {news.Get(), POLLIN, 0}; }
    Taken Take(short, CapturedFrame&) override
    {
        eventfd_t count = 0;
        eventfd_read(news.Get(), &count);
        if (failure == noErr)
            return Taken::Alive;
        // A frame just before the failure has ended the previous outage, and is counted first.
        if (!frameCame.exchange(false))
            return Taken::Failed;
        eventfd_write(news.Get(), 1);
        return Taken::Alive;
    }
    Result Failure() const override { return failure; }
    // A paused tape sends nothing.
    int64_t SilenceAllowed(bool) const override { return kNanosecondsPerSecond; }
    Taken Silent() override { return Taken::Nothing; }

    void DvFrameArrived(std::span<const uint8_t> frame, bool complete, int64_t captureTime) override
    {
        const std::lock_guard lock(mutex);
        ++sequence;
        eventfd_write(news.Get(), 1);
        const auto info = ReadDvFrame(frame);
        if (!info) {
            if (frameSink != nullptr)
                frameSink->FrameDamaged(sequence);
            return;
        }
        lastFrame = *info;
        frameCame = true;
        if (frameSink != nullptr)
            frameSink->FrameArrived({.picture = {.bytes = frame,
                                                 .format = info->isPal ? kDvPal : kDvNtsc,
                                                 .width = info->width,
                                                 .height = info->height},
                                     .captureTime = captureTime,
                                     .sequence = sequence,
                                     .isWhole = complete});
        // The rate is known from the first frame on, whether anyone is listening yet or not.
        if (ExtractDvSound(frame, sound) && soundSink != nullptr)
            DeliverSound(captureTime);
    }

    void DvFramesLost(uint32_t count) override
    {
        const std::lock_guard lock(mutex);
        sequence += count;
    }

    void DvStreamFailed(Result result) override
    {
        failure = result;
        eventfd_write(news.Get(), 1);
    }

    // The thread reports to this object, which passes the failure to the sides that run.
    void FrameArrived(const CapturedFrame&) override {}
    void CaptureFailed(Result result) override
    {
        const std::lock_guard lock(mutex);
        if (frameSink != nullptr)
            frameSink->CaptureFailed(result);
        if (soundSink != nullptr)
            soundSink->SoundFailed(result);
    }

    void DeliverSound(int64_t captureTime)
    {
        soundSink->SoundArrived(
            {.bytes = {reinterpret_cast<const uint8_t*>(sound.samples.data()), sound.samples.size() * sizeof(int16_t)},
             .format = {.sampleRate = sound.sampleRate, .channels = 2, .sampleSize = 16},
             .captureTime = captureTime});
    }

    // The result of a start: an absent camcorder is awaited.
    Result SetSinks(FrameSink* frames, SoundSink* sounds)
    {
        bool wanted = false;
        {
            const std::lock_guard lock(mutex);
            frameSink = frames;
            soundSink = sounds;
            wanted = frames != nullptr || sounds != nullptr;
        }
        if (!wanted)
            thread.Stop();
        else if (!thread.IsRunning())
            return thread.Start(*this);
        return failure == noErr ? noErr : noDeviceForChannel;
    }

    const std::shared_ptr<Bus> bus;
    const BusDevice device;
    const UniqueFD news; ///< readable when a frame has arrived or the stream has failed
    std::atomic<Result> failure{noErr};
    std::atomic<bool> frameCame{false}; ///< since the last detected failure
    std::unique_ptr<DvStream> stream;   ///< owned by the thread

    std::mutex mutex; // guards the following
    FrameSink* frameSink = nullptr;
    SoundSink* soundSink = nullptr;
    std::string reason;
    uint32_t sequence = 0;
    DvFrameInfo lastFrame;
    DvSound sound;

    ReconnectingThread thread{*this};
};

// The devices in use by GUID. Main thread only.
std::shared_ptr<DvDevice> FindDevice(const std::string& identity)
{
    static std::map<uint64_t, std::weak_ptr<DvDevice>> living;
    const auto guid = GuidOf(identity);
    if (!guid)
        return nullptr;
    if (auto device = living[*guid].lock())
        return device;
    const auto bus = OpenBus();
    if (!bus)
        return nullptr;
    for (auto& entry : bus->Devices())
        if (entry.guid == *guid) {
            auto device = std::make_shared<DvDevice>(bus, entry);
            living[*guid] = device;
            return device;
        }
    return nullptr;
}

class DvDigitizer : public Digitizer {
public:
    explicit DvDigitizer(std::shared_ptr<DvDevice> shared) : device(std::move(shared)) {}
    ~DvDigitizer() override { DvDigitizer::Stop(); }

    std::string Name() const override { return device->Device().name; }
    std::string Identity() const override { return DvIdentityOf(device->Device().guid); }
    std::vector<CaptureFormat> Formats() const override { return {Format()}; }

    CaptureFormat Format() const override
    {
        const DvFrameInfo info = device->LastFrame();
        return {info.isPal ? kDvPal : kDvNtsc, info.width, info.height, info.frameRate};
    }

    std::string Reason() const override { return device->Reason(); }

    // The tape determines the format.
    Result SetFormat(const CaptureFormat&) override { return noErr; }

    Result Start(FrameSink& sink) override { return device->AddSink(*(running = &sink)); }
    void Stop() override { device->RemoveSink(std::exchange(running, nullptr)); }

private:
    std::shared_ptr<DvDevice> device;
    FrameSink* running = nullptr;
};

class DvSoundSource : public SoundSource {
public:
    explicit DvSoundSource(std::shared_ptr<DvDevice> shared) : device(std::move(shared)) {}
    ~DvSoundSource() override { DvSoundSource::Stop(); }

    std::string Name() const override { return device->Device().name; }
    std::string Identity() const override { return DvIdentityOf(device->Device().guid); }

    // The tape determines the rate, which anyone who counts samples must know.
    SoundFormat Format() const override { return {.sampleRate = device->SoundRate(), .channels = 2, .sampleSize = 16}; }
    Result CheckFormat(const SoundFormat& format) const override
    {
        if (format.sampleSize != 16)
            return siInvalidSampleSize;
        if (format.channels != 2)
            return siBadSoundInDevice;
        return format.sampleRate == 48'000 || format.sampleRate == 44'100 || format.sampleRate == 32'000
                   ? noErr
                   : siInvalidSampleRate;
    }
    Result SetFormat(const SoundFormat& format) override { return CheckFormat(format); }

    Result Start(SoundSink& sink) override { return device->AddSink(*(running = &sink)); }
    void Stop() override { device->RemoveSink(std::exchange(running, nullptr)); }

private:
    std::shared_ptr<DvDevice> device;
    SoundSink* running = nullptr;
};

template <typename Entry> std::vector<Entry> ListDevices()
{
    std::vector<Entry> entries;
    if (const auto bus = OpenBus())
        for (const auto& device : bus->Devices()) {
            Entry& entry = entries.emplace_back();
            entry.name = device.name;
            entry.identity = DvIdentityOf(device.guid);
            entry.available = device.reason.empty();
            if constexpr (requires { entry.reason; })
                entry.reason = device.reason;
        }
    return entries;
}

} // namespace

std::string DvIdentityOf(uint64_t guid)
{
    return std::string(kIdentityPrefix) + GuidText(guid);
}

std::vector<DigitizerEntry> ListDvDigitizers()
{
    return ListDevices<DigitizerEntry>();
}

std::vector<SoundSourceEntry> ListDvSoundSources()
{
    return ListDevices<SoundSourceEntry>();
}

std::unique_ptr<Digitizer> OpenDvDigitizer(const std::string& identity)
{
    auto device = FindDevice(identity);
    return device ? std::make_unique<DvDigitizer>(std::move(device)) : nullptr;
}

std::unique_ptr<SoundSource> OpenDvSoundSource(const std::string& identity)
{
    auto device = FindDevice(identity);
    return device ? std::make_unique<DvSoundSource>(std::move(device)) : nullptr;
}

} // namespace platform
