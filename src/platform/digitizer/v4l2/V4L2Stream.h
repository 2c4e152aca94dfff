#pragma once

#include "platform/digitizer/v4l2/V4L2Formats.h"

#include <optional>
#include <vector>

namespace platform {

/// One run of a device: its buffers are mapped and it delivers until the object ends.
class V4L2Stream {
public:
    /// What `Take` found.
    enum class Taken { Frame, Damaged, Nothing, FormatChanged, Failed };

    /// Whether a run may begin in another size than was asked for.
    enum class Size { AsWanted, AsTheDeviceSays };

    /// Sets the device to a format and starts it. Null, and a result code, when any step fails: the device is then
    /// left as if nothing had been asked.
    static std::unique_ptr<V4L2Stream> Begin(std::shared_ptr<V4L2Device> device, const CaptureFormat& wanted, Size size,
                                             Result& result);

    V4L2Stream(const V4L2Stream&) = delete;
    V4L2Stream& operator=(const V4L2Stream&) = delete;
    ~V4L2Stream();

    const CaptureFormat& Format() const { return format; }
    const V4L2Device& Device() const { return *device; }

    /// Takes the next frame off the device. Its picture is borrowed from the device until `GiveBack`, which must
    /// follow a `Frame`; nothing is to be given back otherwise.
    Taken Take(CapturedFrame& frame);
    bool GiveBack();

    /// Why the last `Take` or `GiveBack` failed.
    Result Failure() const { return ResultOfDeviceError(lastError); }

    /// Whether a pending event says that the source has another format now. Takes all events off the device.
    bool SourceChanged();

private:
    struct Mapping {
        uint8_t* memory = nullptr;
        size_t length = 0;
    };

    explicit V4L2Stream(std::shared_ptr<V4L2Device> device) : device(std::move(device)) {}
    Result MapBuffers();
    Result Run();
    Taken Examine(std::span<const uint8_t> bytes, RawFrame& picture);
    Taken ExamineRaw(std::span<const uint8_t> bytes, RawFrame& picture);
    bool FormatIsStale() const;
    void CountFrame(uint32_t deviceSequence);
    int64_t CaptureTimeOf(const v4l2_buffer& buffer);

    std::shared_ptr<V4L2Device> device;
    CaptureFormat format;
    v4l2_pix_format layout{};
    std::vector<Mapping> mappings;
    v4l2_buffer current{};
    std::vector<uint8_t> packed; // rows without their padding, for devices that have one
    int lastError = 0;
    bool requested = false;
    bool running = false;
    std::optional<uint32_t> lastDeviceSequence;
    uint32_t sequence = 0;
    int64_t lastCaptureTime = 0;
};

/// Width and height that a JPEG frame's header tells; nothing for bytes that are no JPEG picture.
std::optional<std::pair<int32_t, int32_t>> JpegSize(std::span<const uint8_t> frame);

} // namespace platform
