// SPDX-License-Identifier: MIT
#pragma once

#include "platform/digitizer/CaptureStamps.h"
#include "platform/digitizer/v4l2/V4L2Formats.h"
#include "platform/digitizer/v4l2/V4L2Pictures.h"

namespace platform {

/// One run of a device: its buffers are mapped and it delivers while this object lives.
class V4L2Stream {
public:
    /// Sets the device's format and starts it. Null, with an error number, if any step fails; the device is then in its
    /// previous state. With `sameSize`, another size than the requested one is a failure.
    static std::unique_ptr<V4L2Stream> Begin(std::shared_ptr<V4L2Device> device, const std::vector<V4L2Offer>& offers,
                                             const CaptureFormat& wanted, bool sameSize, int& error);

    V4L2Stream(const V4L2Stream&) = delete;
    V4L2Stream& operator=(const V4L2Stream&) = delete;
    ~V4L2Stream();

    /// The format that the device delivers.
    const CaptureFormat& Format() const { return format; }

    /// Takes the next frame. Its picture is valid until `GiveBack`, which must follow a `Frame` and only that.
    Taken Take(CapturedFrame& frame);
    /// Returns the buffer of the last frame to the driver; false on failure.
    bool GiveBack();

    /// The error number of the last failed `Take` or `GiveBack`.
    int LastError() const { return lastError; }

private:
    struct Mapping {
        uint8_t* memory = nullptr;
        size_t length = 0;
    };
    /// A buffer's record with its planes.
    struct Buffer {
        v4l2_buffer record{};
        std::array<v4l2_plane, VIDEO_MAX_PLANES> planes{};
    };

    explicit V4L2Stream(std::shared_ptr<V4L2Device> device) : device(std::move(device)) {}
    int Call(unsigned long request, Buffer& buffer, uint32_t index) const;
    int RequestBuffers(uint32_t& count) const;
    int MapBuffers();
    int MapPlanes(uint32_t index);
    int Run();
    Taken Examine(RawFrame& picture);
    bool FormatIsStale() const;
    void CountFrame(uint32_t deviceSequence);
    int64_t CaptureTimeOf(const v4l2_buffer& record);

    std::shared_ptr<V4L2Device> device;
    CaptureFormat format;
    V4L2Layout layout;
    std::optional<V4L2Pictures> pictures;
    CaptureStamps stamps;
    std::vector<std::vector<Mapping>> mappings; ///< by buffer and plane of memory
    Buffer current;
    int lastError = 0;
    bool requested = false;
    bool running = false;
    std::optional<uint32_t> lastDeviceSequence;
    uint32_t sequence = 0;
};

} // namespace platform
