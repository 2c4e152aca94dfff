// SPDX-License-Identifier: MIT
// IIDC cameras as capture devices: modes as formats, features as controls. A camera is identified by its GUID.
#include "platform/digitizer/iidc/IIDCDigitizer.h"

#include "platform/clock/MonotonicClock.h"
#include "platform/digitizer/CameraDigitizer.h"
#include "platform/digitizer/CaptureStamps.h"
#include "platform/digitizer/iidc/IIDCFrames.h"
#include "platform/dv/FireWireUnits.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <mutex>

namespace platform {
namespace {

constexpr std::string_view kIdentityPrefix = "iidc:";
// A bit that no letter of a feature's code has: together they are the number of the control for the feature's mode.
constexpr uint32_t kModeBit = 0x80000000;
constexpr const char* kCantStart = "The camera is not connected, or the bus has no channel left for it.";

// The cameras report no defaults: the default of a feature is the state in which it was first found.
using StatesAsFound = std::map<IIDCFeature, IIDCFeatureState>;

struct NamedFeature {
    FourCharCode code;
    IIDCFeature feature;
    const char* name; ///< for the user
};

// The cameras have no register for edge enhancement besides sharpness.
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

std::string IdentityOf(uint64_t guid)
{
    return std::string(kIdentityPrefix) + GuidText(guid);
}

std::string ReasonOr(std::string reason)
{
    return reason.empty() ? kCantStart : std::move(reason);
}

std::string ReasonInList(IIDCBus& bus, uint64_t guid)
{
    const auto cameras = bus.Cameras();
    const auto listed = std::ranges::find(cameras, guid, &IIDCCameraEntry::guid);
    return listed == cameras.end() ? std::string() : listed->reason;
}

std::string NameOf(const IIDCCameraEntry& entry)
{
    const std::string gap = entry.vendor.empty() || entry.model.empty() ? "" : " ";
    const std::string name = entry.vendor + gap + entry.model;
    return name.empty() ? "IIDC camera" : name;
}

// A mode at one of its rates, in the format in which its frames are passed on.
struct Offer {
    CaptureFormat format;
    IIDCMode mode;
};

// Of two modes with the same result, prefers the one with more colour.
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

int32_t InFeatureRange(uint32_t value)
{
    return static_cast<int32_t>(std::min<uint32_t>(value, INT32_MAX));
}

// In units of the raw range; while the camera uses absolute values the raw one is meaningless.
int32_t RawValue(const IIDCFeatureState& state)
{
    const float span = state.absoluteMaximum - state.absoluteMinimum;
    const float part = (state.absoluteValue - state.absoluteMinimum) / span;
    if (!state.absoluteControl || !std::isfinite(part) || state.maximum < state.minimum)
        return InFeatureRange(state.value);
    const double range = static_cast<double>(state.maximum) - state.minimum;
    return InFeatureRange(state.minimum + static_cast<uint32_t>(std::clamp<double>(part, 0, 1) * range + 0.5));
}

// The number of the control for a feature's mode. The two white balances share one mode.
uint32_t ModeControlOf(const NamedFeature& known)
{
    return (known.feature == IIDCFeature::WhiteBalanceV ? CodeOf("whbu") : known.code) | kModeBit;
}

ImageControl ValueOf(const NamedFeature& known, const IIDCFeatureState& state, const IIDCFeatureState& found)
{
    ImageControl value;
    value.identity = known.code;
    value.name = known.name;
    value.minimum = InFeatureRange(state.minimum);
    value.maximum = InFeatureRange(std::max(state.minimum, state.maximum));
    value.value = RawValue(state);
    value.deviceDefault = RawValue(found);
    value.readOnly = !state.canBeManual;
    value.inactive = state.Mode() != IIDCFeatureMode::Manual;
    value.automaticSwitch = ModeControlOf(known);
    value.manualValue = static_cast<int64_t>(IIDCFeatureMode::Manual);
    value.features = {known.code};
    if (state.hasAbsolute) {
        value.physicalMinimum = state.absoluteMinimum;
        value.physicalMaximum = state.absoluteMaximum;
    }
    return value;
}

// The selection of a feature's mode. The two white balances share it.
ImageControl ModesOf(const NamedFeature& known, const IIDCFeatureState& state, const IIDCFeatureState& found)
{
    ImageControl control;
    control.identity = ModeControlOf(known);
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

// The part of an open camera that its runs share.
class IIDCDevice final : public CaptureDevice {
public:
    IIDCDevice(std::shared_ptr<IIDCCamera> opened, std::shared_ptr<StatesAsFound> found)
        : camera(std::move(opened)), asFound(std::move(found)), offers(OffersOf(*camera))
    {
    }

    std::vector<CaptureFormat> Formats() override
    {
        std::vector<CaptureFormat> formats;
        std::ranges::transform(offers, std::back_inserter(formats), &Offer::format);
        return formats;
    }

    Outcome Begin(const CaptureFormat& wanted, bool, CaptureFormat& actual) override
    {
        const std::lock_guard lock(mutex);
        const auto offer = std::ranges::find(offers, wanted, &Offer::format);
        const Result result =
            offer == offers.end() ? deviceCantMeetRequest : camera->Start(offer->mode, wanted.frameRate);
        actual = format = wanted;
        stamps = CaptureStamps(wanted.frameRate);
        return {result, result == noDeviceForChannel ? ReasonOr(camera->Reason()) : ""};
    }

    void End() override
    {
        const std::lock_guard lock(mutex);
        camera->Stop();
    }

    pollfd Waiting() const override { return {camera->Descriptor(), POLLIN, 0}; }

    Taken Take(short events, CapturedFrame& frame) override
    {
        IIDCFrame taken;
        failure = events == POLLIN ? camera->TakeFrame(taken) : noDeviceForChannel;
        if (failure != noErr)
            return Taken::Failed;
        if (taken.bytes.empty() && !taken.damaged)
            return Taken::Nothing;
        frame.captureTime = stamps.Next(taken.captureTime, MonotonicNow());
        frame.sequence = taken.sequence;
        const auto picture = taken.damaged ? std::nullopt : ReadIIDCFrame(taken, converted);
        if (!picture || picture->width != format.width || picture->height != format.height)
            return Taken::Damaged;
        frame.picture = *picture;
        return Taken::Frame;
    }

    // A camera that waits for light or a trigger may be silent for a long time; one that a bus reset has stopped is
    // started again.
    Taken Silent() override
    {
        const std::lock_guard lock(mutex);
        bool transmitting = true;
        failure = camera->IsTransmitting(transmitting) == noErr ? noErr : noDeviceForChannel;
        return failure != noErr ? Taken::Failed : transmitting ? Taken::Nothing : Taken::Restart;
    }

    Outcome Failure() const override { return {failure, failure == noErr ? "" : ReasonOr(camera->Reason())}; }

    // Longer than the interval of the slowest rate.
    int64_t SilenceAllowed(bool, double) const override { return kNanosecondsPerSecond; }

    // The features as listed in a dialog and saved in settings: the mode of each that has more than one, then its
    // value, which the camera itself determines in all modes but one.
    std::vector<ImageControl> ReadControls() override
    {
        const std::lock_guard lock(mutex);
        std::vector<ImageControl> controls;
        for (const NamedFeature& known : kFeatures) {
            IIDCFeatureState state;
            if (camera->ReadFeature(known.feature, state) != noErr)
                continue;
            const auto& found = asFound->try_emplace(known.feature, state).first->second;
            auto modes = ModesOf(known, state, found);
            auto value = ValueOf(known, state, found);
            if (modes.choices.size() > 1)
                controls.push_back(std::move(modes));
            controls.push_back(std::move(value));
        }
        return controls;
    }

    Result WriteControl(uint32_t identity, int64_t value) override
    {
        const auto known = FeatureOf(identity & ~kModeBit);
        if (!known)
            return digiUnimpErr;
        const std::lock_guard lock(mutex);
        IIDCFeatureState state;
        if (const Result result = camera->ReadFeature(*known, state); result != noErr)
            return result;
        return (identity & kModeBit) != 0 ? WriteMode(*known, state, static_cast<IIDCFeatureMode>(value))
                                          : WriteValue(*known, state, value);
    }

private:
    Result WriteMode(IIDCFeature feature, const IIDCFeatureState& state, IIDCFeatureMode mode)
    {
        if (mode == state.Mode())
            return noErr; // this keeps absolute control, too
        const bool isOffered = (mode == IIDCFeatureMode::Off && state.canBeOff) ||
                               (mode == IIDCFeatureMode::Manual && state.canBeManual) ||
                               (mode == IIDCFeatureMode::Automatic && state.canBeAutomatic);
        return isOffered ? camera->SetMode(feature, mode) : paramErr;
    }

    Result WriteValue(IIDCFeature feature, const IIDCFeatureState& state, int64_t value)
    {
        if (!state.canBeManual)
            return permErr;
        // A value that is set already is not written, to keep absolute control.
        if (state.isManual && RawValue(state) == value)
            return noErr;
        Result result = noErr;
        if (!state.isManual || state.absoluteControl)
            result = camera->SetMode(feature, IIDCFeatureMode::Manual);
        const auto least = std::max<int64_t>(value, state.minimum);
        return result == noErr
                   ? camera->WriteFeature(feature, static_cast<uint32_t>(std::min<int64_t>(least, state.maximum)))
                   : result;
    }

    std::mutex mutex; // guards the camera's registers; only taking frames does not need it
    const std::shared_ptr<IIDCCamera> camera;
    const std::shared_ptr<StatesAsFound> asFound;
    const std::vector<Offer> offers;
    CaptureFormat format;
    CaptureStamps stamps;
    std::vector<uint8_t> converted;
    Result failure = noErr;
};

DeviceOpener OpenerOf(uint64_t guid)
{
    return [guid, asFound = std::make_shared<StatesAsFound>()](Outcome& outcome) -> std::shared_ptr<CaptureDevice> {
        const auto bus = OpenIIDCBus();
        auto camera = bus ? bus->Open(guid) : nullptr;
        if (!camera) {
            outcome = {noDeviceForChannel, ReasonOr(bus ? ReasonInList(*bus, guid) : "")};
            return nullptr;
        }
        return std::make_shared<IIDCDevice>(std::move(camera), asFound);
    };
}

} // namespace

std::vector<DigitizerEntry> ListIIDCDigitizers()
{
    std::vector<DigitizerEntry> entries;
    if (const auto bus = OpenIIDCBus())
        for (const auto& camera : bus->Cameras())
            entries.push_back({.name = NameOf(camera),
                               .identity = IdentityOf(camera.guid),
                               .inputs = {},
                               .available = camera.reason.empty(),
                               .reason = camera.reason});
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
            return std::make_unique<CameraDigitizer>(CameraDigitizer::Label{NameOf(entry), identity},
                                                     OpenerOf(entry.guid));
    return nullptr;
}

} // namespace platform
