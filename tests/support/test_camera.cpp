// SPDX-License-Identifier: MIT
// A camera at the PipeWire server, for tests: a node of class Video/Source that drives its own graph by a timer on the
// frame grid of the monotonic clock and shows the picture of TestPatternLayout.h. Each frame that it makes bears the
// next number and the time of its place on the grid.
//
//   test_camera [--name NAME] [--size WxH]... [--rate N] [--format yuyv|mjpeg]... [--frame-bytes N]
//               [--log FILE] [--silent] [--controls]
//
// Sizes and formats that are named more than once are all offered. MJPEG frames are brought to about
// --frame-bytes by noise in the still part of the picture. The log has a line for each frame, "made NUMBER
// FINGERPRINT", or "starved NUMBER" when the receiver had left no buffer for it. With --silent the node exists and
// never delivers. With --controls it has image controls of four kinds of ranges, which change nothing in the picture.
// "ready" is printed once the node is at the server. It ends at SIGTERM, SIGINT, or with the process that started it.
#include "PipeWireStream.h"
#include "SplicedJpeg.h"
#include "platform/digitizer/FrameGrid.h"
#include "platform/digitizer/FrameTrace.h"
#include "platform/digitizer/pipewire/PipeWireFormats.h"
#include "platform/digitizer/testpattern/TestPatternLayout.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <fstream>
#include <iostream>
#include <linux/videodev2.h>
#include <random>
#include <string>
#include <sys/prctl.h>

using namespace platform;

namespace {

constexpr int kMostLate = 4; // periods: a camera that is later than this leaves frames out

constexpr int kStarved = 10;
constexpr int kQuality = 683; // of JPEG frames

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
    double rate = 30;
    std::vector<uint32_t> formats; ///< the kernel's codes
    size_t frameBytes = 0;
    std::string log;
    bool silent = false;
    bool controls = false;
};

// Pictures of one size, drawn or compressed.
class Pictures {
public:
    Pictures(int width, int height, bool compressed, size_t frameBytes)
        : width(width), height(height), plain(Bytes()), white(Bytes())
    {
        DrawPatternBackground(SurfaceOf(plain), false);
        DrawPatternBackground(SurfaceOf(white), true);
        if (!compressed)
            return;
        DrawPatternFrame(SurfaceOf(plain), 0, false);
        CompressBackgrounds(frameBytes);
    }

    /// Writes a frame and returns its size; 0 if the buffer is too small.
    size_t Draw(uint32_t number, bool flash, std::span<uint8_t> target)
    {
        auto& picture = flash ? white : plain;
        DrawPatternFrame(SurfaceOf(picture), number, flash);
        std::vector<uint8_t> joined;
        if (jpeg)
            joined = Spliced(flash ? *whiteJpeg : *jpeg, picture);
        const auto& bytes = jpeg ? joined : picture;
        if (target.size() < bytes.size())
            return 0;
        std::ranges::copy(bytes, target.begin());
        return bytes.size();
    }

private:
    size_t Bytes() const { return static_cast<size_t>(width) * static_cast<size_t>(height) * 2; }

    PatternSurface SurfaceOf(std::vector<uint8_t>& pixels) const
    {
        return {pixels.data(), kYuvsPixelFormat, width, height, width * 2};
    }

    // The stripes above do not change: only digits and cells are compressed again.
    std::vector<uint8_t> Spliced(SplicedJpeg& compressed, std::span<const uint8_t> picture) const
    {
        const int firstRow = height * 5 / 8 / SplicedJpeg::kRowHeight;
        const int lastRow = (height * 26 / 30 + SplicedJpeg::kRowHeight - 1) / SplicedJpeg::kRowHeight;
        const size_t rowSize = static_cast<size_t>(width) * 2 * SplicedJpeg::kRowHeight;
        compressed.Replace(firstRow, picture.subspan(static_cast<size_t>(firstRow) * rowSize,
                                                     static_cast<size_t>(lastRow - firstRow) * rowSize));
        return compressed.Join();
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

    void CompressBackgrounds(size_t frameBytes)
    {
        int weakest = 0;
        int strongest = 100;
        while (frameBytes > 0 && strongest - weakest > 1) {
            const int strength = (weakest + strongest) / 2;
            const auto size = SplicedJpeg(Noisy(strength), width, height, kQuality).Join().size();
            (size < frameBytes ? weakest : strongest) = strength;
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
        const FrameGrid rate = FrameGrid::ForRate(options.rate);
        const std::pair fraction(static_cast<uint32_t>(rate.frames), static_cast<uint32_t>(rate.seconds));
        for (const uint32_t format : options.formats)
            for (const auto& [width, height] : options.sizes)
                prepared.emplace_back(PipeWireNode::Offer{{0, width, height, options.rate}, format, fraction},
                                      Pictures(width, height, format == V4L2_PIX_FMT_MJPEG, options.frameBytes));
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
        if (!test::ConnectCamera(stream, parameters))
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
        for (const auto& [offer, picture] : prepared)
            parameters.push_back(BuildFormat(builder, offer));
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
        else if (state == PW_STREAM_STATE_PAUSED && std::exchange(madeWithBuffers, 0) > 0)
            test::SuspendNode(stream);
        SetTimer();
    }

    void FormatChosen(const spa_pod* parameter)
    {
        std::vector<PipeWireNode::Offer> chosen;
        AddOffers(parameter, chosen);
        const auto& [format, pixelFormat, rate] = chosen.at(0);
        grid = FrameGrid::ForRate(format.frameRate);
        for (auto& [offer, picture] : prepared)
            if (offer.pixelFormat == pixelFormat && offer.format.width == format.width)
                pictures = &picture;
        stride = pixelFormat == V4L2_PIX_FMT_MJPEG ? 0 : format.width * 2;
        test::AnswerFormat(stream, format.width * 2 * format.height, stride);
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

    // Fills the next free buffer. A frame for which the receiver has none left is lost, as a camera's would be.
    void FillBuffer()
    {
        const uint32_t made = number++;
        ++madeWithBuffers;
        pw_buffer* buffer = pw_stream_dequeue_buffer(stream);
        if (buffer == nullptr || pictures == nullptr) {
            std::cerr << "test_camera: no free buffer for frame " << made << '\n';
            log << "starved " << made << std::endl;
            if (++starved == kStarved) {
                madeWithBuffers = 0;
                test::SuspendNode(stream);
            }
            return;
        }
        starved = 0;
        spa_data& data = buffer->buffer->datas[0];
        if (data.data != nullptr) {
            const size_t size =
                pictures->Draw(made, grid.IsFlash(place), {static_cast<uint8_t*>(data.data), data.maxsize});
            data.chunk->offset = 0;
            data.chunk->stride = stride;
            data.chunk->size = static_cast<uint32_t>(size);
            if (log.is_open())
                log << "made " << made << ' ' << FingerprintOf({static_cast<uint8_t*>(data.data), size}) << std::endl;
            if (auto* header = static_cast<spa_meta_header*>(
                    spa_buffer_find_meta_data(buffer->buffer, SPA_META_Header, sizeof(spa_meta_header)))) {
                header->pts = grid.TimeOf(place);
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
    std::vector<std::pair<PipeWireNode::Offer, Pictures>> prepared; // for all that is offered
    Pictures* pictures = nullptr;                                   // of the format in use
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

bool ReadOption(const std::string& name, const std::string& value, Options& options)
{
    int width = 0;
    int height = 0;
    if (name == "--name")
        options.name = value;
    else if (name == "--size" && std::sscanf(value.c_str(), "%dx%d", &width, &height) == 2)
        options.sizes.emplace_back(width, height);
    else if (name == "--rate")
        options.rate = std::stod(value);
    else if (name == "--format" && (value == "yuyv" || value == "mjpeg"))
        options.formats.push_back(value == "yuyv" ? V4L2_PIX_FMT_YUYV : V4L2_PIX_FMT_MJPEG);
    else if (name == "--log")
        options.log = value;
    else if (name == "--frame-bytes")
        options.frameBytes = std::stoul(value);
    else
        return false;
    return true;
}

bool ReadOptions(std::span<char*> arguments, Options& options)
{
    for (size_t i = 1; i < arguments.size(); ++i) {
        const std::string name = arguments[i];
        if (name == "--silent" || name == "--controls")
            (name == "--silent" ? options.silent : options.controls) = true;
        else if (++i == arguments.size() || !ReadOption(name, arguments[i], options))
            return false;
    }
    if (options.sizes.empty())
        options.sizes.emplace_back(640, 480);
    if (options.formats.empty())
        options.formats.push_back(V4L2_PIX_FMT_YUYV);
    return true;
}

} // namespace

int main(int count, char** arguments)
{
    Options options;
    if (!ReadOptions({arguments, static_cast<size_t>(count)}, options)) {
        std::cerr << "test_camera: unknown argument or impossible value\n";
        return 2;
    }
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    pw_init(nullptr, nullptr);
    const int result = Camera(options).Run();
    pw_deinit();
    return result;
}
