#pragma once

#include "platform/digitizer/VideoDigitizer.h"
#include "platform/grabber/Bounds.h"
#include "platform/grabber/Channel.h"
#include "platform/grabber/CompressionWorkers.h"
#include "platform/grabber/Preview.h"

#include <mutex>
#include <optional>

namespace platform {

/// A channel over a digitizer.
class VideoChannel final : public Channel, private FrameSink {
public:
    VideoChannel(SampleQueue& queue, std::shared_ptr<Digitizer> device);
    ~VideoChannel() override;

    /// 600; a tape's is one in which the frames of both systems have whole lengths.
    int32_t TimeScale() const override;
    void FinishArrived() override;
    void DiscardArrived() override;

    std::vector<ListedDevice> Devices() const override;
    ListedDevice Device() const override;
    Result TakeDevice(const ListedDevice& device) override;
    std::function<void()> WayBack() override;
    TaggedItems Settings() const override;
    void ApplySettings(const TaggedItems& settings) override;

    Digitizer& TheDigitizer() { return *digitizer; }
    ComponentInstance DigitizerReference() const { return instance; }

    /// The frame's own rectangle, from 0, 0.
    Bounds SourceRect() const;

    CompressionSettings Compression() const;

    /// Whether the device's frames are of that codec already, so that they would be kept as they come.
    bool IsDelivered(FourCharCode codec) const;

    /// `noCodecErr` for a compressor that can't be made.
    Result SetCompression(const CompressionSettings& settings);

    /// Takes the nearest that the device has. A compressor that only the old format had gives way to the usual one.
    Result SetFormat(const CaptureFormat& wanted);
    Result SetFrameRate(double rate);
    Result SetFrameSize(int32_t width, int32_t height);

    std::optional<Bounds> bounds; ///< where previews are drawn; none: the frame's own rectangle

    /// Draws a frame into the port, and keeps no sample.
    void DrawPreview(const Sample& frame, PortReference port);

    /// The picture of a frame that is being handed over, or a late one of a frame before it. Clears `shown` where there
    /// will be none in time.
    std::unique_ptr<DecodedPicture> TakePicture(Sample& frame, bool& shown);

    /// Told the scale at which a frame was shown, 0 where it was not: then frames are no longer decoded ahead.
    void NoteShown(double scale);

    /// The newest frame that came to the main thread, for grabbing it later.
    Sample newest;

private:
    Result StartDevice() override { return digitizer->Start(*this); }
    void StopDevice() override;
    void FrameArrived(const CapturedFrame& frame) override;
    void FrameDamaged(uint32_t sequence) override;
    void CaptureFailed(Result result) override { NoteFailure(result); }

    void AdoptDevice(std::shared_ptr<Digitizer> device);
    void ReplaceImpossibleCompressor();
    void CountLost(uint32_t sequence);
    void DecodeMeanwhile(const RawFrame& picture, Sample& sample);
    void PassThrough(const RawFrame& picture, Sample sample);
    CompressionWorkers& Workers();
    CompressionWorkers::Settings CompressionInUse() const;

    std::shared_ptr<Digitizer> digitizer;
    ComponentInstance instance = 0;
    Preview preview;

    std::unique_ptr<DecodeAhead> decodeAhead; ///< made by the main thread when the first frame was shown
    std::atomic<bool> decodesAhead{false};

    mutable std::mutex compressionMutex;
    CompressionWorkers::Settings compression;

    // Of the device's thread, or of the main thread while the device is stopped.
    std::optional<uint32_t> lastSequence;
    int64_t lastCaptureTime = 0;
    SharedDescription passThroughDescription;
    std::unique_ptr<CompressionWorkers> workers; ///< made with the first frame that needs them
};

} // namespace platform
