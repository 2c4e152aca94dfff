// SPDX-License-Identifier: MIT
// A source of the sound server.
//
// It is started while it has a sink. A started source has a stream, unless the server or the device is gone; then the
// failure has been reported to the sink once, and the connection opens a new stream as soon as possible. The stream
// stays on the chosen source: the server is asked not to move it and to end it when the source is unplugged. Some
// servers move it anyway, which would silently record another device, and some keep a stream that delivers nothing. So
// a stream also counts as failed when it reads from another source, or when its source is no longer in the server's
// list.
//
// The stream is used with the loop's lock held: its callbacks run on the loop's thread, start and stop on the main
// thread. A time stamp is the present time less the latency that the stream reports.
#include "platform/sound/PulseSource.h"

#include "platform/clock/MonotonicClock.h"
#include "platform/log/Log.h"
#include "platform/sound/Sample24.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace platform {
namespace {

constexpr double kFragmentSeconds = 0.02;
constexpr double kMaxBufferSeconds = 0.02;
constexpr int64_t kSilenceTimeout = 2 * kNanosecondsPerSecond;
constexpr int64_t kSilenceTimeoutAfterSuspension = 800 * kNanosecondsPerMillisecond;

uint32_t BytesFor(double seconds, const SoundFormat& format)
{
    return static_cast<uint32_t>(std::lround(seconds * format.sampleRate) * format.BytesPerFrame());
}

PulseSource& SourceOf(void* argument)
{
    return *static_cast<PulseSource*>(argument);
}

// The channel map of a pair. If the number of channels is odd, the last pair has the last channel on both sides.
pa_channel_map MapOfPair(const pa_channel_map& all, int pair)
{
    pa_channel_map map;
    pa_channel_map_init(&map);
    const auto first = static_cast<uint8_t>(2 * pair);
    map.channels = 2;
    map.map[0] = all.map[first];
    map.map[1] = all.map[std::min<uint8_t>(first + 1, all.channels - 1)];
    return map;
}

} // namespace

PulseSource::PulseSource(std::shared_ptr<PulseServer> server, std::string pulseName, std::string name)
    : server(std::move(server)), pulseName(std::move(pulseName)), name(std::move(name))
{
    const PulseServer::Lock lock(*this->server);
    this->server->Add(*this);
}

PulseSource::~PulseSource()
{
    Stop();
    const PulseServer::Lock lock(*server);
    server->Remove(*this);
}

std::vector<std::string> PulseSource::Inputs() const
{
    const auto info = server->Find(pulseName);
    return info ? info->InputNames() : std::vector<std::string>();
}

int PulseSource::Input() const
{
    const auto info = server->Find(pulseName);
    const PulseServer::Lock lock(*server);
    return info ? info->port * info->Pairs() + std::min(pair, info->Pairs() - 1) : 0;
}

Result PulseSource::SelectInput(int index)
{
    const auto info = server->Find(pulseName);
    if (!info)
        return siInputDeviceErr;
    const auto count = static_cast<int>(info->InputNames().size());
    if (count == 0)
        return siUnknownInfoType;
    if (index < 0 || index >= count)
        return paramErr;
    SelectPair(index % info->Pairs());
    const int wanted = index / info->Pairs();
    if (wanted == info->port)
        return noErr;
    const auto& port = info->ports[static_cast<size_t>(wanted)].name;
    return server->Change(
        pulseName,
        [&](pa_context* context, pa_context_success_cb_t done, void* argument) {
            return pa_context_set_source_port_by_name(context, pulseName.c_str(), port.c_str(), done, argument);
        },
        [wanted](PulseSourceInfo& source) { source.port = wanted; });
}

void PulseSource::SelectPair(int wanted)
{
    const PulseServer::Lock lock(*server);
    if (std::exchange(pair, wanted) == wanted || stream == nullptr)
        return;
    DropStream();
    OpenStream(server->Context());
}

Result PulseSource::GetGain(double& gain) const
{
    const auto info = server->Find(pulseName);
    if (!info)
        return siInputDeviceErr;
    if (!pa_cvolume_valid(&info->volume))
        return siUnknownInfoType;
    const pa_volume_t volume = pa_cvolume_max(&info->volume);
    const bool asSet = volumeSet != PA_VOLUME_INVALID && std::abs(int64_t{volume} - int64_t{volumeSet}) <= 1;
    gain = asSet ? gainSet : pa_sw_volume_to_linear(volume);
    return noErr;
}

Result PulseSource::SetGain(double gain)
{
    if (!(gain >= 0 && gain <= kMaxGain))
        return paramErr;
    const auto info = server->Find(pulseName);
    if (!info)
        return siInputDeviceErr;
    if (!pa_cvolume_valid(&info->volume))
        return siUnknownInfoType;
    const pa_volume_t level = pa_sw_volume_from_linear(gain);
    pa_cvolume volume = info->volume;
    if (pa_cvolume_max(&volume) != PA_VOLUME_MUTED || lastAudible.channels != volume.channels)
        lastAudible = volume;
    volume = lastAudible;
    pa_cvolume_scale(&volume, level); // sets the loudest channel and scales the others
    const Result result = SetVolume(volume);
    if (result == noErr) {
        gainSet = gain;
        volumeSet = level;
    }
    return result;
}

Result PulseSource::SetVolume(const pa_cvolume& volume)
{
    return server->Change(
        pulseName,
        [&](pa_context* context, pa_context_success_cb_t done, void* argument) {
            return pa_context_set_source_volume_by_name(context, pulseName.c_str(), &volume, done, argument);
        },
        [&volume](PulseSourceInfo& source) { source.volume = volume; });
}

Result PulseSource::GetBalance(double& balance) const
{
    const auto info = server->Find(pulseName);
    if (!info)
        return siInputDeviceErr;
    if (!pa_cvolume_valid(&info->volume) || pa_channel_map_can_balance(&info->channels) == 0)
        return siUnknownInfoType;
    balance = pa_cvolume_get_balance(&info->volume, &info->channels);
    return noErr;
}

Result PulseSource::SetBalance(double balance)
{
    double present = 0;
    if (const Result result = GetBalance(present); result != noErr)
        return result;
    if (!(balance >= -1 && balance <= 1))
        return paramErr;
    const auto info = server->Find(pulseName);
    pa_cvolume volume = info ? info->volume : pa_cvolume{};
    if (!info || pa_cvolume_set_balance(&volume, &info->channels, static_cast<float>(balance)) == nullptr)
        return siInputDeviceErr;
    return SetVolume(volume);
}

Result PulseSource::GetMuted(bool& muted) const
{
    const auto info = server->Find(pulseName);
    if (!info)
        return siInputDeviceErr;
    muted = info->isMuted;
    return noErr;
}

Result PulseSource::SetMuted(bool muted)
{
    if (!server->Find(pulseName))
        return siInputDeviceErr;
    return server->Change(
        pulseName,
        [&](pa_context* context, pa_context_success_cb_t done, void* argument) {
            return pa_context_set_source_mute_by_name(context, pulseName.c_str(), muted ? 1 : 0, done, argument);
        },
        [muted](PulseSourceInfo& source) { source.isMuted = muted; });
}

std::string PulseSource::Reason() const
{
    const auto info = server->Find(pulseName);
    {
        const PulseServer::Lock lock(*server);
        if (failureReported && !trouble.empty())
            return trouble;
    }
    if (!info)
        return name + " is not connected.";
    if (info->isMuted)
        return name + " is muted.";
    return info->IsUnplugged() ? "Nothing is plugged into " + name + "." : std::string();
}

SoundFormat PulseSource::Format() const
{
    const std::lock_guard lock(formatMutex);
    return format;
}

Result PulseSource::SetFormat(const SoundFormat& wanted)
{
    if (const Result result = CheckFormat(wanted); result != noErr)
        return result;
    const PulseServer::Lock lock(*server);
    const SoundFormat old = format;
    {
        const std::lock_guard formatLock(formatMutex);
        format = wanted;
        format.sampleRate = std::round(wanted.sampleRate); // the server counts in whole hertz
    }
    if (stream != nullptr && format != old) {
        DropStream();
        OpenStream(server->Context());
    }
    return noErr;
}

Result PulseSource::Start(SoundSink& wanted)
{
    Stop();
    const PulseServer::Lock lock(*server);
    sink = &wanted;
    clock.Reset();
    framesLost = 0;
    failureReported = true; // an absent device is reported by the result of this call
    trouble.clear();
    if (server->Context() != nullptr)
        UpdateStream(server->Context());
    server->UpdateStreamsLater();
    if (stream == nullptr)
        return noDeviceForChannel;
    failureReported = false;
    return noErr;
}

void PulseSource::Stop()
{
    const PulseServer::Lock lock(*server);
    DropStream();
    sink = nullptr;
}

bool PulseSource::UpdateStream(pa_context* context)
{
    const auto present = server->Find(pulseName);
    if (stream != nullptr && (!present || present->index != streamedIndex)) {
        DropStream();
        Fail(name + " is not connected.");
    } else if (stream != nullptr && IsSilent()) {
        const bool isSuspended = pa_stream_get_state(stream) == PA_STREAM_READY && pa_stream_is_suspended(stream) == 1;
        DropStream();
        Fail(name + (isSuspended ? " is suspended by the sound server." : " sends no sound."));
    }
    if (sink != nullptr && stream == nullptr && present) {
        streamedIndex = present->index;
        OpenStream(context);
    }
    return sink == nullptr;
}

bool PulseSource::IsSilent()
{
    wasSuspended = wasSuspended || suspendWatch.TakeSuspension() > 0;
    return MonotonicNow() - lastArrival > (wasSuspended ? kSilenceTimeoutAfterSuspension : kSilenceTimeout);
}

void PulseSource::ConnectionLost()
{
    if (stream == nullptr)
        return;
    DropStream();
    Fail("The sound server is not running.");
}

void PulseSource::OpenStream(pa_context* context)
{
    const SoundFormat streamed = StreamFormat();
    const pa_sample_spec spec{.format = streamed.sampleSize == 8    ? PA_SAMPLE_U8
                                        : streamed.sampleSize == 16 ? PA_SAMPLE_S16NE
                                                                    : PA_SAMPLE_S24NE,
                              .rate = static_cast<uint32_t>(streamed.sampleRate),
                              .channels = static_cast<uint8_t>(streamed.channels)};
    NoteArrival();
    const auto info = server->Find(pulseName);
    const bool selectsPair = info && info->Pairs() > 1;
    const pa_channel_map map =
        selectsPair ? MapOfPair(info->channels, std::min(pair, info->Pairs() - 1)) : pa_channel_map{};
    stream = pa_stream_new(context, name.c_str(), &spec, selectsPair ? &map : nullptr);
    if (stream == nullptr) {
        Fail("The sound server refused to record " + name + ".");
        return;
    }
    pa_stream_set_state_callback(
        stream, [](pa_stream*, void* source) { SourceOf(source).StreamChanged(); }, this);
    pa_stream_set_moved_callback(
        stream, [](pa_stream*, void* source) { SourceOf(source).StreamChanged(); }, this);
    pa_stream_set_read_callback(
        stream, [](pa_stream*, size_t, void* source) { SourceOf(source).ReadAll(); }, this);
    clock.Interrupt();
    ConnectStream(selectsPair ? PA_STREAM_NO_REMIX_CHANNELS : PA_STREAM_NOFLAGS, streamed);
}

void PulseSource::ConnectStream(pa_stream_flags_t more, const SoundFormat& streamed)
{
    pa_buffer_attr sizes{};
    sizes.maxlength = sizes.tlength = sizes.prebuf = sizes.minreq = static_cast<uint32_t>(-1);
    sizes.fragsize = BytesFor(kFragmentSeconds, streamed);
    const auto flags = static_cast<pa_stream_flags_t>(PA_STREAM_ADJUST_LATENCY | PA_STREAM_AUTO_TIMING_UPDATE |
                                                      PA_STREAM_INTERPOLATE_TIMING | PA_STREAM_DONT_MOVE | more);
    if (pa_stream_connect_record(stream, pulseName.c_str(), &sizes, flags) < 0 && stream != nullptr) {
        DropStream();
        Fail("The sound server refused to record " + name + ".");
    }
}

void PulseSource::DropStream()
{
    if (stream == nullptr)
        return;
    pa_stream_set_state_callback(stream, nullptr, nullptr);
    pa_stream_set_moved_callback(stream, nullptr, nullptr);
    pa_stream_set_read_callback(stream, nullptr, nullptr);
    pa_stream_disconnect(stream);
    pa_stream_unref(std::exchange(stream, nullptr));
}

void PulseSource::StreamChanged()
{
    if (PA_STREAM_IS_GOOD(pa_stream_get_state(stream)) && !ReadsFromAnotherSource())
        return;
    const bool moved = PA_STREAM_IS_GOOD(pa_stream_get_state(stream)) != 0;
    DropStream();
    Fail(moved ? "The sound server switched from " + name + " to another device."
               : "The sound server ended the recording of " + name + ".");
}

bool PulseSource::ReadsFromAnotherSource() const
{
    if (pa_stream_get_state(stream) != PA_STREAM_READY)
        return false;
    const char* const present = pa_stream_get_device_name(stream);
    return present != nullptr && present != pulseName;
}

void PulseSource::Fail(const std::string& why)
{
    trouble = why;
    if (!std::exchange(failureReported, true)) {
        soundLog.Warning(name, ": outage: ", why);
        sink->SoundFailed(siInputDeviceErr);
    }
    server->UpdateStreamsLater();
}

void PulseSource::ReadAll()
{
    const void* data = nullptr;
    size_t size = 0;
    const auto frameBytes = static_cast<size_t>(StreamFormat().BytesPerFrame());
    while (pa_stream_peek(stream, &data, &size) == 0 && size > 0) {
        if (data == nullptr) {
            framesLost += size / frameBytes;
            clock.Skip(static_cast<int64_t>(size / frameBytes), format.sampleRate);
        } else {
            Deliver({static_cast<const uint8_t*>(data), size / frameBytes * frameBytes});
        }
        pa_stream_drop(stream);
    }
}

// The stream always has two channels; mono is mixed here, since servers do it differently, and an average, unlike a
// sum, cannot exceed full scale.
SoundFormat PulseSource::StreamFormat() const
{
    SoundFormat streamed = format;
    streamed.channels = 2;
    return streamed;
}

std::span<const uint8_t> PulseSource::AsRequested(std::span<const uint8_t> stereo)
{
    if (format.channels == 2)
        return stereo;
    mixed.resize(stereo.size() / 2);
    for (size_t i = 0; i < mixed.size(); i += static_cast<size_t>(format.BytesPerFrame())) {
        if (format.sampleSize == 8) {
            mixed[i] = static_cast<uint8_t>((stereo[2 * i] + stereo[2 * i + 1]) / 2);
        } else if (format.sampleSize == 24) {
            PutWideSample24(&mixed[i], WideSample24(&stereo[2 * i]) / 2 + WideSample24(&stereo[2 * i + 3]) / 2);
        } else {
            std::array<int16_t, 2> frame;
            std::memcpy(frame.data(), &stereo[2 * i], sizeof frame);
            const auto mean = static_cast<int16_t>((frame[0] + frame[1]) / 2);
            std::memcpy(&mixed[i], &mean, sizeof mean);
        }
    }
    return mixed;
}

void PulseSource::NoteArrival()
{
    lastArrival = MonotonicNow();
    wasSuspended = false;
}

// A busy server may send much data at once, but the grabber needs small buffers.
void PulseSource::Deliver(std::span<const uint8_t> bytes)
{
    if (std::exchange(failureReported, false))
        soundLog.Info(name, ": delivers");
    NoteArrival();
    const SoundFormat streamed = StreamFormat();
    const size_t largest = BytesFor(kMaxBufferSeconds, streamed);
    int64_t measured = MeasuredCaptureTime();
    while (!bytes.empty()) {
        const auto piece = bytes.first(std::min(largest, bytes.size()));
        const auto frames = static_cast<int64_t>(piece.size()) / streamed.BytesPerFrame();
        const CaptureClock::Stamp stamp = clock.Take(measured, frames, format.sampleRate);
        sink->SoundArrived({.bytes = AsRequested(piece),
                            .format = format,
                            .captureTime = stamp.time,
                            .framesLost = std::exchange(framesLost, 0) + stamp.framesLost});
        measured += static_cast<int64_t>(static_cast<double>(frames) / format.sampleRate * 1e9);
        bytes = bytes.subspan(piece.size());
    }
}

// The data that is waiting here has already been captured, so the latency is at least that long. Before the server has
// reported a latency there is no better value.
int64_t PulseSource::MeasuredCaptureTime() const
{
    pa_usec_t latency = 0;
    int negative = 0;
    if (pa_stream_get_latency(stream, &latency, &negative) < 0 || negative != 0)
        latency = 0;
    const pa_usec_t waiting = pa_bytes_to_usec(pa_stream_readable_size(stream), pa_stream_get_sample_spec(stream));
    return MonotonicNow() - static_cast<int64_t>(std::max(latency, waiting)) * 1000;
}

} // namespace platform
