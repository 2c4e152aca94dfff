// DV camcorders as digitizers and sound sources.
//
// A `DvDevice` is the stream of one camcorder, shared by the digitizer and the sound source over it, and lives as long
// as one of them. While one of them runs, a thread of the device keeps the stream going: it opens it, waits for its
// failure or for the end, and after a failure tries again every half second, so a camcorder that was switched off comes
// back by itself. Frames come on the stream's thread and pass through untouched; the sound is taken out of them there.
//
// The sinks are guarded by one mutex, held while they are called: removing a sink therefore waits for the call that
// runs.
#include "platform/digitizer/dv/DvDigitizer.h"

#include "platform/digitizer/dv/DvFrame.h"
#include "platform/dv/Bus.h"

#include <algorithm>
#include <charconv>
#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

namespace platform {
namespace {

constexpr std::string_view kIdentityPrefix = "dv:";
constexpr std::chrono::milliseconds kRetryTime{500};
constexpr FourCharCode kDvNtsc = CodeOf("dvc ");
constexpr FourCharCode kDvPal = CodeOf("dvcp");

std::string IdentityOf(uint64_t guid)
{
    char digits[17];
    std::snprintf(digits, sizeof digits, "%016llx", static_cast<unsigned long long>(guid));
    return std::string(kIdentityPrefix) + digits;
}

std::optional<uint64_t> GuidOf(const std::string& identity)
{
    uint64_t guid = 0;
    const char* end = identity.data() + identity.size();
    if (!identity.starts_with(kIdentityPrefix) ||
        std::from_chars(identity.data() + kIdentityPrefix.size(), end, guid, 16).ptr != end)
        return std::nullopt;
    return guid;
}

class DvDevice : public DvStreamSink {
public:
    DvDevice(std::shared_ptr<Bus> deviceBus, BusDevice busDevice)
        : bus(std::move(deviceBus)), device(std::move(busDevice))
    {
    }
    ~DvDevice() override { SetSinks(nullptr, nullptr); }

    const BusDevice& Device() const { return device; }

    void SetFrameSink(FrameSink* sink) { SetSinks(sink, soundSink); }
    void SetSoundSink(SoundSink* sink) { SetSinks(frameSink, sink); }

    // What a start answers: an absent camcorder is waited for.
    Result Presence() const
    {
        const auto devices = bus->Devices();
        return std::ranges::find(devices, device.guid, &BusDevice::guid) != devices.end() ? noErr : noDeviceForChannel;
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

    void DvFrameArrived(std::span<const uint8_t> frame, bool /*complete*/, int64_t captureTime) override
    {
        const std::lock_guard lock(mutex);
        ++sequence;
        const auto info = ReadDvFrame(frame);
        // Half a frame can't be shown; the gap in the count tells of it.
        if (!info)
            return;
        lastFrame = *info;
        if (frameSink != nullptr)
            frameSink->FrameArrived({.picture = {.bytes = frame,
                                                 .format = info->isPal ? kDvPal : kDvNtsc,
                                                 .width = info->width,
                                                 .height = info->height},
                                     .captureTime = captureTime,
                                     .sequence = sequence});
        // The rate is known from the first frame on, whether or not anybody listens yet.
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
        const std::lock_guard lock(mutex);
        if (frameSink != nullptr)
            frameSink->CaptureFailed(result);
        if (soundSink != nullptr)
            soundSink->SoundFailed(result);
        failed = true;
        changed.notify_all();
    }

private:
    void DeliverSound(int64_t captureTime)
    {
        soundSink->SoundArrived(
            {.bytes = {reinterpret_cast<const uint8_t*>(sound.samples.data()), sound.samples.size() * sizeof(int16_t)},
             .format = {.sampleRate = sound.sampleRate, .channels = 2, .sampleSize = 16},
             .captureTime = captureTime});
    }

    void SetSinks(FrameSink* frames, SoundSink* sounds)
    {
        {
            const std::lock_guard lock(mutex);
            frameSink = frames;
            soundSink = sounds;
            wanted = frames != nullptr || sounds != nullptr;
            changed.notify_all();
        }
        if (wanted && !keeper.joinable())
            keeper = std::thread([this] { KeepStreaming(); });
        else if (!wanted && keeper.joinable())
            keeper.join();
    }

    void KeepStreaming()
    {
        std::unique_lock lock(mutex);
        while (wanted) {
            failed = false;
            lock.unlock();
            const auto stream = bus->OpenStream(device.guid);
            const Result started = stream ? stream->Start(*this) : noDeviceForChannel;
            lock.lock();
            if (started == noErr)
                changed.wait(lock, [this] { return failed || !wanted; });
            lock.unlock();
            if (stream)
                stream->Stop();
            lock.lock();
            changed.wait_for(lock, kRetryTime, [this] { return !wanted; });
        }
    }

    std::shared_ptr<Bus> bus;
    BusDevice device;
    std::mutex mutex;
    std::condition_variable changed;
    std::thread keeper;
    FrameSink* frameSink = nullptr;
    SoundSink* soundSink = nullptr;
    bool wanted = false;
    bool failed = false;
    uint32_t sequence = 0;
    DvFrameInfo lastFrame;
    DvSound sound;
};

// The living devices by GUID. Main thread only.
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
    std::string Identity() const override { return IdentityOf(device->Device().guid); }
    std::vector<CaptureFormat> Formats() const override { return {Format()}; }

    CaptureFormat Format() const override
    {
        const DvFrameInfo info = device->LastFrame();
        return {info.isPal ? kDvPal : kDvNtsc, info.width, info.height, info.frameRate};
    }

    // The tape decides what it is.
    Result SetFormat(const CaptureFormat&) override { return noErr; }

    Result Start(FrameSink& sink) override
    {
        running = true;
        device->SetFrameSink(&sink);
        return device->Presence();
    }

    // Another digitizer over the same camcorder may be running by now: what isn't one's own stays.
    void Stop() override
    {
        if (std::exchange(running, false))
            device->SetFrameSink(nullptr);
    }

private:
    std::shared_ptr<DvDevice> device;
    bool running = false;
};

class DvSoundSource : public SoundSource {
public:
    explicit DvSoundSource(std::shared_ptr<DvDevice> shared) : device(std::move(shared)) {}
    ~DvSoundSource() override { DvSoundSource::Stop(); }

    std::string Name() const override { return device->Device().name; }
    std::string Identity() const override { return IdentityOf(device->Device().guid); }

    // The tape decides the rate; whoever counts samples must know it.
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

    Result Start(SoundSink& sink) override
    {
        running = true;
        device->SetSoundSink(&sink);
        return device->Presence();
    }
    void Stop() override
    {
        if (std::exchange(running, false))
            device->SetSoundSink(nullptr);
    }

private:
    std::shared_ptr<DvDevice> device;
    bool running = false;
};

template <typename Entry> std::vector<Entry> ListDevices()
{
    std::vector<Entry> entries;
    if (const auto bus = OpenBus())
        for (const auto& device : bus->Devices())
            entries.push_back({.name = device.name, .identity = IdentityOf(device.guid), .inputs = {}});
    return entries;
}

} // namespace

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
