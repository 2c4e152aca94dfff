// SPDX-License-Identifier: MIT
// The table of bad input over cameras of a PipeWire server: a real server, and a camera in the test's hand.
#include "DeviceFaults.h"
#include "platform/clock/MonotonicClock.h"
#include "platform/digitizer/pipewire/PipeWireFormats.h"
#include "support/Await.h"
#include "support/PipeWireStream.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <functional>

using namespace platform;

namespace {

constexpr const char* kName = "Tested Camera";
constexpr const char* kIdentity = "pipewire:Tested Camera";

/// A camera that drives its own node, a frame whenever it is told to.
class PipeWireTested : public TestedDevice {
public:
    PipeWireTested()
    {
        pw_init(nullptr, nullptr);
        loop = pw_thread_loop_new("camera", nullptr);
        pw_thread_loop_start(loop);
    }
    ~PipeWireTested() override
    {
        PipeWireTested::Plug(false);
        pw_thread_loop_stop(loop);
        pw_thread_loop_destroy(loop);
    }

    void Plug(bool in) override
    {
        if (in != (stream != nullptr))
            in ? Connect() : Disconnect();
        EXPECT_TRUE(Await(
            [&] { return in == (std::ranges::count(ListDigitizers(), kIdentity, &DigitizerEntry::identity) > 0); }));
    }

    bool Send(const SentFrame& frame) override
    {
        return Cycle([&] { return Fill(frame); });
    }

    // Newer versions hand a frame on in the cycle after its own, and a receiver that still handles a cycle misses the
    // next one.
    bool RunOn() override
    {
        return IsStreaming() && Cycle([] { return true; });
    }

    bool IsIdle() override
    {
        return Await([this] { return !IsStreaming(); });
    }

    int RandomSteps() const override { return 80; }

    /// The picture's width from the next time on that it is plugged in; its height is half of it.
    int32_t width = 64;

private:
    // A cycle of the server, once `prepare` succeeds. A buffer that is queued while it runs would wait for the next
    // one.
    bool Cycle(const std::function<bool()>& prepare)
    {
        const bool isBegun = Await([&] {
            pw_thread_loop_lock(loop);
            const bool isReady = stream != nullptr && prepare();
            cycleIsOver = !isReady;
            if (isReady)
                pw_stream_trigger_process(stream);
            pw_thread_loop_unlock(loop);
            return isReady;
        });
        return isBegun && Await([this] { return cycleIsOver || !IsStreaming(); });
    }

    bool IsStreaming()
    {
        pw_thread_loop_lock(loop);
        const bool is = stream != nullptr && pw_stream_get_state(stream, nullptr) == PW_STREAM_STATE_STREAMING;
        pw_thread_loop_unlock(loop);
        return is;
    }

    void Connect()
    {
        static const pw_stream_events events = Events();
        pw_thread_loop_lock(loop);
        auto* properties = pw_properties_new(PW_KEY_MEDIA_CLASS, "Video/Source", PW_KEY_NODE_NAME, kName,
                                             PW_KEY_NODE_DESCRIPTION, "Tested\n\x01 Camera", nullptr);
        stream = pw_stream_new_simple(pw_thread_loop_get_loop(loop), kName, properties, &events, this);
        uint8_t memory[1024];
        spa_pod_builder builder = SPA_POD_BUILDER_INIT(memory, sizeof memory);
        const spa_rectangle size{static_cast<uint32_t>(width), static_cast<uint32_t>(width / 2)};
        const spa_rectangle endless{100'000, 100'000};
        const spa_fraction rate{10'000'000, 333'333}; // as UVC cameras have it
        EXPECT_TRUE(test::ConnectCamera(stream, {Offer(builder, endless, rate), Offer(builder, {0, 0}, rate),
                                                 Offer(builder, size, {30, 0}), Offer(builder, size, rate)}));
        pw_thread_loop_unlock(loop);
    }

    void Disconnect()
    {
        pw_thread_loop_lock(loop);
        pw_stream_destroy(std::exchange(stream, nullptr));
        pw_thread_loop_unlock(loop);
    }

    static const spa_pod* Offer(spa_pod_builder& builder, spa_rectangle size, spa_fraction rate)
    {
        return static_cast<const spa_pod*>(spa_pod_builder_add_object(
            &builder, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat, SPA_FORMAT_mediaType,
            SPA_POD_Id(SPA_MEDIA_TYPE_video), SPA_FORMAT_mediaSubtype, SPA_POD_Id(SPA_MEDIA_SUBTYPE_raw),
            SPA_FORMAT_VIDEO_format, SPA_POD_Id(SPA_VIDEO_FORMAT_YUY2), SPA_FORMAT_VIDEO_size, SPA_POD_Rectangle(&size),
            SPA_FORMAT_VIDEO_framerate, SPA_POD_Fraction(&rate), SPA_FORMAT_VIDEO_colorPrimaries,
            SPA_POD_Id(SPA_VIDEO_COLOR_PRIMARIES_BT2020), SPA_FORMAT_VIDEO_transferFunction,
            SPA_POD_Id(SPA_VIDEO_TRANSFER_SRGB), SPA_FORMAT_VIDEO_colorMatrix, SPA_POD_Id(SPA_VIDEO_COLOR_MATRIX_BT709),
            SPA_FORMAT_VIDEO_colorRange, SPA_POD_Id(SPA_VIDEO_COLOR_RANGE_0_255)));
    }

    static pw_stream_events Events()
    {
        pw_stream_events events{};
        events.version = PW_VERSION_STREAM_EVENTS;
        events.state_changed = [](void* self, pw_stream_state before, pw_stream_state state, const char*) {
            auto* camera = static_cast<PipeWireTested*>(self);
            if (before == PW_STREAM_STATE_STREAMING && state == PW_STREAM_STATE_PAUSED && camera->stream != nullptr)
                test::SuspendNode(camera->stream);
        };
        events.param_changed = [](void* self, uint32_t id, const spa_pod* parameter) {
            const auto* camera = static_cast<PipeWireTested*>(self);
            if (id == SPA_PARAM_Format && parameter != nullptr)
                test::AnswerFormat(camera->stream, camera->width * camera->width, camera->width * 2);
        };
        events.trigger_done = [](void* self) { static_cast<PipeWireTested*>(self)->cycleIsOver = true; };
        return events;
    }

    // False while there is no buffer.
    bool Fill(const SentFrame& frame)
    {
        if (pw_stream_get_state(stream, nullptr) != PW_STREAM_STATE_STREAMING)
            return false;
        pw_buffer* buffer = pw_stream_dequeue_buffer(stream);
        if (buffer == nullptr)
            return false;
        spa_data& data = buffer->buffer->datas[0];
        auto* header = static_cast<spa_meta_header*>(
            spa_buffer_find_meta_data(buffer->buffer, SPA_META_Header, sizeof(spa_meta_header)));
        *header = {0, 0, MonotonicNow() - frame.stampAge, 0, frame.number};
        *data.chunk = {0, static_cast<uint32_t>(width * width), width * 2, 0};
        std::memset(data.data, 9, data.chunk->size);
        if (frame.isDamaged)
            Damage(*header, *data.chunk);
        pw_stream_queue_buffer(stream, buffer);
        return true;
    }

    // Each time in another way.
    void Damage(spa_meta_header& sentHeader, spa_chunk& sentChunk)
    {
        static constexpr void (*kFaults[])(spa_meta_header&, spa_chunk&) = {
            [](auto& header, auto&) { header.flags = SPA_META_HEADER_FLAG_CORRUPTED; },
            [](auto&, auto& chunk) { chunk.flags = SPA_CHUNK_FLAG_CORRUPTED; },
            [](auto&, auto& chunk) { chunk.size = 0; },
            [](auto&, auto& chunk) { chunk.size = 7; },
            [](auto&, auto& chunk) { chunk.size = UINT32_MAX; },
            [](auto&, auto& chunk) { chunk.offset = UINT32_MAX - 7; },
            [](auto&, auto& chunk) { chunk.stride = INT32_MAX; },
        };
        kFaults[damages++ % std::size(kFaults)](sentHeader, sentChunk);
    }

    pw_thread_loop* loop = nullptr;
    pw_stream* stream = nullptr;
    std::atomic<bool> cycleIsOver = true;
    size_t damages = 0;
};

INSTANTIATE_TEST_SUITE_P(, DeviceFaults, testing::Values(std::pair("PipeWire", &MakeDevice<PipeWireTested>)),
                         [](const auto& one) { return one.param.first; });

TEST(PipeWireFaults, OffersOfNoUseAreLeftOutAndColorsAndAnotherFormatFollowed)
{
    PipeWireTested device;
    device.Plug(true);
    const auto camera = OpenDigitizer(kIdentity);
    EXPECT_EQ(camera->Name(), "Tested Camera");
    ASSERT_EQ(camera->Formats().size(), 1U);
    EXPECT_NEAR(camera->Formats()[0].frameRate, 30, 0.001);
    FrameCollector frames;
    ASSERT_EQ(camera->Start(frames), noErr) << camera->Reason();
    ASSERT_TRUE(SendTo(frames, device, {}));
    ASSERT_TRUE(frames.WaitFor(1));
    device.Plug(false);
    device.width = 128;
    device.Plug(true);
    ASSERT_TRUE(SendTo(frames, device, {}));
    ASSERT_TRUE(frames.WaitFor(2));
    EXPECT_EQ(frames.Seen()[0].width, 64);
    EXPECT_EQ(frames.Seen()[0].colors, (VideoColors{.primaries = 9, .transfer = 13, .matrix = 1, .isFullRange = true}));
    EXPECT_EQ(frames.Seen()[1].width, 128);
    EXPECT_EQ(camera->Format().width, 128);
}

TEST(PipeWireFormats, EachIsOnePixelFormatAndTheOtherWayRound)
{
    int known = 0;
    for (uint32_t format = 0; format < 200; ++format)
        if (const uint32_t pixelFormat = PixelFormatOfVideoFormat(format); pixelFormat != 0) {
            EXPECT_EQ(VideoFormatOfPixelFormat(pixelFormat), format);
            ++known;
        }
    EXPECT_GT(known, 20);
    // These have the same name in both worlds, but for the first; the kernel's codes are written from the last letter
    // on.
    for (const auto& [format, name] : {std::pair(SPA_VIDEO_FORMAT_YUY2, "YUYV"),
                                       {SPA_VIDEO_FORMAT_UYVY, "UYVY"},
                                       {SPA_VIDEO_FORMAT_YVYU, "YVYU"},
                                       {SPA_VIDEO_FORMAT_NV12, "NV12"},
                                       {SPA_VIDEO_FORMAT_NV21, "NV21"},
                                       {SPA_VIDEO_FORMAT_YV12, "YV12"}})
        EXPECT_EQ(PixelFormatOfVideoFormat(format), __builtin_bswap32(CodeOf(name))) << name;
}

} // namespace
