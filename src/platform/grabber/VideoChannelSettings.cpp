// SPDX-License-Identifier: MIT
// The saved settings of a video channel.
#include "platform/grabber/ChannelSettings.h"
#include "platform/grabber/VideoChannel.h"

#include <algorithm>
#include <array>

namespace platform {
namespace {

constexpr FourCharCode kStandard = CodeOf("stnd");
constexpr FourCharCode kStandardName = CodeOf("stnn");
constexpr FourCharCode kFormat = CodeOf("fmt ");
constexpr FourCharCode kWidth = CodeOf("widt");
constexpr FourCharCode kHeight = CodeOf("heig");
constexpr FourCharCode kCodec = CodeOf("codc");
constexpr FourCharCode kDepth = CodeOf("dept");
constexpr FourCharCode kSpatialQuality = CodeOf("sptl");
constexpr FourCharCode kTemporalQuality = CodeOf("tprl");
constexpr FourCharCode kKeyFrameRate = CodeOf("keyf");
constexpr FourCharCode kDataRate = CodeOf("drat");
constexpr FourCharCode kBounds = CodeOf("bnds");
constexpr FourCharCode kControls = CodeOf("ctrl");

struct NamedControl {
    AnalogControl control;
    FourCharCode tag;
};
constexpr std::array<NamedControl, 6> kAnalogControls{{{AnalogControl::Brightness, CodeOf("brig")},
                                                       {AnalogControl::Hue, CodeOf("hue ")},
                                                       {AnalogControl::Contrast, CodeOf("cont")},
                                                       {AnalogControl::Saturation, CodeOf("satu")},
                                                       {AnalogControl::Sharpness, CodeOf("shar")},
                                                       {AnalogControl::WhiteLevel, CodeOf("whtl")}}};

// Values that another control or the device itself determines are left to the device: restoring them would end its
// automatic modes.
void AddControls(TaggedItems& settings, const Digitizer& digitizer)
{
    const auto offered = digitizer.Controls();
    TaggedItems controls;
    for (const ImageControl& control : offered)
        if (control.kind != ImageControl::Kind::Button && !control.readOnly && !control.writeOnly && !control.inactive)
            controls.AddNumber(control.identity, control.value);
    settings.AddItems(kControls, controls);
    // If there are controls, the analog values are six of them under other names.
    for (const auto& [control, tag] : kAnalogControls) {
        uint16_t value = 0;
        if (offered.empty() && digitizer.GetAnalog(control, value) == noErr)
            settings.AddNumber(tag, value);
    }
}

void ApplyControls(const TaggedItems& settings, Digitizer& digitizer)
{
    for (const auto& [control, tag] : kAnalogControls)
        if (settings.Number(tag))
            digitizer.SetAnalog(control, Fitting<uint16_t>(settings, tag, 0));
    const auto* flattened = settings.Find(kControls);
    const auto controls = flattened ? TaggedItems::Read(*flattened) : std::nullopt;
    if (!controls)
        return;
    ControlValues values;
    for (const auto& item : controls->All())
        if (const auto value = controls->Number(item.tag))
            values.emplace_back(item.tag, *value);
    digitizer.SetControls(values);
}

Bounds BoundsFrom(const TaggedItems& settings)
{
    const auto packed = static_cast<uint64_t>(settings.Number(kBounds, 0));
    return {static_cast<int16_t>(packed >> 48), static_cast<int16_t>(packed >> 32), static_cast<int16_t>(packed >> 16),
            static_cast<int16_t>(packed)};
}

int64_t PackedBounds(const Bounds& bounds)
{
    uint64_t packed = 0;
    for (const int16_t side : {bounds.top, bounds.left, bounds.bottom, bounds.right})
        packed = packed << 16 | static_cast<uint16_t>(side);
    return static_cast<int64_t>(packed);
}

} // namespace

TaggedItems VideoChannel::Settings() const
{
    TaggedItems settings;
    SaveCommonSettings(settings, *this);
    SaveChoice(settings, kStandard, kStandardName, digitizer->Standards(), digitizer->Standard());
    const CaptureFormat format = digitizer->Format();
    settings.AddNumber(kFormat, format.format);
    settings.AddNumber(kWidth, format.width);
    settings.AddNumber(kHeight, format.height);
    settings.AddNumber(kSavedRate, Millionths(format.frameRate));
    const CompressionSettings compressed = Compression();
    settings.AddNumber(kCodec, compressed.codec);
    settings.AddNumber(kDepth, compressed.depth);
    settings.AddNumber(kSpatialQuality, compressed.spatialQuality);
    settings.AddNumber(kTemporalQuality, compressed.temporalQuality);
    settings.AddNumber(kKeyFrameRate, compressed.keyFrameRate);
    settings.AddNumber(kDataRate, compressed.dataRate);
    if (bounds)
        settings.AddNumber(kBounds, PackedBounds(*bounds));
    AddControls(settings, *digitizer);
    return settings;
}

void VideoChannel::ApplySettings(const TaggedItems& settings)
{
    ApplyCommonSettings(settings, *this);
    ApplyChoice(settings, kSavedInput, kSavedInputName, digitizer->Inputs(), digitizer->Input(),
                [this](int input) { digitizer->SelectInput(input); });
    ApplyChoice(settings, kStandard, kStandardName, digitizer->Standards(), digitizer->Standard(),
                [this](int standard) { digitizer->SelectStandard(standard); });
    CaptureFormat format = digitizer->Format();
    format.format = Fitting(settings, kFormat, format.format);
    format.width = Fitting(settings, kWidth, format.width);
    format.height = Fitting(settings, kHeight, format.height);
    format.frameRate = FromMillionths(settings.Number(kSavedRate, Millionths(format.frameRate)));
    SetFormat(format);
    CompressionSettings compressed = Compression();
    compressed.codec = Fitting(settings, kCodec, compressed.codec);
    SetCompression(compressed);
    // The codec may be unknown here; the rest is still applied.
    compressed = Compression();
    compressed.depth = Fitting<int16_t>(settings, kDepth, static_cast<int16_t>(compressed.depth));
    compressed.spatialQuality =
        std::clamp(Fitting(settings, kSpatialQuality, compressed.spatialQuality), 0, kHighestQuality);
    compressed.temporalQuality =
        std::clamp(Fitting(settings, kTemporalQuality, compressed.temporalQuality), 0, kHighestQuality);
    compressed.keyFrameRate = std::clamp(Fitting(settings, kKeyFrameRate, compressed.keyFrameRate), 0, 65535);
    compressed.dataRate = std::max(0, Fitting(settings, kDataRate, compressed.dataRate));
    SetCompression(compressed);
    if (const Bounds stored = BoundsFrom(settings); !stored.Empty())
        bounds = stored;
    if (AreFor(settings, Device()))
        ApplyControls(settings, *digitizer);
}

} // namespace platform
