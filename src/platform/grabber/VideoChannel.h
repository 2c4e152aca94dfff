// SPDX-License-Identifier: MIT
#pragma once

#include "platform/digitizer/VideoDigitizer.h"
#include "platform/grabber/Bounds.h"
#include "platform/grabber/Channel.h"
#include "platform/grabber/CompressionWorkers.h"
#include "platform/grabber/Preview.h"

#include <mutex>
#include <optional>

namespace platform {

/// A channel that captures from a digitizer.
class VideoChannel final : public Channel, private FrameSink {
public:
    /// A channel on a digitizer, with the default compressor for that device.
    VideoChannel(SampleQueue& queue, std::shared_ptr<Digitizer> device);
    ~VideoChannel() override;

    /// 600; for a tape, a scale in which the frames of both systems have integer durations.
    int32_t TimeScale() const override;
    std::string Reason() const override { return digitizer->Reason(); }
    void FinishArrived() override;

    /// Whether a frame captured before `time` is expected that isn't in the queue yet: the device may still hold it,
    /// for as long as frames recently took to arrive, or it is being compressed.
    bool AwaitsFrameBefore(int64_t time, int64_t now) const;
    void DiscardArrived() override;

    std::vector<ListedDevice> Devices() const override;
    ListedDevice Device() const override;
    Result TakeDevice(const ListedDevice& device) override;
    std::function<void()> RestorePoint() override;
    TaggedItems Settings() const override;
    void ApplySettings(const TaggedItems& settings) override;
    void ForgetSettings() override;

    /// The digitizer in use.
    Digitizer& GetDigitizer() { return *digitizer; }
    /// The component instance of the digitizer, for the VD calls.
    ComponentInstance DigitizerReference() const { return instance; }

    /// The rectangle of the frame, at 0, 0.
    Bounds SourceRect() const;

    /// The compressor's settings.
    CompressionSettings Compression() const;

    /// Whether the device's frames already have that codec, so that they would be stored unchanged.
    bool IsDelivered(FourCharCode codec) const;

    /// Sets the compressor. `noCodecErr` for an unsupported one.
    Result SetCompression(const CompressionSettings& settings);

    /// Uses the nearest format that the device supports. A compressor that only the old format supported is replaced by
    /// the default.
    Result SetFormat(const CaptureFormat& wanted);
    /// Uses the nearest frame rate that the device supports, in frames per second.
    Result SetFrameRate(double rate);
    /// Uses the nearest frame size that the device supports, in pixels.
    Result SetFrameSize(int32_t width, int32_t height);

    std::optional<Bounds> bounds; ///< where previews are drawn; none: the frame's own rectangle

    /// Draws a frame into the port, and keeps no sample.
    void DrawPreview(const Sample& frame, PortReference port);

    /// The picture of a frame that is being delivered and shown, or the newest of the frames before it. Clears `shown`
    /// if there is none in time. None for a frame that is not shown.
    std::unique_ptr<DecodedPicture> TakePicture(Sample& frame, bool& shown);

    /// Makes the bytes of a frame that has not been compressed. If they are not `wanted`, for a movie, this only
    /// happens when somebody reads them: the frame then has room for them, and zeros after them. Frames that arrive
    /// from now on are compressed ahead if these were wanted. False, and a loss, if the frame can't be read.
    bool ProvideBytes(Sample& frame, bool wanted);

    /// Stores the size at which a frame was shown, 0 by 0 if it was not: then frames are no longer decoded ahead.
    void NoteShown(const ShownSize& size);

    /// The newest frame that reached the main thread, for grabbing it later.
    Sample newest;

private:
    Result StartDevice() override { return digitizer->Start(*this); }
    void StopDevice() override;
    void FrameArrived(const CapturedFrame& frame) override;
    void FrameDamaged(uint32_t sequence) override;
    void CaptureFailed(Result result) override { NoteFailure(result); }

    void AdoptDevice(std::shared_ptr<Digitizer> device);
    void ChooseUsualCompressor(bool wasCamcorder);
    bool KeepsFormat(const CaptureFormat& other) const;
    void ReplaceImpossibleCompressor();
    void NoteFrameArrival(int64_t captureTime, int64_t now);
    void Take(const CapturedFrame& frame, int64_t now);
    void CountMissing(uint32_t sequence, int64_t captureTime);
    void Describe(const RawFrame& picture);
    void DecodeMeanwhile(Sample& sample);
    void LetDeviceCompress(FourCharCode codec);
    CompressionWorkers& Workers();
    CompressionWorkers::Settings CompressionInUse() const;

    std::shared_ptr<Digitizer> digitizer;
    ComponentInstance instance = 0;
    Preview preview;

    std::unique_ptr<DecodeAhead> decodeAhead; ///< created by the main thread when the first frame was shown
    std::atomic<bool> decodesAhead{false};
    std::atomic<bool> compressesAhead{true};       ///< whether the last frame's bytes were wanted
    std::unique_ptr<DecodedPicture> newestPicture; ///< of a frame that was delivered without being shown

    mutable std::mutex compressionMutex;
    CompressionWorkers::Settings compression;

    // Used by the device's thread, or by the main thread while the device is stopped.
    std::optional<uint32_t> lastSequence;
    int64_t lastCaptureTime = 0;
    SharedDescription delivered;                 ///< of the frames as the device delivers them
    RawFrame describedFrame;                     ///< the frame for which `delivered` was made, without bytes
    std::atomic<int64_t> newestArrived{0};       ///< capture time of the newest frame from the device
    std::atomic<int64_t> latency{0};             ///< from capture to arrival, the longest recent one
    std::unique_ptr<CompressionWorkers> workers; ///< created with the first frame that needs them
};

} // namespace platform
