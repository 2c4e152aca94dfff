// IIDC cameras as digitizers.
//
// The camera is opened with the digitizer, for its modes and features, and transmits between `Start` and `Stop`. A
// thread of the digitizer then takes the frames. It also keeps the stream alive: a stream that broke down or fell
// silent because the camera was reset is begun anew, and a camera that left is looked for twice a second, by its GUID.
// A camera that comes back is given the feature values that were set on the one before.
//
// The mutex guards the camera and its registers, which both threads use; only the taking of frames goes without it.
#include "platform/digitizer/iidc/IIDCDigitizer.h"

#include "platform/digitizer/UniqueFD.h"
#include "platform/digitizer/iidc/IIDCFrames.h"
#include "platform/digitizer/v4l2/V4L2Formats.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <mutex>
#include <poll.h>
#include <sys/eventfd.h>
#include <thread>
#include <utility>

namespace platform {
namespace {

constexpr std::string_view kIdentityPrefix = "iidc:";
// No letter of a feature's code has it: together they make the number of the control for the feature's mode.
constexpr uint32_t kModeBit = 0x80000000;
constexpr int64_t kAnalogScale = 65535;
constexpr int kRetryMilliseconds = 500;
// Longer than the interval of the slowest rate; a camera that waits for light or a trigger may be silent longer.
constexpr int kSilenceMilliseconds = 1000;

struct NamedFeature {
    FourCharCode code;
    IIDCFeature feature;
    const char* name; ///< for people
};

// The cameras have no register for edge enhancement beside that of sharpness.
constexpr NamedFeature kFeatures[] = {
    {CodeOf("hue "), IIDCFeature::Hue, "Hue"},
    {CodeOf("satu"), IIDCFeature::Saturation, "Saturation"},
    {CodeOf("shrp"), IIDCFeature::Sharpness, "Sharpness"},
    {CodeOf("brit"), IIDCFeature::Brightness, "Brightness"},
    {CodeOf("gain"), IIDCFeature::Gain, "Gain"},
    {CodeOf("iris"), IIDCFeature::Iris, "Iris"},
    {CodeOf("shtr"), IIDCFeature::Shutter, "Shutter"},
    {CodeOf("xpsr"), IIDCFeature::Exposure, "Exposure"},
    {CodeOf("whbu"), IIDCFeature::WhiteBalanceU, "White Balance U"},
    {CodeOf("whbv"), IIDCFeature::WhiteBalanceV, "White Balance V"},
    {CodeOf("gmma"), IIDCFeature::Gamma, "Gamma"},
    {CodeOf("temp"), IIDCFeature::Temperature, "Temperature"},
    {CodeOf("zoom"), IIDCFeature::Zoom, "Zoom"},
    {CodeOf("fcus"), IIDCFeature::Focus, "Focus"},
    {CodeOf("pan "), IIDCFeature::Pan, "Pan"},
    {CodeOf("tilt"), IIDCFeature::Tilt, "Tilt"},
    {CodeOf("opft"), IIDCFeature::OpticalFilter, "Optical Filter"},
};

std::optional<IIDCFeature> FeatureOf(FourCharCode code)
{
    const auto* found = std::ranges::find(kFeatures, code, &NamedFeature::code);
    return found == std::end(kFeatures) ? std::nullopt : std::optional(found->feature);
}

// The feature behind an analog value. The level shown as white is the nearest to gamma; nothing is a contrast.
FourCharCode CodeOfAnalog(AnalogControl control)
{
    switch (control) {
    case AnalogControl::Brightness:
        return CodeOf("brit");
    case AnalogControl::Hue:
        return CodeOf("hue ");
    case AnalogControl::Saturation:
        return CodeOf("satu");
    case AnalogControl::Sharpness:
        return CodeOf("shrp");
    case AnalogControl::WhiteLevel:
        return CodeOf("gmma");
    case AnalogControl::Contrast:
        break;
    }
    return 0;
}

std::string IdentityOf(uint64_t guid)
{
    char digits[17];
    std::snprintf(digits, sizeof digits, "%016llx", static_cast<unsigned long long>(guid));
    return std::string(kIdentityPrefix) + digits;
}

std::string NameOf(const IIDCCameraEntry& entry)
{
    const std::string gap = entry.vendor.empty() || entry.model.empty() ? "" : " ";
    const std::string name = entry.vendor + gap + entry.model;
    return name.empty() ? "IIDC camera" : name;
}

// A mode at one of its rates, under the format in which its frames are handed on.
struct Offer {
    CaptureFormat format;
    IIDCMode mode;
};

// Of two modes that come out the same, the one with more colour in it.
std::vector<Offer> OffersOf(IIDCCamera& camera)
{
    std::vector<Offer> offers;
    for (auto& mode : camera.Modes()) {
        std::ranges::sort(mode.frameRates, std::greater());
        for (const double rate : mode.frameRates) {
            const CaptureFormat format{FormatOfCoding(mode.coding), mode.width, mode.height, rate};
            const auto known = std::ranges::find(offers, format, &Offer::format);
            if (known == offers.end())
                offers.push_back({format, mode});
            else if (known->mode.coding == IIDCCoding::Yuv411)
                known->mode = mode;
        }
    }
    return offers;
}

std::vector<CaptureFormat> FormatsOf(const std::vector<Offer>& offers)
{
    std::vector<CaptureFormat> formats;
    std::ranges::transform(offers, std::back_inserter(formats), &Offer::format);
    return formats;
}

int32_t InFeatureRange(uint32_t value)
{
    return static_cast<int32_t>(std::min<uint32_t>(value, INT32_MAX));
}

// In units of the raw range; while the camera works with absolute values the raw one means nothing.
int32_t RawValue(const IIDCFeatureState& state)
{
    const float span = state.absoluteMaximum - state.absoluteMinimum;
    const float part = (state.absoluteValue - state.absoluteMinimum) / span;
    if (!state.absoluteControl || !std::isfinite(part) || state.maximum < state.minimum)
        return InFeatureRange(state.value);
    const double range = static_cast<double>(state.maximum) - state.minimum;
    return InFeatureRange(state.minimum + static_cast<uint32_t>(std::clamp<double>(part, 0, 1) * range + 0.5));
}

// The choice between a feature's modes. The two white balances have one between them.
ImageControl ModesOf(const NamedFeature& known, const IIDCFeatureState& state, const IIDCFeatureState& found)
{
    ImageControl control;
    control.identity = known.code | kModeBit;
    control.name = std::string(known.name) + ", Mode";
    control.kind = ImageControl::Kind::Menu;
    control.value = static_cast<int64_t>(state.Mode());
    control.deviceDefault = static_cast<int64_t>(found.Mode());
    const auto offer = [&](bool offered, IIDCFeatureMode mode, const char* name) {
        if (offered && known.feature != IIDCFeature::WhiteBalanceV)
            control.choices.emplace_back(static_cast<int64_t>(mode), name);
    };
    offer(state.canBeOff, IIDCFeatureMode::Off, "Off");
    offer(state.canBeManual, IIDCFeatureMode::Manual, "Manual");
    offer(state.canBeAutomatic, IIDCFeatureMode::Automatic, "Automatic");
    if (!control.choices.empty())
        control.maximum = control.choices.back().first;
    return control;
}

class IIDCDigitizer : public Digitizer {
public:
    IIDCDigitizer(IIDCCameraEntry cameraEntry, std::shared_ptr<IIDCCamera> opened)
        : entry(std::move(cameraEntry)),
          camera(std::move(opened)),
          offers(OffersOf(*camera)),
          wanted(DefaultFormat(FormatsOf(offers))),
          stopEvent(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
    {
    }
    ~IIDCDigitizer() override { IIDCDigitizer::Stop(); }

    std::string Name() const override { return NameOf(entry); }
    std::string Identity() const override { return IdentityOf(entry.guid); }
    std::vector<CaptureFormat> Formats() const override { return FormatsOf(offers); }
    CaptureFormat Format() const override { return wanted; }

    Result SetFormat(const CaptureFormat& format) override
    {
        const CaptureFormat nearest = NearestFormat(FormatsOf(offers), format);
        if (nearest.format == 0)
            return deviceCantMeetRequest;
        if (nearest == wanted)
            return noErr;
        FrameSink* const running = thread.joinable() ? sink : nullptr;
        Stop();
        const CaptureFormat before = std::exchange(wanted, nearest);
        const Result result = running != nullptr ? Start(*running) : noErr;
        if (result == noErr || result == noDeviceForChannel)
            return result;
        wanted = before; // refused by the camera itself
        const Result again = Start(*running);
        if (again == noErr || again == noDeviceForChannel)
            return result;
        // It takes neither at the moment: it is asked again until it does.
        running->CaptureFailed(again);
        thread = std::thread([this] { Run(false); });
        return result;
    }

    Result Start(FrameSink& target) override
    {
        Stop();
        sink = &target;
        const Result result = BeginStream();
        outageTold = result != noErr;
        if (result == noErr || result == noDeviceForChannel)
            thread = std::thread([this, begun = result == noErr] { Run(begun); });
        return result;
    }

    void Stop() override
    {
        if (!thread.joinable())
            return;
        eventfd_write(stopEvent.Get(), 1);
        thread.join();
        eventfd_t count = 0;
        eventfd_read(stopEvent.Get(), &count);
    }

    Result GetFeature(FourCharCode code, CameraFeature& feature) const override
    {
        const auto known = FeatureOf(code);
        if (!known)
            return digiUnimpErr;
        const std::lock_guard lock(mutex);
        IIDCFeatureState state;
        const Result result = camera ? camera->ReadFeature(*known, state) : noDeviceForChannel;
        if (result != noErr)
            return result;
        feature = {.minimum = InFeatureRange(state.minimum),
                   .maximum = InFeatureRange(state.maximum),
                   .value = RawValue(state),
                   .absoluteMinimum = state.hasAbsolute ? state.absoluteMinimum : 0,
                   .absoluteMaximum = state.hasAbsolute ? state.absoluteMaximum : 0,
                   .writable = state.canBeManual};
        return noErr;
    }

    Result SetFeature(FourCharCode code, int32_t value) override
    {
        const auto known = FeatureOf(code);
        if (!known)
            return digiUnimpErr;
        const std::lock_guard lock(mutex);
        const Result result = camera ? WriteFeature(*known, value) : noDeviceForChannel;
        if (result == noErr)
            wishes[*known] = {IIDCFeatureMode::Manual, value};
        return result;
    }

    Result GetAnalog(AnalogControl control, uint16_t& value) const override
    {
        CameraFeature feature;
        if (const Result result = GetFeature(CodeOfAnalog(control), feature); result != noErr)
            return result;
        const int64_t range = std::max<int64_t>(1, int64_t{feature.maximum} - feature.minimum);
        const int64_t offset = std::clamp<int64_t>(int64_t{feature.value} - feature.minimum, 0, range);
        value = static_cast<uint16_t>((offset * kAnalogScale + range / 2) / range);
        return noErr;
    }

    Result SetAnalog(AnalogControl control, uint16_t value) override
    {
        CameraFeature feature;
        if (const Result result = GetFeature(CodeOfAnalog(control), feature); result != noErr)
            return result;
        const int64_t range = std::max<int64_t>(0, int64_t{feature.maximum} - feature.minimum);
        const int64_t offset = (value * range + kAnalogScale / 2) / kAnalogScale;
        return SetFeature(CodeOfAnalog(control), static_cast<int32_t>(feature.minimum + offset));
    }

    // The features once more, as a dialog lists them and settings keep them: the mode of each where it has more than
    // one, then its value, which is the camera's own business in all modes but one.
    std::vector<ImageControl> Controls() const override
    {
        const std::lock_guard lock(mutex);
        std::vector<ImageControl> controls;
        for (const NamedFeature& known : kFeatures) {
            IIDCFeatureState state;
            if (!camera || camera->ReadFeature(known.feature, state) != noErr)
                continue;
            const auto& found = asFound.try_emplace(known.feature, state).first->second;
            if (auto modes = ModesOf(known, state, found); modes.choices.size() > 1)
                controls.push_back(std::move(modes));
            ImageControl value;
            value.identity = known.code;
            value.name = known.name;
            value.minimum = InFeatureRange(state.minimum);
            value.maximum = InFeatureRange(std::max(state.minimum, state.maximum));
            value.value = RawValue(state);
            value.deviceDefault = RawValue(found);
            value.readOnly = !state.canBeManual;
            value.inactive = state.Mode() != IIDCFeatureMode::Manual;
            controls.push_back(std::move(value));
        }
        return controls;
    }

    Result SetControl(uint32_t identity, int64_t value) override
    {
        if ((identity & kModeBit) == 0)
            return SetFeature(identity, static_cast<int32_t>(std::clamp<int64_t>(value, 0, INT32_MAX)));
        const auto known = FeatureOf(identity & ~kModeBit);
        const std::lock_guard lock(mutex);
        IIDCFeatureState state;
        const Result result = !known ? digiUnimpErr : !camera ? noDeviceForChannel : camera->ReadFeature(*known, state);
        if (result != noErr)
            return result;
        const auto mode = static_cast<IIDCFeatureMode>(value);
        if (mode == state.Mode())
            return noErr; // absolute control stays as it is, too
        const bool isOffered = (mode == IIDCFeatureMode::Off && state.canBeOff) ||
                               (mode == IIDCFeatureMode::Manual && state.canBeManual) ||
                               (mode == IIDCFeatureMode::Automatic && state.canBeAutomatic);
        if (!isOffered)
            return paramErr;
        if (const Result set = camera->SetMode(*known, mode); set != noErr)
            return set;
        wishes[*known] = {mode, RawValue(state)};
        if (known == IIDCFeature::WhiteBalanceU) // the two have one mode
            wishes.erase(IIDCFeature::WhiteBalanceV);
        return noErr;
    }

private:
    /// What was set on a feature: its mode, and in the manual one its value.
    struct Wish {
        IIDCFeatureMode mode = IIDCFeatureMode::Manual;
        int32_t value = 0;
    };

    Result WriteFeature(IIDCFeature feature, int32_t value)
    {
        IIDCFeatureState state;
        Result result = camera->ReadFeature(feature, state);
        if (result != noErr)
            return result;
        if (!state.canBeManual)
            return permErr;
        // A value that is there already is left as it is, absolute control with it.
        if (state.isManual && RawValue(state) == value)
            return noErr;
        if (!state.isManual || state.absoluteControl)
            result = camera->SetMode(feature, IIDCFeatureMode::Manual);
        const auto least = std::max<int64_t>(value, state.minimum);
        return result == noErr
                   ? camera->WriteFeature(feature, static_cast<uint32_t>(std::min<int64_t>(least, state.maximum)))
                   : result;
    }

    // The offer for a wish always exists, unless there is none at all.
    Result BeginStream()
    {
        const std::lock_guard lock(mutex);
        const auto offer = std::ranges::find(offers, wanted, &Offer::format);
        if (offer == offers.end())
            return deviceCantMeetRequest;
        if (!camera && !Reopen())
            return noDeviceForChannel;
        const Result result = camera->Start(offer->mode, wanted.frameRate);
        if (result == noDeviceForChannel)
            camera = nullptr;
        return result;
    }

    bool Reopen()
    {
        const auto bus = OpenIIDCBus();
        camera = bus ? bus->Open(entry.guid) : nullptr;
        if (!camera)
            return false;
        for (const auto& [feature, wish] : wishes)
            wish.mode == IIDCFeatureMode::Manual ? WriteFeature(feature, wish.value)
                                                 : camera->SetMode(feature, wish.mode);
        return true;
    }

    void Run(bool begun)
    {
        do {
            if (!begun) {
                if (BeginStream() != noErr)
                    continue;
                ++last; // of the frames lost in between, to tell that there were some
            }
            begun = false;
            const Result result = Deliver();
            EndStream(result);
            if (result != noErr && !std::exchange(outageTold, true))
                sink->CaptureFailed(result);
        } while (!WaitForStop(kRetryMilliseconds));
    }

    // Until the stop, a reset of the camera (both `noErr`) or a failure.
    Result Deliver()
    {
        const uint32_t base = last;
        while (true) {
            pollfd ready[] = {{stopEvent.Get(), POLLIN, 0}, {camera->Descriptor(), POLLIN, 0}};
            const int events = poll(ready, std::size(ready), kSilenceMilliseconds);
            if (ready[0].revents != 0)
                return noErr;
            Result result = noErr;
            bool transmitting = true;
            if (events == 0) {
                const std::lock_guard lock(mutex);
                result = camera->IsTransmitting(transmitting) == noErr ? noErr : noDeviceForChannel;
            } else if (events > 0) {
                result = ready[1].revents == POLLIN ? DeliverFrame(base) : noDeviceForChannel;
            }
            if (result != noErr || !transmitting)
                return result;
        }
    }

    // A frame that can't be shown leaves a gap in the count.
    Result DeliverFrame(uint32_t base)
    {
        IIDCFrame frame;
        const Result result = camera->TakeFrame(frame);
        if (result != noErr || frame.bytes.empty())
            return result;
        last = base + frame.sequence;
        const auto picture = frame.damaged ? std::nullopt : ReadIIDCFrame(frame, converted);
        if (!picture || picture->width != wanted.width || picture->height != wanted.height)
            return noErr;
        outageTold = false;
        sink->FrameArrived({*picture, frame.captureTime, last});
        return noErr;
    }

    void EndStream(Result result)
    {
        const std::lock_guard lock(mutex);
        if (camera)
            camera->Stop();
        // A camera that failed is opened anew.
        if (result != noErr)
            camera = nullptr;
    }

    bool WaitForStop(int milliseconds)
    {
        pollfd ready{stopEvent.Get(), POLLIN, 0};
        return poll(&ready, 1, milliseconds) > 0;
    }

    const IIDCCameraEntry entry;
    mutable std::mutex mutex; // guards the following two
    std::shared_ptr<IIDCCamera> camera;
    std::map<IIDCFeature, Wish> wishes;

    // The cameras tell no defaults: a feature's is the state that it was first found in.
    mutable std::map<IIDCFeature, IIDCFeatureState> asFound;

    const std::vector<Offer> offers;
    CaptureFormat wanted;

    // The thread's own while it runs, otherwise the caller's.
    FrameSink* sink = nullptr;
    std::vector<uint8_t> converted;
    uint32_t last = 0;       // number of the latest frame, counted on from stream to stream
    bool outageTold = false; // one outage is told of once

    UniqueFD stopEvent;
    std::thread thread;
};

} // namespace

std::vector<DigitizerEntry> ListIIDCDigitizers()
{
    std::vector<DigitizerEntry> entries;
    if (const auto bus = OpenIIDCBus())
        for (const auto& camera : bus->Cameras())
            entries.push_back({.name = NameOf(camera), .identity = IdentityOf(camera.guid), .inputs = {}});
    return entries;
}

std::unique_ptr<Digitizer> OpenIIDCDigitizer(const std::string& identity)
{
    if (!identity.starts_with(kIdentityPrefix))
        return nullptr;
    const auto bus = OpenIIDCBus();
    if (!bus)
        return nullptr;
    for (const auto& entry : bus->Cameras())
        if (IdentityOf(entry.guid) == identity)
            if (auto camera = bus->Open(entry.guid))
                return std::make_unique<IIDCDigitizer>(entry, std::move(camera));
    return nullptr;
}

} // namespace platform
