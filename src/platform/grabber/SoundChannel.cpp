// SPDX-License-Identifier: MIT
// A sound channel.
//
// The source delivers PCM on its own thread; there each buffer is encoded as requested, into the block from which
// pieces are delivered later. The description belongs to the buffer, so a change of format takes effect exactly where
// the first buffer of the new format starts; what still waits in the old format is replaced by silence.
//
// A movie counts its sound in samples of one rate, but on a tape the rate may change with each scene. So the channel
// holds the rate of the first sound delivered while a movie is written, and converts sound of another rate until no
// movie is written any more.
//
// The channel owns the source, its level meter and the driver number that refers to both.
#include "platform/grabber/SoundChannel.h"

#include "platform/clock/MonotonicClock.h"
#include "platform/grabber/DeviceLists.h"
#include "platform/sound/TestTone.h"

#include <cmath>

namespace platform {
namespace {

constexpr int16_t kFullVolume = 256;
constexpr double kLowestRate = 8000;
constexpr double kHighestRate = 48000;

SharedDescription MakeDescription(const SoundFormat& format, const SoundCoding& coding)
{
    auto description = std::make_shared<SampleDescription>();
    description->coding = coding;
    description->sampleRate = format.sampleRate;
    description->channels = format.channels;
    const SoundDescription record = DescribeSound(coding, format.sampleRate, format.channels);
    description->record.assign(record.begin(), record.end());
    return description;
}

// Whether whole sample frames can be cut from a buffer of that format.
bool IsSound(const SoundFormat& format)
{
    return format.sampleRate >= 1 && (format.channels == 1 || format.channels == 2) &&
           (format.sampleSize == 8 || format.sampleSize == 16 || format.sampleSize == 24);
}

int64_t DurationOf(const CapturedSound& sound)
{
    const auto frames = static_cast<double>(sound.bytes.size()) / sound.format.BytesPerFrame();
    return std::llround(frames / sound.format.sampleRate * kNanosecondsPerSecond);
}

} // namespace

SoundChannel::SoundChannel(SampleQueue& queue, std::shared_ptr<SoundSource> adopted) : Channel(kSoundMediaType, queue)
{
    AdoptSource(std::move(adopted));
    SetParameters(parameters);
}

std::shared_ptr<SoundChannel> SoundChannel::OnBestSource(SampleQueue& queue, const std::string& identity,
                                                         const std::string& name)
{
    auto awaited = std::make_unique<Awaited>();
    awaited->identity = identity;
    awaited->name = name;
    auto channel = std::make_shared<SoundChannel>(queue, OpenSoundSource(identity, name));
    channel->isStandIn = channel->source->Identity() == TestTone::kIdentity && identity != TestTone::kIdentity;
    if (channel->isStandIn)
        channel->awaited = std::move(awaited);
    return channel;
}

SoundChannel::~SoundChannel()
{
    Halt();
    UnregisterSoundDriver(driver);
}

void SoundChannel::AdoptSource(std::shared_ptr<SoundSource> adopted)
{
    UnregisterSoundDriver(driver);
    source = std::move(adopted);
    driver = RegisterSoundDriver(source, meter);
}

void SoundChannel::StopDevice()
{
    source->Stop();
    clock.Reset();
}

int32_t SoundChannel::TimeScale() const
{
    return static_cast<int32_t>(std::lround(Rate()));
}

SoundStream& SoundChannel::Stream()
{
    if (!stream)
        stream = std::make_unique<SoundStream>(queue, number,
                                               [this](const SampleDescription& sound) { return IsPresent(sound); });
    return *stream;
}

std::vector<ListedDevice> SoundChannel::Devices() const
{
    return ListedDevices(ListSoundSources());
}

ListedDevice SoundChannel::Device() const
{
    return {source->Name(), source->Identity(), source->Inputs(), source->Input(), true, source->Reason()};
}

Result SoundChannel::TakeDevice(const ListedDevice& device)
{
    if (device.identity == source->Identity()) {
        StopAwaiting();
        return noErr;
    }
    std::shared_ptr<SoundSource> other = OpenSoundSource(device.identity, device.name);
    return other->Identity() == device.identity ? TakeSource(std::move(other)) : noDeviceForChannel;
}

Result SoundChannel::TakeSource(std::shared_ptr<SoundSource> other)
{
    // A source that does not support the present format keeps its own: sound in another format is better than none.
    other->SetFormat(source->Format());
    if (FormatIsFixed() && other->Format() != source->Format())
        return cantDoThatInCurrentMode;
    if (const Result result = RunInstead(*other, static_cast<SoundSink&>(*this)); result != noErr)
        return result;
    AdoptSource(std::move(other));
    StopAwaiting();
    return noErr;
}

void SoundChannel::StopAwaiting()
{
    isStandIn = false;
    awaited.reset();
}

void SoundChannel::ReplaceStandIn()
{
    if (!awaited || !awaited->watcher.TakeChange())
        return;
    std::shared_ptr<SoundSource> other = OpenSoundSource(awaited->identity, awaited->name);
    if (other->Identity() != TestTone::kIdentity)
        TakeSource(std::move(other));
}

void SoundChannel::ForgetSettings()
{
    Channel::ForgetSettings();
    volume = kFullVolume;
    additionalRates.clear();
    StopAwaiting();
    stream.reset(); // it refers to the channel by its previous number
}

std::function<void()> SoundChannel::RestorePoint()
{
    return [this, present = source] {
        if (present != source)
            AdoptSource(present);
    };
}

Result SoundChannel::SetParameters(const Parameters& wanted)
{
    SoundCoding found;
    if (const Result result = FindSoundCoding(wanted.compression, wanted.sampleSize, found); result != noErr)
        return result;
    if (wanted.channels != 1 && wanted.channels != 2)
        return siBadSoundInDevice;
    SoundFormat format = source->Format();
    if (FormatIsFixed() && (found != Coding() || wanted.channels != format.channels))
        return cantDoThatInCurrentMode;
    format.channels = wanted.channels;
    format.sampleSize = SourceSampleSize(found);
    if (const Result result = source->SetFormat(format); result != noErr)
        return result;
    parameters = wanted;
    const std::lock_guard lock(codingMutex);
    coding = found;
    return noErr;
}

SoundChannel::Parameters SoundChannel::GetParameters() const
{
    Parameters present = parameters;
    present.channels = static_cast<int16_t>(source->Format().channels);
    return present;
}

double SoundChannel::Rate() const
{
    const double held = heldRate;
    return held != 0 ? held : source->Format().sampleRate;
}

void SoundChannel::ReleaseRate()
{
    if (!FormatIsFixed())
        heldRate = 0;
}

Result SoundChannel::SetRate(double rate)
{
    ReleaseRate();
    if (rate == Rate())
        return noErr;
    if (FormatIsFixed())
        return cantDoThatInCurrentMode;
    if (!(rate >= kLowestRate && rate <= kHighestRate))
        return siInvalidSampleRate;
    SoundFormat format = source->Format();
    format.sampleRate = rate;
    return source->SetFormat(format);
}

SoundCoding SoundChannel::Coding() const
{
    const std::lock_guard lock(codingMutex);
    return coding;
}

SoundFormat SoundChannel::PresentFormat() const
{
    SoundFormat format = source->Format();
    if (!IsSound(format))
        format = SoundFormat();
    if (const double held = heldRate; held != 0)
        format.sampleRate = held;
    return format;
}

SharedDescription SoundChannel::PresentDescription() const
{
    return MakeDescription(PresentFormat(), Coding());
}

bool SoundChannel::IsPresent(const SampleDescription& sound) const
{
    const SoundFormat format = PresentFormat();
    return sound.sampleRate == format.sampleRate && sound.channels == format.channels && sound.coding == Coding();
}

SharedDescription SoundChannel::DescriptionOf(const SoundFormat& format, const SoundCoding& coded)
{
    if (!delivered || delivered->coding != coded || delivered->sampleRate != format.sampleRate ||
        delivered->channels != format.channels)
        delivered = MakeDescription(format, coded);
    return delivered;
}

void SoundChannel::SoundArrived(const CapturedSound& sound)
{
    if (!IsSound(sound.format) || (isStandIn && SoundSourcesArePending()))
        return;
    const int64_t now = MonotonicNow();
    NoteArrival(now, DurationOf(sound));
    meter->Feed(sound);
    dialogMeter.Feed(sound);
    const size_t whole = sound.bytes.size() - sound.bytes.size() % static_cast<size_t>(sound.format.BytesPerFrame());
    if (whole == 0)
        return;
    CapturedSound captured = sound;
    captured.bytes = sound.bytes.first(whole);
    // Drift correction follows the source even while its sound is not wanted, so that it knows the source's clock
    // later.
    const CapturedSound line = clock.Take(captured, heldRate);
    if (Accepting() && !line.bytes.empty())
        Take(line, now);
}

void SoundChannel::Take(const CapturedSound& sound, int64_t now)
{
    counts.lostBeforeUs += sound.framesLost;
    const SoundCoding coded = Coding();
    Sample sample;
    sample.data =
        SampleData::Uncleared(static_cast<int64_t>(CodedSize(sound.bytes.size(), sound.format.sampleSize, coded)));
    if (sample.data.Size() == 0) {
        ++counts.droppedInQueue;
        return;
    }
    ConvertSound(sound.bytes, sound.format.sampleSize, coded, sample.data.Bytes());
    sample.captureTime = sound.captureTime;
    sample.duration = DurationOf(sound);
    sample.arrivalTime = now;
    sample.framesLost = static_cast<int64_t>(sound.framesLost);
    sample.description = DescriptionOf(sound.format, coded);
    queue.Put(number, std::move(sample));
}

} // namespace platform
