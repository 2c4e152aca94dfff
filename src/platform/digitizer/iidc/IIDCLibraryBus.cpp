// SPDX-License-Identifier: MIT
// The machine's IIDC cameras through libdc1394.
//
// Creating a context of the library opens every FireWire node and searches the USB bus, so the kernel's list of
// FireWire units is checked for a camera first; for a camcorder nothing is started. A camera keeps the context with
// which it was opened. Register calls use one descriptor of the library and frames another, so frames may be taken on a
// separate thread.
#include "platform/digitizer/iidc/IIDCBus.h"

#ifdef VELMORA_HAVE_DC1394
#include "platform/clock/MonotonicClock.h"
#include "platform/drawing/PixelFormat.h"
#include "platform/dv/FireWireUnits.h"
#include "platform/files/DeviceText.h"
#include "platform/log/Log.h"

#include <algorithm>
#include <cmath>
#include <dc1394/dc1394.h>
#include <mutex>
#include <optional>
#include <poll.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace platform {
namespace {

using Context = std::shared_ptr<dc1394_t>;

constexpr uint32_t kBuffers = 8;
constexpr const char* kHeld =
    "Another program is using the camera. If none is, unplug the camera and plug it in again.";

constexpr std::pair<dc1394color_coding_t, IIDCCoding> kCodings[] = {
    {DC1394_COLOR_CODING_YUV422, IIDCCoding::Yuv422}, {DC1394_COLOR_CODING_RGB8, IIDCCoding::Rgb8},
    {DC1394_COLOR_CODING_YUV444, IIDCCoding::Yuv444}, {DC1394_COLOR_CODING_YUV411, IIDCCoding::Yuv411},
    {DC1394_COLOR_CODING_MONO8, IIDCCoding::Mono8},   {DC1394_COLOR_CODING_MONO16, IIDCCoding::Mono16},
    {DC1394_COLOR_CODING_RAW8, IIDCCoding::Raw8},
};

std::optional<IIDCCoding> CodingOf(dc1394color_coding_t coding)
{
    const auto* found = std::ranges::find(kCodings, coding, &std::pair<dc1394color_coding_t, IIDCCoding>::first);
    return found == std::end(kCodings) ? std::nullopt : std::optional(found->second);
}

dc1394color_coding_t LibraryCodingOf(IIDCCoding coding)
{
    return std::ranges::find(kCodings, coding, &std::pair<dc1394color_coding_t, IIDCCoding>::second)->first;
}

dc1394feature_t LibraryFeatureOf(IIDCFeature feature)
{
    switch (feature) {
    case IIDCFeature::Brightness:
        return DC1394_FEATURE_BRIGHTNESS;
    case IIDCFeature::Exposure:
        return DC1394_FEATURE_EXPOSURE;
    case IIDCFeature::Sharpness:
        return DC1394_FEATURE_SHARPNESS;
    case IIDCFeature::WhiteBalanceU:
    case IIDCFeature::WhiteBalanceV:
        return DC1394_FEATURE_WHITE_BALANCE;
    case IIDCFeature::Hue:
        return DC1394_FEATURE_HUE;
    case IIDCFeature::Saturation:
        return DC1394_FEATURE_SATURATION;
    case IIDCFeature::Gamma:
        return DC1394_FEATURE_GAMMA;
    case IIDCFeature::Shutter:
        return DC1394_FEATURE_SHUTTER;
    case IIDCFeature::Gain:
        return DC1394_FEATURE_GAIN;
    case IIDCFeature::Iris:
        return DC1394_FEATURE_IRIS;
    case IIDCFeature::Focus:
        return DC1394_FEATURE_FOCUS;
    case IIDCFeature::Temperature:
        return DC1394_FEATURE_TEMPERATURE;
    case IIDCFeature::Zoom:
        return DC1394_FEATURE_ZOOM;
    case IIDCFeature::Pan:
        return DC1394_FEATURE_PAN;
    case IIDCFeature::Tilt:
        return DC1394_FEATURE_TILT;
    case IIDCFeature::OpticalFilter:
        break;
    }
    return DC1394_FEATURE_OPTICAL_FILTER;
}

bool IsFormat7(dc1394video_mode_t mode)
{
    return mode >= DC1394_VIDEO_MODE_FORMAT7_MIN && mode <= DC1394_VIDEO_MODE_FORMAT7_MAX;
}

// Distinguishes what the camera does not support from a camera that can't be reached, which is tried again.
Result ResultOfStart(dc1394error_t error)
{
    switch (error) {
    case DC1394_SUCCESS:
        return noErr;
    case DC1394_INVALID_VIDEO_MODE:
    case DC1394_INVALID_FRAMERATE:
    case DC1394_INVALID_COLOR_CODING:
    case DC1394_FORMAT7_ERROR_FLAG_1:
    case DC1394_FORMAT7_ERROR_FLAG_2:
        return deviceCantMeetRequest;
    default:
        return noDeviceForChannel;
    }
}

Result ResultOf(dc1394error_t error)
{
    return error == DC1394_SUCCESS ? noErr : ioErr;
}

// The time stamps of frames are the time of day in microseconds, or 0.
int64_t MonotonicTimeOf(uint64_t microseconds)
{
    timespec day{};
    clock_gettime(CLOCK_REALTIME, &day);
    const auto now = static_cast<uint64_t>(day.tv_sec) * 1'000'000 + static_cast<uint64_t>(day.tv_nsec) / 1000;
    constexpr uint64_t oldest = 2'000'000; // times in the future wrap around and are older still
    const uint64_t age = now - microseconds;
    return MonotonicNow() - (age > oldest ? 0 : static_cast<int64_t>(age) * 1000);
}

std::string ReasonOf(dc1394error_t error)
{
    switch (error) {
    case DC1394_SUCCESS:
        return {};
    case DC1394_NO_ISO_CHANNEL:
        return "The FireWire bus has no channel left for the camera.";
    case DC1394_NO_BANDWIDTH:
        return "The FireWire bus has not enough bandwidth left for this size and rate.";
    default:
        return ResultOfStart(error) == deviceCantMeetRequest
                   ? "The camera does not support this size or rate."
                   : std::string("The camera can't be started: ") + dc1394_error_get_string(error) + ".";
    }
}

// The descriptor and the memory of a capture. The library does not release them if stopping fails, as it does when a
// camera was unplugged; then they are released here, after the camera has been freed.
class CaptureHoldings {
public:
    void Begin(int captureDescriptor)
    {
        descriptor = captureDescriptor;
        begin = end = 0;
        isHeld = descriptor >= 0 && fstat(descriptor, &file) == 0;
    }
    void End() { isHeld = false; }

    // The buffers are a single mapping.
    void NoteBuffer(const dc1394video_frame_t& frame)
    {
        const auto first = reinterpret_cast<uintptr_t>(frame.image);
        begin = begin == 0 ? first : std::min(begin, first);
        end = std::max<uintptr_t>(end, first + frame.allocated_image_bytes);
    }

    void Release()
    {
        struct stat now {};
        const bool isOpen = isHeld && fstat(descriptor, &now) == 0;
        if (!isOpen || now.st_dev != file.st_dev || now.st_ino != file.st_ino)
            return;
        const auto page = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
        const uintptr_t first = begin / page * page;
        if (end > first)
            munmap(reinterpret_cast<void*>(first), end - first);
        close(descriptor);
    }

private:
    bool isHeld = false;
    int descriptor = -1;
    struct stat file {};
    uintptr_t begin = 0;
    uintptr_t end = 0;
};

class LibraryCamera : public IIDCCamera {
public:
    LibraryCamera(Context library, dc1394camera_t* opened) : context(std::move(library)), camera(opened) {}

    ~LibraryCamera() override
    {
        LibraryCamera::Stop();
        dc1394_camera_free(camera);
        holdings.Release();
    }

    std::vector<IIDCMode> Modes() override
    {
        std::vector<IIDCMode> modes;
        dc1394video_modes_t numbers{};
        if (dc1394_video_get_supported_modes(camera, &numbers) != DC1394_SUCCESS)
            return modes;
        for (uint32_t i = 0; i < numbers.num && i < DC1394_VIDEO_MODE_NUM; ++i)
            if (IsFormat7(numbers.modes[i]))
                AddFormat7(numbers.modes[i], modes);
            else
                AddFixed(numbers.modes[i], modes);
        return modes;
    }

    Result Start(const IIDCMode& mode, double frameRate) override
    {
        Stop();
        if (IsHeldByAnother())
            return Explain(noDeviceForChannel, kHeld);
        // A killed process leaves its camera transmitting.
        dc1394_video_set_transmission(camera, DC1394_OFF);
        dc1394error_t error = Begin(mode, frameRate, DC1394_ISO_SPEED_400);
        if (error != DC1394_SUCCESS && Begin(mode, frameRate, DC1394_ISO_SPEED_200) == DC1394_SUCCESS)
            error = DC1394_SUCCESS;
        return Explain(ResultOfStart(error), ReasonOf(error));
    }

    void Stop() override
    {
        if (!capturing)
            return;
        GiveBack();
        dc1394_video_set_transmission(camera, DC1394_OFF);
        if (dc1394_capture_stop(camera) == DC1394_SUCCESS)
            holdings.End();
        capturing = false;
    }

    std::string Reason() const override
    {
        const std::lock_guard lock(reasonMutex);
        return reason;
    }

    int Descriptor() const override { return capturing ? dc1394_capture_get_fileno(camera) : -1; }

    Result TakeFrame(IIDCFrame& frame) override
    {
        GiveBack();
        frame = {};
        if (dc1394_capture_dequeue(camera, DC1394_CAPTURE_POLICY_POLL, &taken) != DC1394_SUCCESS)
            return ioErr;
        if (taken == nullptr)
            return noErr;
        holdings.NoteBuffer(*taken);
        const auto coding = CodingOf(taken->color_coding);
        frame.bytes = {taken->image, std::min<uint64_t>(taken->image_bytes, taken->allocated_image_bytes)};
        frame.coding = coding.value_or(IIDCCoding::Mono8);
        frame.width = static_cast<int32_t>(taken->size[0]);
        frame.height = static_cast<int32_t>(taken->size[1]);
        frame.depth = static_cast<int32_t>(taken->data_depth);
        frame.filter = static_cast<IIDCFilter>(
            std::clamp<int>(taken->color_filter, DC1394_COLOR_FILTER_MIN, DC1394_COLOR_FILTER_MAX) -
            DC1394_COLOR_FILTER_MIN);
        frame.captureTime = MonotonicTimeOf(taken->timestamp);
        frame.sequence = CountFrame(frame.captureTime);
        frame.damaged = !coding || dc1394_capture_is_frame_corrupt(camera, taken) == DC1394_TRUE;
        return noErr;
    }

    Result IsTransmitting(bool& transmitting) override
    {
        dc1394switch_t power = DC1394_OFF;
        const dc1394error_t error = dc1394_video_get_transmission(camera, &power);
        transmitting = power == DC1394_ON;
        return ResultOf(error);
    }

    Result ReadFeature(IIDCFeature feature, IIDCFeatureState& state) override
    {
        dc1394feature_info_t info{};
        if (const Result result = Fetch(feature, info); result != noErr)
            return result;
        const std::span modes(info.modes.modes, std::min<uint32_t>(info.modes.num, DC1394_FEATURE_MODE_NUM));
        state.minimum = info.min;
        state.maximum = info.max;
        state.value = info.value;
        if (feature == IIDCFeature::WhiteBalanceU || feature == IIDCFeature::WhiteBalanceV)
            state.value = feature == IIDCFeature::WhiteBalanceU ? info.BU_value : info.RV_value;
        else if (uint32_t present = 0; feature == IIDCFeature::Temperature) // raw in the value read above
            dc1394_feature_temperature_get_value(camera, &state.value, &present);
        state.canBeManual = std::ranges::find(modes, DC1394_FEATURE_MODE_MANUAL) != modes.end();
        state.isManual = info.current_mode == DC1394_FEATURE_MODE_MANUAL &&
                         (info.on_off_capable == DC1394_FALSE || info.is_on == DC1394_ON);
        state.canBeOff = info.on_off_capable == DC1394_TRUE;
        state.canBeAutomatic = std::ranges::find(modes, DC1394_FEATURE_MODE_AUTO) != modes.end();
        state.isOff = state.canBeOff && info.is_on == DC1394_OFF;
        state.hasAbsolute = info.absolute_capable == DC1394_TRUE;
        state.absoluteControl = IsAbsolute(info);
        state.absoluteMinimum = info.abs_min;
        state.absoluteMaximum = info.abs_max;
        state.absoluteValue = info.abs_value;
        return noErr;
    }

    Result WriteFeature(IIDCFeature feature, uint32_t value) override
    {
        const dc1394feature_t number = LibraryFeatureOf(feature);
        if (dc1394feature_info_t info{}; Fetch(feature, info) == noErr && IsAbsolute(info))
            return ResultOf(dc1394_feature_set_absolute_value(camera, number, AbsoluteValue(info, value)));
        if (number == DC1394_FEATURE_TEMPERATURE)
            return ResultOf(dc1394_feature_temperature_set_value(camera, value));
        if (number != DC1394_FEATURE_WHITE_BALANCE)
            return ResultOf(dc1394_feature_set_value(camera, number, value));
        uint32_t u = 0;
        uint32_t v = 0;
        const dc1394error_t error = dc1394_feature_whitebalance_get_value(camera, &u, &v);
        (feature == IIDCFeature::WhiteBalanceU ? u : v) = value;
        return ResultOf(error == DC1394_SUCCESS ? dc1394_feature_whitebalance_set_value(camera, u, v) : error);
    }

    Result SetMode(IIDCFeature feature, IIDCFeatureMode mode) override
    {
        dc1394feature_info_t info{};
        if (const Result result = Fetch(feature, info); result != noErr)
            return result;
        const auto power = mode == IIDCFeatureMode::Off ? DC1394_OFF : DC1394_ON;
        const auto way = mode == IIDCFeatureMode::Automatic ? DC1394_FEATURE_MODE_AUTO : DC1394_FEATURE_MODE_MANUAL;
        dc1394error_t error = DC1394_SUCCESS;
        if (info.on_off_capable == DC1394_TRUE && info.is_on != power)
            error = dc1394_feature_set_power(camera, info.id, power);
        if (error == DC1394_SUCCESS && power == DC1394_ON && info.current_mode != way)
            error = dc1394_feature_set_mode(camera, info.id, way);
        return ResultOf(error);
    }

private:
    Result Explain(Result result, std::string why)
    {
        if (result != noErr)
            digitizerLog.Warning("IIDC: not started (", result, "): ", why);
        const std::lock_guard lock(reasonMutex);
        reason = std::move(why);
        return result;
    }

    // A camera that transmits on a channel that is in use: the system releases the channels of a process that has
    // ended, while the camera continues.
    bool IsHeldByAnother()
    {
        bool transmitting = false;
        uint32_t channel = 0;
        if (IsTransmitting(transmitting) != noErr || !transmitting ||
            dc1394_video_get_iso_channel(camera, &channel) != DC1394_SUCCESS || channel >= 64)
            return false;
        int taken = 0;
        const dc1394error_t error = dc1394_iso_allocate_channel(camera, uint64_t{1} << channel, &taken);
        if (error == DC1394_SUCCESS)
            dc1394_iso_release_channel(camera, taken);
        return error == DC1394_NO_ISO_CHANNEL;
    }

    dc1394error_t Begin(const IIDCMode& mode, double frameRate, dc1394speed_t speed)
    {
        const auto number = static_cast<dc1394video_mode_t>(mode.number);
        dc1394error_t error = dc1394_video_set_iso_speed(camera, speed);
        if (error == DC1394_SUCCESS)
            error = dc1394_video_set_mode(camera, number);
        if (error == DC1394_SUCCESS)
            error = IsFormat7(number) ? SetRegion(number, LibraryCodingOf(mode.coding), mode.width, mode.height)
                                      : SetRate(number, frameRate);
        if (error == DC1394_SUCCESS)
            error = dc1394_capture_setup(camera, kBuffers, DC1394_CAPTURE_FLAGS_DEFAULT);
        if (error != DC1394_SUCCESS)
            return error;
        capturing = true;
        holdings.Begin(dc1394_capture_get_fileno(camera));
        error = dc1394_video_set_transmission(camera, DC1394_ON);
        if (error != DC1394_SUCCESS)
            Stop();
        sequence = 0;
        framesInARow = 0;
        isNextWaiting = false;
        lastTime = 0;
        interval = frameRate > 0 ? kNanosecondsPerSecond / frameRate : 0;
        return error;
    }

    dc1394error_t SetRegion(dc1394video_mode_t number, dc1394color_coding_t coding, int32_t width, int32_t height)
    {
        return dc1394_format7_set_roi(camera, number, coding, DC1394_USE_MAX_AVAIL, 0, 0, width, height);
    }

    static bool IsAbsolute(const dc1394feature_info_t& info)
    {
        return info.absolute_capable == DC1394_TRUE && info.abs_control == DC1394_ON;
    }

    // Converts a raw value to the absolute value at the same place in its range.
    static float AbsoluteValue(const dc1394feature_info_t& info, uint32_t value)
    {
        const uint32_t range = info.max > info.min ? info.max - info.min : 1;
        const uint32_t above = std::clamp(value, info.min, info.min + range) - info.min;
        return info.abs_min + (info.abs_max - info.abs_min) * static_cast<float>(above) / static_cast<float>(range);
    }

    void AddFixed(dc1394video_mode_t number, std::vector<IIDCMode>& modes)
    {
        uint32_t width = 0;
        uint32_t height = 0;
        dc1394color_coding_t coding{};
        dc1394framerates_t rates{};
        if (dc1394_get_image_size_from_video_mode(camera, number, &width, &height) != DC1394_SUCCESS ||
            dc1394_get_color_coding_from_video_mode(camera, number, &coding) != DC1394_SUCCESS || !CodingOf(coding) ||
            dc1394_video_get_supported_framerates(camera, number, &rates) != DC1394_SUCCESS)
            return;
        IIDCMode mode{number, *CodingOf(coding), static_cast<int32_t>(width), static_cast<int32_t>(height), {}};
        for (uint32_t i = 0; i < rates.num && i < DC1394_FRAMERATE_NUM; ++i)
            if (float rate = 0; dc1394_framerate_as_float(rates.framerates[i], &rate) == DC1394_SUCCESS)
                mode.frameRates.push_back(static_cast<double>(rate));
        modes.push_back(std::move(mode));
    }

    // The whole sensor in each coding.
    void AddFormat7(dc1394video_mode_t number, std::vector<IIDCMode>& modes)
    {
        uint32_t width = 0;
        uint32_t height = 0;
        dc1394color_codings_t codings{};
        if (dc1394_format7_get_max_image_size(camera, number, &width, &height) != DC1394_SUCCESS ||
            !IsPictureSize(width, height) ||
            dc1394_format7_get_color_codings(camera, number, &codings) != DC1394_SUCCESS)
            return;
        for (uint32_t i = 0; i < codings.num && i < DC1394_COLOR_CODING_NUM; ++i) {
            const auto coding = CodingOf(codings.codings[i]);
            IIDCMode mode{number,
                          coding.value_or(IIDCCoding::Mono8),
                          static_cast<int32_t>(width),
                          static_cast<int32_t>(height),
                          {}};
            const double rate = coding ? Format7Rate(number, codings.codings[i], mode) : 0;
            if (rate > 0)
                modes.push_back((mode.frameRates.push_back(rate), std::move(mode)));
        }
    }

    // The maximum packet size for the present coding and region. A camera reports the length of a frame, or sends a
    // packet in each bus cycle. A camera that is transmitting for another program is not changed.
    double Format7Rate(dc1394video_mode_t number, dc1394color_coding_t coding, const IIDCMode& mode)
    {
        constexpr double packetsPerSecond = 8000;
        bool transmitting = false;
        if (IsTransmitting(transmitting) != noErr ||
            (!transmitting && SetRegion(number, coding, mode.width, mode.height) != DC1394_SUCCESS))
            return 0;
        uint32_t packet = 0;
        uint64_t bytes = 0;
        float seconds = 0;
        if (dc1394_format7_get_frame_interval(camera, number, &seconds) == DC1394_SUCCESS && seconds > 0)
            return 1 / static_cast<double>(seconds);
        if (dc1394_format7_get_packet_size(camera, number, &packet) != DC1394_SUCCESS ||
            dc1394_format7_get_total_bytes(camera, number, &bytes) != DC1394_SUCCESS || bytes == 0)
            return 0;
        return packetsPerSecond * packet / static_cast<double>(bytes);
    }

    dc1394error_t SetRate(dc1394video_mode_t number, double wanted)
    {
        dc1394framerates_t rates{};
        if (const auto error = dc1394_video_get_supported_framerates(camera, number, &rates); error != DC1394_SUCCESS)
            return error;
        for (uint32_t i = 0; i < rates.num && i < DC1394_FRAMERATE_NUM; ++i)
            if (float rate = 0; dc1394_framerate_as_float(rates.framerates[i], &rate) == DC1394_SUCCESS &&
                                std::abs(static_cast<double>(rate) - wanted) < 0.01)
                return dc1394_video_set_framerate(camera, rates.framerates[i]);
        return DC1394_INVALID_FRAMERATE;
    }

    Result Fetch(IIDCFeature feature, dc1394feature_info_t& info)
    {
        info.id = LibraryFeatureOf(feature);
        if (dc1394_feature_get(camera, &info) != DC1394_SUCCESS)
            return ioErr;
        return info.available == DC1394_TRUE ? noErr : digiUnimpErr;
    }

    // The bus does not number frames. Only a full ring loses any: that many frames waited at once. Then the time shows
    // how many were lost; otherwise a long interval is a long exposure.
    uint32_t CountFrame(int64_t time)
    {
        const bool ringWasFull = framesInARow + 1 >= kBuffers;
        framesInARow = isNextWaiting ? framesInARow + 1 : 1;
        pollfd next{dc1394_capture_get_fileno(camera), POLLIN, 0};
        isNextWaiting = poll(&next, 1, 0) > 0;
        const auto step = static_cast<double>(time - lastTime);
        const bool lost = ringWasFull && lastTime != 0 && interval > 0 && step > 1.5 * interval;
        sequence += lost ? static_cast<uint32_t>(std::min(std::round(step / interval), 1e6)) : 1;
        lastTime = time;
        return sequence;
    }

    void GiveBack()
    {
        if (taken != nullptr)
            dc1394_capture_enqueue(camera, std::exchange(taken, nullptr));
    }

    Context context;
    dc1394camera_t* camera;
    dc1394video_frame_t* taken = nullptr;
    CaptureHoldings holdings;
    bool capturing = false;
    uint32_t framesInARow = 0; ///< consecutive frames that had been waiting
    bool isNextWaiting = false;
    uint32_t sequence = 0;
    int64_t lastTime = 0;
    double interval = 0;
    mutable std::mutex reasonMutex; // guards the following
    std::string reason;
};

class LibraryBus : public IIDCBus {
public:
    explicit LibraryBus(Context library) : context(std::move(library)) {}

    // Cameras that may not be opened come from the kernel's list.
    std::vector<IIDCCameraEntry> Cameras() override
    {
        std::vector<IIDCCameraEntry> cameras;
        for (const FireWireUnit& unit : ListFireWireUnits())
            if (unit.IsIIDC() && !unit.mayBeOpened)
                cameras.push_back({unit.guid, {}, unit.name, unit.Reason()});
        dc1394camera_list_t* list = nullptr;
        if (dc1394_camera_enumerate(context.get(), &list) != DC1394_SUCCESS)
            return cameras;
        const auto text = [](const char* name) { return CleanDeviceText(name == nullptr ? "" : name); };
        for (uint32_t i = 0; i < list->num; ++i)
            if (dc1394camera_t* const camera = dc1394_camera_new(context.get(), list->ids[i].guid)) {
                if (std::ranges::find(cameras, camera->guid, &IIDCCameraEntry::guid) == cameras.end())
                    cameras.push_back({camera->guid, text(camera->vendor), text(camera->model), {}});
                dc1394_camera_free(camera);
            }
        dc1394_camera_free_list(list);
        return cameras;
    }

    std::shared_ptr<IIDCCamera> Open(uint64_t guid) override
    {
        dc1394camera_t* const camera = dc1394_camera_new(context.get(), guid);
        return camera == nullptr ? nullptr : std::make_shared<LibraryCamera>(context, camera);
    }

private:
    Context context;
};

} // namespace

std::shared_ptr<IIDCBus> OpenIIDCLibraryBus()
{
    if (std::ranges::none_of(ListFireWireUnits(), &FireWireUnit::IsIIDC))
        return nullptr;
    // The library would write its messages to the terminal.
    static std::once_flag silenced;
    std::call_once(silenced, [] {
        dc1394_log_register_handler(DC1394_LOG_ERROR, nullptr, nullptr);
        dc1394_log_register_handler(DC1394_LOG_WARNING, nullptr, nullptr);
    });
    const Context context(dc1394_new(), [](dc1394_t* library) {
        if (library != nullptr)
            dc1394_free(library);
    });
    return context ? std::make_shared<LibraryBus>(context) : nullptr;
}

} // namespace platform

#else

std::shared_ptr<platform::IIDCBus> platform::OpenIIDCLibraryBus()
{
    return nullptr;
}

#endif
