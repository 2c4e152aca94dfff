// SPDX-License-Identifier: MIT
// A video channel.
//
// The digitizer delivers on its own thread. A frame in the chosen compressor's own format is copied once, into the
// block that the data procedure will receive; any other is copied once for the workers, which compress it. In either
// case the queue receives the frames in the order of capture.
//
// The channel owns the digitizer and the component instance through which callers reach the device's image controls.
// Both live until the channel switches to another device.
#include "platform/grabber/VideoChannel.h"

#include "platform/clock/MonotonicClock.h"
#include "platform/compression/KeyFrames.h"
#include "platform/digitizer/FormatChoice.h"
#include "platform/digitizer/FrameTrace.h"
#include "platform/grabber/DeviceLists.h"
#include "platform/grabber/FrameCheck.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace platform {
namespace {

// A device's counter jumps when it restarts; such a step is not a loss.
constexpr uint32_t kMaxGap = 0x10000;

constexpr int64_t kMaxLatency = 300 * kNanosecondsPerMillisecond;
// Variation of the time from capture to arrival.
constexpr int64_t kLatencyMargin = 10 * kNanosecondsPerMillisecond;
// An unusual latency is forgotten within a few seconds.
constexpr int64_t kLatencyDecay = 64;

bool IsDv(FourCharCode codec)
{
    return codec == CodeOf("dvc ") || codec == CodeOf("dvcp");
}

// A camcorder's frames have one of two codes, depending on the television system of the tape.
bool IsOneCodec(FourCharCode a, FourCharCode b)
{
    return a == b || (IsDv(a) && IsDv(b));
}

bool CanCompress(const CompressionSettings& settings)
{
    return std::ranges::any_of(AvailableCompressors(),
                               [&](const CompressorName& known) { return known.codec == settings.codec; });
}

// A block with room for a frame, compressed when it is read. A frame that does not fit, or can't be read, leaves zeros.
SampleData BytesOnDemand(const ImageDescription& image, std::function<OwnedBlock()> compress)
{
    constexpr int64_t kHeaders = 0x10000;
    OwnedBlock room = OwnedBlock::Uncleared(PackedImageSize(kPixelFormat32, image.width, image.height) + kHeaders);
    FillWhenRead(room.Get(), [start = room.Get(), size = room.Size(), compress = std::move(compress)] {
        auto* const target = PointerAt<uint8_t>(start);
        std::memset(target, 0, static_cast<size_t>(size));
        if (const OwnedBlock frame = compress(); frame.Size() <= size)
            std::ranges::copy(frame.Bytes(), target);
    });
    return SampleData(std::move(room));
}

} // namespace

VideoChannel::VideoChannel(SampleQueue& queue, std::shared_ptr<Digitizer> device)
    : Channel(kVideoMediaType, queue), compression(std::make_shared<CompressionSettings>())
{
    AdoptDevice(std::move(device));
}

VideoChannel::~VideoChannel()
{
    Halt();
    workers.reset();
    CloseComponent(instance);
}

void VideoChannel::AdoptDevice(std::shared_ptr<Digitizer> device)
{
    const bool wasCamcorder = digitizer && IsDv(digitizer->Format().format);
    CloseComponent(instance);
    digitizer = std::move(device);
    instance = OpenDigitizerInstance(digitizer);
    ChooseUsualCompressor(wasCamcorder);
}

void VideoChannel::ForgetSettings()
{
    Channel::ForgetSettings();
    bounds.reset();
    newest = {};
    SetCompression(CompressionSettings());
    ChooseUsualCompressor(false);
}

void VideoChannel::ChooseUsualCompressor(bool wasCamcorder)
{
    // A tape is recorded unchanged unless another compressor is requested.
    CompressionSettings settings = Compression();
    if (const FourCharCode sent = digitizer->Format().format; IsDv(sent))
        settings.codec = sent;
    else if (wasCamcorder && IsDv(settings.codec))
        settings.codec = CompressionSettings().codec;
    SetCompression(settings);
    ReplaceImpossibleCompressor();
}

// Falls back to the default compressor if this device cannot deliver the chosen one.
void VideoChannel::ReplaceImpossibleCompressor()
{
    if (SetCompression(Compression()) != noErr)
        SetCompression(CompressionSettings());
}

void VideoChannel::FinishArrived()
{
    if (workers)
        workers->Finish();
}

bool VideoChannel::AwaitsFrameBefore(int64_t time, int64_t now) const
{
    if (workers && workers->Awaits(time))
        return true;
    return newestArrived < time && now < time + latency + kLatencyMargin && IsAwaitedAt(now, 0);
}

void VideoChannel::DiscardArrived()
{
    if (workers)
        workers->Discard();
}

void VideoChannel::StopDevice()
{
    digitizer->Stop();
    lastSequence.reset();
}

std::vector<ListedDevice> VideoChannel::Devices() const
{
    return ListedDevices(ListDigitizers());
}

ListedDevice VideoChannel::Device() const
{
    return {digitizer->Name(),  digitizer->Identity(), digitizer->Inputs(), digitizer->Input(), true,
            digitizer->Reason()};
}

int32_t VideoChannel::TimeScale() const
{
    return IsDv(digitizer->Format().format) ? 30'000 : 600;
}

Result VideoChannel::TakeDevice(const ListedDevice& device)
{
    if (device.identity == digitizer->Identity())
        return noErr;
    std::shared_ptr<Digitizer> other = OpenDigitizer(device.identity, device.name);
    if (other->Identity() != device.identity)
        return noDeviceForChannel;
    if (FormatIsFixed() && !KeepsFormat(other->Format()))
        return cantDoThatInCurrentMode;
    if (const Result result = RunInstead(*other, static_cast<FrameSink&>(*this)); result != noErr)
        return result;
    AdoptDevice(std::move(other));
    description = nullptr;
    return noErr;
}

std::function<void()> VideoChannel::RestorePoint()
{
    return [this, device = digitizer] {
        if (device != digitizer)
            AdoptDevice(device);
    };
}

Bounds VideoChannel::SourceRect() const
{
    // A device may change its size on its own: then the newest frame has the present size.
    if (Running() && description)
        return BoundsOfSize(description->image.width, description->image.height);
    const CaptureFormat format = digitizer->Format();
    return BoundsOfSize(format.width, format.height);
}

CompressionSettings VideoChannel::Compression() const
{
    return *CompressionInUse();
}

bool VideoChannel::IsDelivered(FourCharCode codec) const
{
    return IsOneCodec(codec, digitizer->Format().format);
}

CompressionWorkers::Settings VideoChannel::CompressionInUse() const
{
    const std::lock_guard lock(compressionMutex);
    return compression;
}

Result VideoChannel::SetCompression(const CompressionSettings& settings)
{
    if (!CanCompress(settings) && !IsDelivered(settings.codec))
        return noCodecErr;
    const CompressionSettings present = compression ? Compression() : settings;
    if (FormatIsFixed() && (settings.codec != present.codec || settings.depth != present.depth))
        return cantDoThatInCurrentMode;
    if (!FormatIsFixed())
        LetDeviceCompress(settings.codec);
    auto taken = std::make_shared<CompressionSettings>(settings);
    taken->frameRate = digitizer->Format().frameRate;
    const std::lock_guard lock(compressionMutex);
    compression = std::move(taken);
    return noErr;
}

// Switches a camera to its own inter-frame format while that compressor is chosen, and otherwise back to another
// format, if it has one in the present size and at the present rate.
void VideoChannel::LetDeviceCompress(FourCharCode codec)
{
    const CaptureFormat present = digitizer->Format();
    if (present.format == codec || !(IsInterFrame(codec) || IsInterFrame(present.format)))
        return;
    constexpr double kSameRate = 0.5;
    const FourCharCode format = IsInterFrame(codec) ? codec : 0;
    const CaptureFormat nearest =
        NearestFormat(digitizer->Formats(), {format, present.width, present.height, present.frameRate});
    const bool isBetter = nearest.format == codec || (IsInterFrame(present.format) && !IsInterFrame(nearest.format));
    if (isBetter && nearest.width == present.width && nearest.height == present.height &&
        nearest.frameRate > present.frameRate - kSameRate)
        digitizer->SetFormat(nearest);
}

Result VideoChannel::SetFormat(const CaptureFormat& wanted)
{
    // A camera that uses the nearest format already is not restarted.
    const CaptureFormat nearest = NearestFormat(digitizer->Formats(), wanted);
    if (nearest == digitizer->Format())
        return noErr;
    if (FormatIsFixed() && !KeepsFormat(nearest))
        return cantDoThatInCurrentMode;
    if (Resting())
        Halt();
    const Result result = digitizer->SetFormat(wanted);
    ReplaceImpossibleCompressor();
    return result;
}

// Whether frames would go into a movie as before: in size, and in codec if they are not recompressed.
bool VideoChannel::KeepsFormat(const CaptureFormat& other) const
{
    const CaptureFormat present = digitizer->Format();
    return other.width == present.width && other.height == present.height &&
           (other.format == present.format ||
            !(IsOneCodec(Compression().codec, present.format) || IsOneCodec(Compression().codec, other.format)));
}

Result VideoChannel::SetFrameRate(double rate)
{
    CaptureFormat wanted = digitizer->Format();
    wanted.frameRate = rate;
    if (rate == 0)
        for (const CaptureFormat& offered : digitizer->Formats())
            if (offered.format == wanted.format && offered.width == wanted.width && offered.height == wanted.height)
                wanted.frameRate = std::max(wanted.frameRate, offered.frameRate);
    return SetFormat(wanted);
}

Result VideoChannel::SetFrameSize(int32_t width, int32_t height)
{
    CaptureFormat wanted = digitizer->Format();
    wanted.width = width;
    wanted.height = height;
    return SetFormat(wanted);
}

void VideoChannel::DrawPreview(const Sample& frame, PortReference port)
{
    preview.Draw(frame, port, bounds.value_or(SourceRect()));
}

void VideoChannel::FrameArrived(const CapturedFrame& frame)
{
    const int64_t now = MonotonicNow();
    CountMissing(frame.sequence, frame.captureTime);
    NoteFrameArrival(frame.captureTime, now);
    if (Accepting())
        Take(frame, now);
    // Only now can the frame be found downstream.
    newestArrived = frame.captureTime;
}

void VideoChannel::Take(const CapturedFrame& frame, int64_t now)
{
    const RawFrame& picture = frame.picture;
    const auto whole = WholeFrame(picture);
    if (whole.empty()) {
        CountLost(counts.damaged, frame.captureTime, SGLostFrame::Cause::Damaged);
        return;
    }
    if (!frame.isWhole)
        ++counts.incomplete;
    TraceArrival(frame.captureTime, picture.bytes);
    Sample sample;
    sample.data = SampleData::CopyOf(whole);
    sample.captureTime = sample.stampedTime = frame.captureTime;
    sample.arrivalTime = now;
    if (sample.data.Size() == 0) {
        CountLost(counts.droppedInQueue, frame.captureTime, SGLostFrame::Cause::Queue);
        return;
    }
    Describe(picture);
    DecodeMeanwhile(sample);
    auto settings = CompressionInUse();
    const bool passesThrough = IsOneCodec(picture.format, settings->codec);
    sample.description = passesThrough ? delivered : nullptr;
    // Frames that arrived before this one, in the previous format, go first.
    if (passesThrough && !IsInterFrame(picture.format) && !(workers && workers->Busy()))
        queue.Put(number, std::move(sample));
    else
        Workers().Submit(
            {std::move(sample), delivered, passesThrough ? nullptr : std::move(settings), compressesAhead});
}

// Its number is used, so it is not counted as lost as well.
void VideoChannel::FrameDamaged(uint32_t sequence)
{
    const int64_t now = MonotonicNow();
    CountMissing(sequence, now);
    if (Accepting())
        CountLost(counts.damaged, now, SGLostFrame::Cause::Damaged);
}

// A frame that will be shown is decoded from what the device delivered, even if a compressor makes another frame of it.
void VideoChannel::DecodeMeanwhile(Sample& sample)
{
    if (decodesAhead && DecodeAhead::Suits(delivered->image))
        sample.picture = decodeAhead->Submit(sample.data.Share(), delivered->image);
}

std::unique_ptr<DecodedPicture> VideoChannel::TakePicture(Sample& frame, bool& shown)
{
    const auto ahead = std::exchange(frame.picture, nullptr);
    if (!ahead)
        return nullptr;
    if (auto picture = decodeAhead->Take(*ahead))
        newestPicture = std::move(picture);
    if (!shown)
        return nullptr;
    shown = newestPicture != nullptr;
    return std::move(newestPicture);
}

bool VideoChannel::ProvideBytes(Sample& frame, bool wanted)
{
    compressesAhead = wanted;
    const auto compress = std::exchange(frame.compress, nullptr);
    if (!compress)
        return true;
    if (wanted)
        frame.data = SampleData(compress());
    else
        frame.data = BytesOnDemand(frame.description->image, compress);
    if (frame.data.Size() == 0)
        CountLost(counts.unreadable, frame.captureTime, SGLostFrame::Cause::Unreadable);
    return frame.data.Size() > 0;
}

void VideoChannel::NoteShown(const ShownSize& size)
{
    const bool isShown = size.width > 0;
    if (isShown && !decodeAhead)
        decodeAhead = std::make_unique<DecodeAhead>([this] { queue.PictureDone(); });
    if (isShown)
        decodeAhead->SetShownSize(size);
    decodesAhead = isShown;
}

void VideoChannel::NoteFrameArrival(int64_t captureTime, int64_t now)
{
    NoteArrival(now, lastCaptureTime == 0 ? 0 : captureTime - lastCaptureTime);
    lastCaptureTime = captureTime;
    const int64_t faded = latency - latency / kLatencyDecay;
    latency = std::clamp(now - captureTime, faded, std::max(faded, kMaxLatency));
}

// Reports the frames missing before the one of that number and time, at even distances.
void VideoChannel::CountMissing(uint32_t sequence, int64_t captureTime)
{
    const uint32_t step = lastSequence ? sequence - *lastSequence : 1;
    if (Accepting() && step > 1 && step < kMaxGap)
        for (uint32_t i = 1; i < step; ++i)
            CountLost(counts.lostBeforeUs, lastCaptureTime + (captureTime - lastCaptureTime) / step * i,
                      SGLostFrame::Cause::Device);
    lastSequence = sequence;
}

// Consecutive frames of one kind share a description.
void VideoChannel::Describe(const RawFrame& picture)
{
    const RawFrame& known = describedFrame;
    if (delivered && known.format == picture.format && known.width == picture.width && known.height == picture.height &&
        known.colors == picture.colors && std::ranges::equal(known.configuration, picture.configuration))
        return;
    delivered = DescribeImage(DescriptionOfPassThrough(picture));
    describedFrame = picture;
    describedFrame.bytes = {};
    describedFrame.configuration = FrameOfDescription({}, delivered->image).configuration;
}

CompressionWorkers& VideoChannel::Workers()
{
    if (!workers)
        workers = std::make_unique<CompressionWorkers>(CompressionWorkers::Outlet{
            [this](Sample sample) { queue.Put(number, std::move(sample)); },
            [this](int64_t captureTime) { CountLost(counts.unreadable, captureTime, SGLostFrame::Cause::Unreadable); },
            [this](int64_t captureTime) { CountLost(counts.droppedInQueue, captureTime, SGLostFrame::Cause::Queue); }});
    return *workers;
}

} // namespace platform
