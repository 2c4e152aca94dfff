// SPDX-License-Identifier: MIT
// A camera at the PipeWire server, for tests: a node of class Video/Source that drives its own graph by a timer on the
// frame grid of the monotonic clock and shows the picture of TestPatternLayout.h. Each frame that it makes bears the
// next number and the time of its place on the grid.
//
//   test_camera [--name NAME] [--size WxH]... [--rate N]... [--format yuyv|mjpeg]... [--frame-bytes N]
//               [--log FILE] [--silent] [--controls]
//
// Sizes, rates and formats that are named more than once are all offered. MJPEG frames are brought to about
// --frame-bytes by noise in the still part of the picture. The log has a line for each frame, "made NUMBER
// FINGERPRINT", or "starved NUMBER" when the receiver had left no buffer for it. With --silent the node exists and
// never delivers. With --controls it has image controls of four kinds of ranges, which change nothing in the picture.
// "ready" is printed once the node is at the server. It ends at SIGTERM, SIGINT, or with the process that started it.
#include "SplicedJpeg.h"
#include "platform/digitizer/FrameGrid.h"
#include "platform/digitizer/FrameTrace.h"
#include "platform/digitizer/testpattern/TestPatternLayout.h"
#include "platform/drawing/PixelFormat.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstring>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <pipewire/pipewire.h>
#include <random>
#include <spa/param/props.h>
#include <spa/param/video/format-utils.h>
#include <string>
#include <sys/prctl.h>
#include <tuple>
#include <vector>

// Some of the server's macros leave fields of their records out.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"
#pragma GCC diagnostic ignored "-Wpedantic"

using namespace platform;

namespace {

constexpr int kMostLate = 4; // periods: a camera that is later than this leaves frames out

constexpr int kStarved = 10;
constexpr int kQuality = 90; // of JPEG frames

struct Control {
    uint32_t property;
    const char* name;
    int usual, least, most;
};
constexpr Control kControls[] = {{SPA_PROP_brightness, "Brightness", 0, -64, 64},
                                 {SPA_PROP_contrast, "Contrast", 128, 0, 255},
                                 {SPA_PROP_saturation, "Saturation", 50, 0, 100},
                                 {SPA_PROP_exposure, "Exposure", 500, 100, 10000}};

struct Options {
    std::string name = "Test Camera";
    std::vector<std::pair<int, int>> sizes;
    std::vector<double> rates;
    std::vector<std::string> formats;
    size_t frameBytes = 0;
    std::string log;
    bool silent = false;
    bool controls = false;
};

// Pictures of one size, drawn or compressed.
class Pictures {
public:
    Pictures(int width, int height, bool compressed, const Options& options)
        : width(width), height(height), plain(Bytes()), white(Bytes())
    {
        DrawPatternBackground(SurfaceOf(plain), false);
        DrawPatternBackground(SurfaceOf(white), true);
        if (!compressed)
            return;
        DrawPatternFrame(SurfaceOf(plain), 0, false);
        CompressBackgrounds(options);
    }

    /// Writes a frame and returns its size; 0 if the buffer is too small.
    size_t Draw(uint32_t number, bool flash, std::span<uint8_t> target)
    {
        auto& picture = flash ? white : plain;
        if (!jpeg) {
            if (target.size() < picture.size())
                return 0;
            DrawPatternFrame(SurfaceOf(picture), number, flash);
            std::copy(picture.begin(), picture.end(), target.begin());
            return picture.size();
        }
        DrawPatternFrame(SurfaceOf(picture), number, flash);
        auto& compressed = flash ? *whiteJpeg : *jpeg;
        // The stripes above do not change: only digits and cells are compressed again.
        const int firstRow = height * 5 / 8 / SplicedJpeg::kRowHeight;
        const int lastRow = (height * 26 / 30 + SplicedJpeg::kRowHeight - 1) / SplicedJpeg::kRowHeight;
        const size_t rowSize = static_cast<size_t>(width) * 2 * SplicedJpeg::kRowHeight;
        compressed.Replace(firstRow, std::span(picture).subspan(static_cast<size_t>(firstRow) * rowSize,
                                                                static_cast<size_t>(lastRow - firstRow) * rowSize));
        const auto bytes = compressed.Join();
        if (target.size() < bytes.size())
            return 0;
        std::copy(bytes.begin(), bytes.end(), target.begin());
        return bytes.size();
    }

private:
    size_t Bytes() const { return static_cast<size_t>(width) * static_cast<size_t>(height) * 2; }

    PatternSurface SurfaceOf(std::vector<uint8_t>& pixels) const
    {
        return {pixels.data(), kYuvsPixelFormat, width, height, width * 2};
    }

    // Noise in the colour bars between the upper marks and below them, as strong as the wanted size needs.
    std::vector<uint8_t> Noisy(int strength) const
    {
        auto picture = plain;
        std::minstd_rand random(1);
        for (int y = 0; y < height / 2; ++y)
            for (int x = 0; x < width; ++x) {
                const bool inMark = y < height / 8 && (x < width / 8 || x >= width - width / 8);
                auto& luma =
                    picture[(static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)) * 2];
                const int noise = static_cast<int>(random() % static_cast<unsigned>(2 * strength + 1)) - strength;
                if (!inMark)
                    luma = static_cast<uint8_t>(std::clamp(luma + noise, 16, 235));
            }
        return picture;
    }

    void CompressBackgrounds(const Options& options)
    {
        int weakest = 0;
        int strongest = 100;
        while (options.frameBytes > 0 && strongest - weakest > 1) {
            const int strength = (weakest + strongest) / 2;
            const auto size = SplicedJpeg(Noisy(strength), width, height, kQuality).Join().size();
            (size < options.frameBytes ? weakest : strongest) = strength;
        }
        jpeg = std::make_unique<SplicedJpeg>(Noisy(weakest), width, height, kQuality);
        whiteJpeg = std::make_unique<SplicedJpeg>(white, width, height, kQuality);
    }

    int width;
    int height;
    std::vector<uint8_t> plain;
    std::vector<uint8_t> white;
    std::unique_ptr<SplicedJpeg> jpeg;
    std::unique_ptr<SplicedJpeg> whiteJpeg;
};

class Camera {
public:
    explicit Camera(Options wanted) : options(std::move(wanted)), log(options.log)
    {
        for (const auto& [width, height] : options.sizes)
            for (const bool compressed : {false, true})
                if (std::ranges::find(options.formats, compressed ? "mjpeg" : "yuyv") != options.formats.end())
                    prepared[{width, height, compressed}] =
                        std::make_unique<Pictures>(width, height, compressed, options);
        loop = pw_main_loop_new(nullptr);
        pw_loop* events = pw_main_loop_get_loop(loop);
        for (const int signal : {SIGINT, SIGTERM})
            pw_loop_add_signal(
                events, signal, [](void* self, int) { static_cast<Camera*>(self)->Quit(); }, this);
        timer = pw_loop_add_timer(
            events, [](void* self, uint64_t) { static_cast<Camera*>(self)->Tick(); }, this);
        static const pw_stream_events callbacks = Callbacks();
        stream = pw_stream_new_simple(events, options.name.c_str(),
                                      pw_properties_new(PW_KEY_MEDIA_CLASS, "Video/Source", PW_KEY_NODE_NAME,
                                                        options.name.c_str(), PW_KEY_NODE_DESCRIPTION,
                                                        options.name.c_str(), PW_KEY_MEDIA_ROLE, "Camera", nullptr),
                                      &callbacks, this);
    }

    ~Camera()
    {
        announced = false; // what ends from now on is no failure
        pw_stream_destroy(stream);
        pw_main_loop_destroy(loop);
    }

    int Run()
    {
        std::vector<uint8_t> memory(65536);
        spa_pod_builder builder = SPA_POD_BUILDER_INIT(memory.data(), static_cast<uint32_t>(memory.size()));
        auto parameters = OfferedFormats(builder);
        if (options.controls)
            OfferControls(builder, parameters);
        const auto flags = static_cast<pw_stream_flags>(PW_STREAM_FLAG_DRIVER | PW_STREAM_FLAG_MAP_BUFFERS |
                                                        PW_STREAM_FLAG_NO_CONVERT);
        if (pw_stream_connect(stream, PW_DIRECTION_OUTPUT, PW_ID_ANY, flags, parameters.data(),
                              static_cast<uint32_t>(parameters.size())) < 0)
            return 1;
        pw_main_loop_run(loop);
        return failed ? 1 : 0;
    }

private:
    static pw_stream_events Callbacks()
    {
        pw_stream_events callbacks{};
        callbacks.version = PW_VERSION_STREAM_EVENTS;
        callbacks.state_changed = [](void* self, pw_stream_state, pw_stream_state state, const char* error) {
            static_cast<Camera*>(self)->StateChanged(state, error);
        };
        callbacks.param_changed = [](void* self, uint32_t id, const spa_pod* parameter) {
            auto* camera = static_cast<Camera*>(self);
            if (id == SPA_PARAM_Format)
                parameter == nullptr ? camera->FormatDropped() : camera->FormatChosen(parameter);
            else if (id == SPA_PARAM_Props && parameter != nullptr)
                camera->ControlsSet(parameter);
        };
        return callbacks;
    }

    std::vector<const spa_pod*> OfferedFormats(spa_pod_builder& builder) const
    {
        std::vector<const spa_pod*> parameters;
        for (const auto& format : options.formats)
            for (const auto& [width, height] : options.sizes)
                for (const double rate : options.rates)
                    parameters.push_back(Offer(builder, format == "mjpeg", width, height, FrameGrid::ForRate(rate)));
        return parameters;
    }

    void OfferControls(spa_pod_builder& builder, std::vector<const spa_pod*>& parameters) const
    {
        for (const Control& each : kControls)
            parameters.push_back(static_cast<const spa_pod*>(spa_pod_builder_add_object(
                &builder, SPA_TYPE_OBJECT_PropInfo, SPA_PARAM_PropInfo, SPA_PROP_INFO_id, SPA_POD_Id(each.property),
                SPA_PROP_INFO_description, SPA_POD_String(each.name), SPA_PROP_INFO_type,
                SPA_POD_CHOICE_RANGE_Int(each.usual, each.least, each.most))));
        parameters.push_back(ControlValues(builder));
    }

    const spa_pod* ControlValues(spa_pod_builder& builder) const
    {
        spa_pod_frame frame{};
        spa_pod_builder_push_object(&builder, &frame, SPA_TYPE_OBJECT_Props, SPA_PARAM_Props);
        for (size_t i = 0; i < values.size(); ++i)
            spa_pod_builder_add(&builder, kControls[i].property, SPA_POD_Int(values[i]), 0);
        return static_cast<const spa_pod*>(spa_pod_builder_pop(&builder, &frame));
    }

    // Takes what a receiver sets, and tells all receivers.
    void ControlsSet(const spa_pod* wanted)
    {
        for (size_t i = 0; i < values.size(); ++i)
            if (const spa_pod_prop* one = spa_pod_find_prop(wanted, nullptr, kControls[i].property))
                spa_pod_get_int(&one->value, &values[i]);
        uint8_t memory[1024];
        spa_pod_builder builder = SPA_POD_BUILDER_INIT(memory, sizeof(memory));
        const spa_pod* present = ControlValues(builder);
        pw_stream_update_params(stream, &present, 1);
    }

    static const spa_pod* Offer(spa_pod_builder& builder, bool compressed, int width, int height, const FrameGrid& rate)
    {
        const spa_rectangle size{static_cast<uint32_t>(width), static_cast<uint32_t>(height)};
        const spa_fraction fraction{static_cast<uint32_t>(rate.frames), static_cast<uint32_t>(rate.seconds)};
        spa_pod_frame frame{};
        spa_pod_builder_push_object(&builder, &frame, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat);
        spa_pod_builder_add(&builder, SPA_FORMAT_mediaType, SPA_POD_Id(SPA_MEDIA_TYPE_video), SPA_FORMAT_mediaSubtype,
                            SPA_POD_Id(compressed ? SPA_MEDIA_SUBTYPE_mjpg : SPA_MEDIA_SUBTYPE_raw), 0);
        if (!compressed)
            spa_pod_builder_add(&builder, SPA_FORMAT_VIDEO_format, SPA_POD_Id(SPA_VIDEO_FORMAT_YUY2), 0);
        spa_pod_builder_add(&builder, SPA_FORMAT_VIDEO_size, SPA_POD_Rectangle(&size), SPA_FORMAT_VIDEO_framerate,
                            SPA_POD_Fraction(&fraction), 0);
        return static_cast<const spa_pod*>(spa_pod_builder_pop(&builder, &frame));
    }

    void StateChanged(pw_stream_state state, const char* error)
    {
        if (state == PW_STREAM_STATE_ERROR || (state == PW_STREAM_STATE_UNCONNECTED && announced)) {
            std::cerr << "test_camera: " << (error == nullptr ? "the server has gone" : error) << '\n';
            failed = true;
            Quit();
        }
        if (state == PW_STREAM_STATE_PAUSED && !announced) {
            announced = true;
            std::cout << "ready" << std::endl;
        }
        streaming = state == PW_STREAM_STATE_STREAMING;
        if (streaming)
            place = grid.FrameAt(MonotonicNow()) + 1;
        else if (state == PW_STREAM_STATE_PAUSED && madeWithBuffers > 0)
            Suspend();
        SetTimer();
    }

    void FormatChosen(const spa_pod* parameter)
    {
        spa_video_info info{};
        if (spa_format_parse(parameter, &info.media_type, &info.media_subtype) < 0)
            return;
        const bool compressed = info.media_subtype == SPA_MEDIA_SUBTYPE_mjpg;
        spa_rectangle size{};
        spa_fraction rate{};
        if (compressed) {
            spa_format_video_mjpg_parse(parameter, &info.info.mjpg);
            size = info.info.mjpg.size;
            rate = info.info.mjpg.framerate;
        } else {
            spa_format_video_raw_parse(parameter, &info.info.raw);
            size = info.info.raw.size;
            rate = info.info.raw.framerate;
        }
        const auto width = static_cast<int>(size.width);
        const auto height = static_cast<int>(size.height);
        grid = FrameGrid::ForRate(rate.denom == 0 ? 30 : static_cast<double>(rate.num) / rate.denom);
        pictures = prepared.at({width, height, compressed}).get();
        stride = compressed ? 0 : width * 2;
        AnswerBuffers(width * 2 * height);
    }

    // The server would go on telling the last format as the present one, and receivers would take no other. One that
    // says nothing takes its place.
    void FormatDropped()
    {
        uint8_t memory[64];
        spa_pod_builder builder = SPA_POD_BUILDER_INIT(memory, sizeof(memory));
        spa_pod_frame frame{};
        spa_pod_builder_push_object(&builder, &frame, SPA_TYPE_OBJECT_Format, SPA_PARAM_Format);
        const auto* nothing = static_cast<const spa_pod*>(spa_pod_builder_pop(&builder, &frame));
        pw_stream_update_params(stream, &nothing, 1);
    }

    void AnswerBuffers(int size)
    {
        uint8_t memory[1024];
        spa_pod_builder builder = SPA_POD_BUILDER_INIT(memory, sizeof(memory));
        const spa_pod* parameters[2];
        parameters[0] = static_cast<const spa_pod*>(spa_pod_builder_add_object(
            &builder, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers, SPA_PARAM_BUFFERS_buffers,
            SPA_POD_CHOICE_RANGE_Int(8, 2, 16), SPA_PARAM_BUFFERS_blocks, SPA_POD_Int(1), SPA_PARAM_BUFFERS_size,
            SPA_POD_Int(size), SPA_PARAM_BUFFERS_stride, SPA_POD_Int(stride)));
        parameters[1] = static_cast<const spa_pod*>(spa_pod_builder_add_object(
            &builder, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, SPA_PARAM_META_type, SPA_POD_Id(SPA_META_Header),
            SPA_PARAM_META_size, SPA_POD_Int(sizeof(spa_meta_header))));
        pw_stream_update_params(stream, parameters, 2);
    }

    void SetTimer()
    {
        timespec at{};
        if (streaming && !options.silent) {
            const int64_t due = grid.TimeOf(place);
            at = {static_cast<time_t>(due / 1'000'000'000), static_cast<long>(due % 1'000'000'000)};
        }
        pw_loop_update_timer(pw_main_loop_get_loop(loop), timer, &at, nullptr, true);
    }

    void Tick()
    {
        FillBuffer();
        pw_stream_trigger_process(stream);
        place = std::max(place + 1, grid.FrameAt(MonotonicNow()) - kMostLate);
        SetTimer();
    }

    // A receiver that leaves takes the buffers along that it holds, and the server would hand the next one the same
    // set, in which none is left. A node that is suspended gets new ones.
    void Suspend()
    {
        madeWithBuffers = 0;
        pw_registry* registry = pw_core_get_registry(pw_stream_get_core(stream), PW_VERSION_REGISTRY, 0);
        auto* node = static_cast<pw_node*>(
            pw_registry_bind(registry, pw_stream_get_node_id(stream), PW_TYPE_INTERFACE_Node, PW_VERSION_NODE, 0));
        const spa_command suspend = SPA_NODE_COMMAND_INIT(SPA_NODE_COMMAND_Suspend);
        if (node != nullptr) {
            pw_node_send_command(node, &suspend);
            pw_proxy_destroy(reinterpret_cast<pw_proxy*>(node));
        }
        pw_proxy_destroy(reinterpret_cast<pw_proxy*>(registry));
    }

    // Fills the next free buffer. A frame for which the receiver has none left is lost, as a camera's would be.
    void FillBuffer()
    {
        const uint32_t made = number++;
        ++madeWithBuffers;
        pw_buffer* buffer = pw_stream_dequeue_buffer(stream);
        if (buffer == nullptr || pictures == nullptr) {
            std::cerr << "test_camera: no free buffer for frame " << made << '\n';
            log << "starved " << made << std::endl;
            if (++starved == kStarved)
                Suspend();
            return;
        }
        starved = 0;
        spa_data& data = buffer->buffer->datas[0];
        if (data.data != nullptr) {
            const int64_t shown = place;
            const size_t size =
                pictures->Draw(made, grid.IsFlash(shown), {static_cast<uint8_t*>(data.data), data.maxsize});
            data.chunk->offset = 0;
            data.chunk->stride = stride;
            data.chunk->size = static_cast<uint32_t>(size);
            if (log.is_open())
                log << "made " << made << ' ' << FingerprintOf({static_cast<uint8_t*>(data.data), size}) << std::endl;
            if (auto* header = static_cast<spa_meta_header*>(
                    spa_buffer_find_meta_data(buffer->buffer, SPA_META_Header, sizeof(spa_meta_header)))) {
                header->pts = grid.TimeOf(shown);
                header->seq = made;
                header->flags = 0;
                header->dts_offset = 0;
            }
        }
        pw_stream_queue_buffer(stream, buffer);
    }

    void Quit() { pw_main_loop_quit(loop); }

    Options options;
    std::ofstream log; // closed unless one is asked for
    pw_main_loop* loop = nullptr;
    pw_stream* stream = nullptr;
    spa_source* timer = nullptr;
    std::map<std::tuple<int, int, bool>, std::unique_ptr<Pictures>> prepared; // for all that is offered
    Pictures* pictures = nullptr;                                             // of the format in use
    std::array<int32_t, std::size(kControls)> values{0, 128, 50, 500};
    FrameGrid grid;
    int64_t place = 0;
    uint32_t number = 0;
    uint32_t madeWithBuffers = 0;
    int stride = 0;
    int starved = 0; // frames in a row for which there was no buffer
    bool announced = false;
    bool streaming = false;
    bool failed = false;
};

bool ReadOptions(int count, char** arguments, Options& options)
{
    for (int i = 1; i < count; ++i) {
        const std::string name = arguments[i];
        if (name == "--silent" || name == "--controls") {
            (name == "--silent" ? options.silent : options.controls) = true;
            continue;
        }
        if (++i >= count)
            return false;
        const std::string value = arguments[i];
        int width = 0;
        int height = 0;
        if (name == "--name")
            options.name = value;
        else if (name == "--size" && std::sscanf(value.c_str(), "%dx%d", &width, &height) == 2)
            options.sizes.emplace_back(width, height);
        else if (name == "--rate")
            options.rates.push_back(std::stod(value));
        else if (name == "--format" && (value == "yuyv" || value == "mjpeg"))
            options.formats.push_back(value);
        else if (name == "--log")
            options.log = value;
        else if (name == "--frame-bytes")
            options.frameBytes = std::stoul(value);
        else
            return false;
    }
    if (options.sizes.empty())
        options.sizes.emplace_back(640, 480);
    if (options.rates.empty())
        options.rates.push_back(30);
    if (options.formats.empty())
        options.formats.emplace_back("yuyv");
    // Blocks of 16x8 pixels make up a JPEG picture, and the layout has a least size.
    return std::ranges::all_of(options.sizes, [](const auto& size) {
        return size.first >= 160 && size.second >= 60 && size.first % 16 == 0 && size.second % 8 == 0;
    });
}

} // namespace

int main(int count, char** arguments)
{
    Options options;
    if (!ReadOptions(count, arguments, options)) {
        std::cerr << "test_camera: unknown argument or impossible value\n";
        return 2;
    }
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    pw_init(nullptr, nullptr);
    const int result = Camera(options).Run();
    pw_deinit();
    return result;
}
