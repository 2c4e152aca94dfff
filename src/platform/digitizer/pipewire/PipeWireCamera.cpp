// SPDX-License-Identifier: MIT
// Cameras of the PipeWire server: libcamera on boards and laptops, sandboxes, virtual cameras.
//
// A started camera has its own connection, stream and loop, which the device's thread runs: the loop's descriptor
// becomes readable, one turn of the loop lets the library's callbacks run, and what the stream has received is taken.
// So no callback runs concurrently with the thread.
#include "platform/digitizer/pipewire/PipeWireCamera.h"

#include "platform/clock/MonotonicClock.h"
#include "platform/digitizer/CameraDigitizer.h"
#include "platform/digitizer/CaptureStamps.h"
#include "platform/digitizer/DeviceTimes.h"
#include "platform/digitizer/pipewire/PipeWireFormats.h"
#include "platform/digitizer/pipewire/PipeWireNodes.h"
#include "platform/digitizer/v4l2/V4L2List.h"
#include "platform/digitizer/v4l2/V4L2Pictures.h"
#include "platform/log/Log.h"

#include <algorithm>
#include <deque>

namespace platform {
namespace {

constexpr std::string_view kIdentityPrefix = "pipewire:";
constexpr int kTurn = 50; // milliseconds that one turn of the loop may wait during the start

// A number of the server and the kernel's number for it.
using SameColors = std::pair<uint32_t, uint32_t>;

constexpr SameColors kPrimaries[] = {
    {SPA_VIDEO_COLOR_PRIMARIES_BT709, V4L2_COLORSPACE_SRGB},
    {SPA_VIDEO_COLOR_PRIMARIES_BT470M, V4L2_COLORSPACE_470_SYSTEM_M},
    {SPA_VIDEO_COLOR_PRIMARIES_BT470BG, V4L2_COLORSPACE_470_SYSTEM_BG},
    {SPA_VIDEO_COLOR_PRIMARIES_SMPTE170M, V4L2_COLORSPACE_SMPTE170M},
    {SPA_VIDEO_COLOR_PRIMARIES_SMPTE240M, V4L2_COLORSPACE_SMPTE240M},
    {SPA_VIDEO_COLOR_PRIMARIES_BT2020, V4L2_COLORSPACE_BT2020},
};
constexpr SameColors kTransfers[] = {
    {SPA_VIDEO_TRANSFER_BT709, V4L2_XFER_FUNC_709},           {SPA_VIDEO_TRANSFER_SRGB, V4L2_XFER_FUNC_SRGB},
    {SPA_VIDEO_TRANSFER_SMPTE240M, V4L2_XFER_FUNC_SMPTE240M}, {SPA_VIDEO_TRANSFER_BT2020_12, V4L2_XFER_FUNC_709},
    {SPA_VIDEO_TRANSFER_GAMMA10, V4L2_XFER_FUNC_NONE},
};
constexpr SameColors kMatrices[] = {
    {SPA_VIDEO_COLOR_MATRIX_BT709, V4L2_YCBCR_ENC_709},
    {SPA_VIDEO_COLOR_MATRIX_BT601, V4L2_YCBCR_ENC_601},
    {SPA_VIDEO_COLOR_MATRIX_SMPTE240M, V4L2_YCBCR_ENC_SMPTE240M},
    {SPA_VIDEO_COLOR_MATRIX_BT2020, V4L2_YCBCR_ENC_BT2020},
};
constexpr SameColors kRanges[] = {
    {SPA_VIDEO_COLOR_RANGE_0_255, V4L2_QUANTIZATION_FULL_RANGE},
    {SPA_VIDEO_COLOR_RANGE_16_235, V4L2_QUANTIZATION_LIM_RANGE},
};

// 0, the kernel's default, if it is not stated or unknown.
uint32_t KernelNumber(std::span<const SameColors> known, uint32_t number)
{
    const auto found = std::ranges::find(known, number, &SameColors::first);
    return found == known.end() ? 0 : found->second;
}

void SetColors(V4L2Layout& layout, const spa_video_info_raw& info)
{
    layout.colorspace = KernelNumber(kPrimaries, info.color_primaries);
    layout.transfer = KernelNumber(kTransfers, info.transfer_function);
    layout.encoding = KernelNumber(kMatrices, info.color_matrix);
    layout.quantization = KernelNumber(kRanges, info.color_range);
}

// The client's part of the graph must keep up with the camera: a cycle that it misses is a lost frame. Clients of older
// versions get a real-time thread only with this configuration, which newer ones do not have.
pw_context* RealTimeContext(pw_loop* loop)
{
    pw_context* context = pw_context_new(loop, pw_properties_new(PW_KEY_CONFIG_NAME, "client-rt.conf", nullptr), 0);
    return context != nullptr ? context : pw_context_new(loop, nullptr, 0);
}

class PipeWireCamera final : public CaptureDevice {
public:
    explicit PipeWireCamera(PipeWireNode opened) : node(std::move(opened)) {}
    ~PipeWireCamera() override { PipeWireCamera::End(); }

    std::vector<CaptureFormat> Formats() override
    {
        std::vector<CaptureFormat> formats;
        for (const auto& offer : node.offers)
            formats.push_back(offer.format);
        return formats;
    }

    Outcome Begin(const CaptureFormat& wanted, bool, CaptureFormat& actual) override
    {
        End();
        const auto offer =
            std::ranges::find(node.offers, wanted, [](const PipeWireNode::Offer& one) { return one.format; });
        if (offer == node.offers.end())
            return {deviceCantMeetRequest, node.description + " does not offer this format."};
        chosen = *offer;
        trouble.clear();
        // Without its camera a stream would wait for one.
        if (PipeWireNodes::Instance().Find(node.name).name.empty())
            return Failure();
        stamps = CaptureStamps(wanted.frameRate);
        if (!Connect() || !WaitForStream()) {
            Outcome outcome{noDeviceForChannel, trouble.empty() ? node.description + " does not start." : trouble};
            End();
            return outcome;
        }
        actual = wanted;
        return {};
    }

    void End() override
    {
        received.clear();
        if (stream != nullptr)
            pw_stream_destroy(std::exchange(stream, nullptr));
        if (core != nullptr)
            pw_core_disconnect(std::exchange(core, nullptr));
        if (context != nullptr)
            pw_context_destroy(std::exchange(context, nullptr));
        if (loop != nullptr) {
            pw_loop_leave(loop);
            pw_loop_destroy(std::exchange(loop, nullptr));
        }
        pictures.reset();
        sequence = 0;
        lastNumber.reset();
        isLost = hasStreamed = false;
    }

    pollfd Waiting() const override { return {loop == nullptr ? -1 : pw_loop_get_fd(loop), POLLIN, 0}; }

    // What was received together with an earlier frame does not make the descriptor readable again.
    int Poll(std::span<pollfd> descriptors, int milliseconds) override
    {
        const int ready = ::poll(descriptors.data(), descriptors.size(), received.empty() ? milliseconds : 0);
        if (received.empty() || ready < 0)
            return ready;
        descriptors.back().revents |= POLLIN;
        return std::max(ready, 1);
    }

    Taken Take(short, CapturedFrame& frame) override
    {
        pw_loop_iterate(loop, 0);
        while (pw_buffer* buffer = pw_stream_dequeue_buffer(stream))
            received.push_back(buffer);
        if (received.empty())
            return isLost ? Taken::Failed : Taken::Nothing;
        const pw_buffer& buffer = *received.front();
        const auto* header = static_cast<const spa_meta_header*>(
            spa_buffer_find_meta_data(buffer.buffer, SPA_META_Header, sizeof(spa_meta_header)));
        CountFrame(header);
        frame.captureTime = stamps.Next(
            header != nullptr && header->pts > 0 ? std::optional(header->pts) : std::nullopt, MonotonicNow());
        frame.sequence = sequence;
        const Taken taken = Examine(*buffer.buffer, header, frame.picture);
        if (taken != Taken::Frame)
            GiveBack();
        return taken;
    }

    bool GiveBack() override
    {
        pw_stream_queue_buffer(stream, received.front());
        received.pop_front();
        return true;
    }

    Taken Silent() override
    {
        trouble = node.description + " sends no pictures.";
        return Taken::Failed;
    }

    Outcome Failure() const override
    {
        return {noDeviceForChannel, trouble.empty() ? node.description + " is not connected." : trouble};
    }

    std::vector<ImageControl> ReadControls() override
    {
        std::vector<ImageControl> controls;
        for (const auto& property : PipeWireNodes::Instance().Find(node.name).properties)
            controls.push_back(property.control);
        return controls;
    }

    Result WriteControl(uint32_t identity, int64_t value) override
    {
        return PipeWireNodes::Instance().SetProperty(node.name, identity, value);
    }

private:
    bool Connect()
    {
        static const pw_stream_events events = StreamEvents();
        loop = pw_loop_new(nullptr);
        if (loop == nullptr)
            return false;
        pw_loop_enter(loop);
        context = RealTimeContext(loop);
        core = context == nullptr ? nullptr : pw_context_connect(context, nullptr, 0);
        if (core == nullptr) {
            digitizerLog.Warning(node.description, ": connection to PipeWire: ", ErrorText(errno));
            trouble = "The PipeWire server is not running.";
            return false;
        }
        stream = pw_stream_new(core, "Velmora",
                               pw_properties_new(PW_KEY_MEDIA_TYPE, "Video", PW_KEY_MEDIA_CATEGORY, "Capture",
                                                 PW_KEY_MEDIA_ROLE, "Camera", PW_KEY_TARGET_OBJECT, node.name.c_str(),
                                                 nullptr));
        if (stream == nullptr)
            return false;
        pw_stream_add_listener(stream, &listener, &events, this);
        uint8_t memory[1024];
        spa_pod_builder builder = SPA_POD_BUILDER_INIT(memory, sizeof memory);
        const spa_pod* format = BuildFormat(builder, chosen);
        const auto flags = static_cast<pw_stream_flags>(PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_MAP_BUFFERS |
                                                        PW_STREAM_FLAG_DONT_RECONNECT);
        return pw_stream_connect(stream, PW_DIRECTION_INPUT, PW_ID_ANY, flags, &format, 1) >= 0;
    }

    bool WaitForStream()
    {
        const int64_t end = MonotonicNow() + std::chrono::nanoseconds(kServerStartTime).count();
        while (!hasStreamed && !isLost && MonotonicNow() < end)
            pw_loop_iterate(loop, kTurn);
        return hasStreamed && !isLost;
    }

    static pw_stream_events StreamEvents()
    {
        pw_stream_events events{};
        events.version = PW_VERSION_STREAM_EVENTS;
        events.state_changed = [](void* self, pw_stream_state before, pw_stream_state state, const char* error) {
            static_cast<PipeWireCamera*>(self)->StateChanged(before, state, error);
        };
        // What the server removes while we wait here must not be read any more.
        events.remove_buffer = [](void* self, pw_buffer* buffer) {
            std::erase(static_cast<PipeWireCamera*>(self)->received, buffer);
        };
        events.param_changed = [](void* self, uint32_t id, const spa_pod* parameter) {
            if (id == SPA_PARAM_Format && parameter != nullptr)
                static_cast<PipeWireCamera*>(self)->FormatChosen(parameter);
        };
        return events;
    }

    void StateChanged(pw_stream_state before, pw_stream_state state, const char* error)
    {
        digitizerLog.Debug(node.description, ": stream ", pw_stream_state_as_string(before), " to ",
                           pw_stream_state_as_string(state), ": ", error == nullptr ? "no error" : error);
        hasStreamed = hasStreamed || state == PW_STREAM_STATE_STREAMING;
        const bool isEnd = state == PW_STREAM_STATE_ERROR || (state == PW_STREAM_STATE_UNCONNECTED && hasStreamed) ||
                           (before == PW_STREAM_STATE_STREAMING && state != PW_STREAM_STATE_STREAMING);
        isLost = isLost || isEnd;
        if (state == PW_STREAM_STATE_ERROR)
            trouble = node.description + " is not available (" + (error == nullptr ? "no reason given" : error) + ").";
    }

    void FormatChosen(const spa_pod* parameter)
    {
        spa_video_info info{};
        if (spa_format_parse(parameter, &info.media_type, &info.media_subtype) < 0)
            return;
        layout = {.pixelFormat = chosen.pixelFormat, .field = V4L2_FIELD_NONE};
        if (info.media_subtype == SPA_MEDIA_SUBTYPE_mjpg &&
            spa_format_video_mjpg_parse(parameter, &info.info.mjpg) >= 0) {
            layout.width = info.info.mjpg.size.width;
            layout.height = info.info.mjpg.size.height;
        } else if (info.media_subtype == SPA_MEDIA_SUBTYPE_h264 &&
                   spa_format_video_h264_parse(parameter, &info.info.h264) >= 0) {
            layout.width = info.info.h264.size.width;
            layout.height = info.info.h264.size.height;
        } else if (spa_format_video_raw_parse(parameter, &info.info.raw) >= 0) {
            layout.width = info.info.raw.size.width;
            layout.height = info.info.raw.size.height;
            SetColors(layout, info.info.raw);
        }
        pictures.reset();
        if (static_cast<int32_t>(layout.width) != chosen.format.width ||
            static_cast<int32_t>(layout.height) != chosen.format.height)
            return Lose("delivers another picture size than was agreed.");
        AnswerFormat();
    }

    // The camera's formats are read again when it is opened the next time.
    void Lose(const std::string& why)
    {
        trouble = node.description + " " + why;
        isLost = true;
    }

    void AnswerFormat()
    {
        uint8_t memory[512];
        spa_pod_builder builder = SPA_POD_BUILDER_INIT(memory, sizeof memory);
        const spa_pod* answers[2];
        answers[0] = static_cast<const spa_pod*>(spa_pod_builder_add_object(
            &builder, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers, SPA_PARAM_BUFFERS_buffers,
            SPA_POD_CHOICE_RANGE_Int(8, 2, 16), SPA_PARAM_BUFFERS_dataType,
            SPA_POD_CHOICE_FLAGS_Int((1 << SPA_DATA_MemPtr) | (1 << SPA_DATA_MemFd) | (1 << SPA_DATA_DmaBuf))));
        answers[1] = static_cast<const spa_pod*>(spa_pod_builder_add_object(
            &builder, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, SPA_PARAM_META_type, SPA_POD_Id(SPA_META_Header),
            SPA_PARAM_META_size, SPA_POD_Int(sizeof(spa_meta_header))));
        pw_stream_update_params(stream, answers, 2);
    }

    // For servers and cameras that do not number their frames, the count advances by one per frame.
    void CountFrame(const spa_meta_header* header)
    {
        const uint64_t number = header == nullptr ? 0 : header->seq;
        const bool isNumbered = lastNumber && number > *lastNumber && number - *lastNumber < 0x10000;
        sequence += isNumbered ? static_cast<uint32_t>(number - *lastNumber) : 1;
        lastNumber = number;
    }

    // Only the buffers contain the stride.
    void FollowStrides(const spa_buffer& buffer)
    {
        V4L2Layout present = layout;
        present.planes = std::clamp<uint32_t>(buffer.n_datas, 1, 3);
        for (size_t i = 0; i < present.planes && i < buffer.n_datas; ++i)
            present.strides[i] = static_cast<uint32_t>(std::clamp(buffer.datas[i].chunk->stride, 0, 1 << 20));
        if (pictures && present == inUse)
            return;
        inUse = present;
        pictures.emplace(present);
    }

    Taken Examine(const spa_buffer& buffer, const spa_meta_header* header, RawFrame& picture)
    {
        constexpr uint32_t bad = SPA_META_HEADER_FLAG_CORRUPTED;
        constexpr int32_t badChunk = SPA_CHUNK_FLAG_CORRUPTED;
        if (layout.width == 0 || buffer.n_datas == 0 || (header != nullptr && (header->flags & bad) != 0))
            return Taken::Damaged;
        std::array<std::span<const uint8_t>, 3> memory;
        const size_t count = std::min<size_t>(buffer.n_datas, memory.size());
        for (size_t i = 0; i < count; ++i) {
            const spa_data& data = buffer.datas[i];
            if (data.data == nullptr || data.chunk == nullptr)
                return Taken::Damaged;
            const spa_chunk chunk = *data.chunk; // in memory to which the camera may write at any time
            if (chunk.size == 0 || (chunk.flags & badChunk) != 0 || chunk.offset > data.maxsize ||
                chunk.size > data.maxsize - chunk.offset)
                return Taken::Damaged;
            memory[i] = {static_cast<const uint8_t*>(data.data) + chunk.offset, chunk.size};
        }
        FollowStrides(buffer);
        const auto found = pictures->Read(std::span(memory).first(count), V4L2_FIELD_NONE, picture);
        return found == V4L2Pictures::Found::Picture   ? Taken::Frame
               : found == V4L2Pictures::Found::Waiting ? Taken::Alive
                                                       : Taken::Damaged;
    }

    const PipeWireNode node;
    PipeWireNode::Offer chosen; ///< the format requested by the stream
    pw_loop* loop = nullptr;
    pw_context* context = nullptr;
    pw_core* core = nullptr;
    pw_stream* stream = nullptr;
    spa_hook listener{};
    std::deque<pw_buffer*> received; ///< dequeued and not given back; the first is delivered next
    V4L2Layout layout;               ///< as negotiated
    V4L2Layout inUse;                ///< with the buffers' strides
    std::optional<V4L2Pictures> pictures;
    CaptureStamps stamps;
    uint32_t sequence = 0;
    std::optional<uint64_t> lastNumber;
    std::string trouble;
    bool hasStreamed = false;
    bool isLost = false;
};

} // namespace

std::vector<DigitizerEntry> ListPipeWireDigitizers()
{
    std::vector<DigitizerEntry> entries;
    for (const PipeWireNode& node : PipeWireNodes::Instance().List())
        if (!IsListedAs(V4L2System::Current(), node.kernelPath))
            entries.push_back({.name = node.description,
                               .identity = std::string(kIdentityPrefix) + node.name,
                               .inputs = {},
                               .color = std::ranges::any_of(node.offers, [](const PipeWireNode::Offer& offer) {
                                   return offer.pixelFormat != V4L2_PIX_FMT_GREY;
                               })});
    return entries;
}

std::unique_ptr<Digitizer> OpenPipeWireDigitizer(const std::string& identity)
{
    if (!identity.starts_with(kIdentityPrefix))
        return nullptr;
    const std::string name = identity.substr(kIdentityPrefix.size());
    const PipeWireNode listed = PipeWireNodes::Instance().Find(name);
    if (listed.name.empty())
        return nullptr;
    return std::make_unique<CameraDigitizer>(
        CameraDigitizer::Label{listed.description, identity},
        [name, description = listed.description](Outcome& outcome) -> std::shared_ptr<CaptureDevice> {
            PipeWireNode node = PipeWireNodes::Instance().Find(name);
            if (!node.name.empty())
                return std::make_shared<PipeWireCamera>(std::move(node));
            outcome = {noDeviceForChannel, description + " is not connected."};
            return nullptr;
        });
}

} // namespace platform
