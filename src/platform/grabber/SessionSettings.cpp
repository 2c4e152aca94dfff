// SPDX-License-Identifier: MIT
// A session's settings as user data.
//
// One item per channel, of the channel's type, in the order of the channels; each holds a list of items of its own.
// Devices are named by identity and by name, choices (inputs, standards) by name and by number, so that another
// machine can look for the nearest thing it has. Fractions are stored in millionths. The order of all items is fixed,
// and the same settings always give the same bytes.
#include "platform/atoms/UserData.h"
#include "platform/grabber/SavedSettings.h"
#include "platform/grabber/Session.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace platform {
namespace {

constexpr FourCharCode kSession = CodeOf("sgrb");
constexpr int64_t kSettingsVersion = 1;
// Each channel opens a device: a file can't ask for any number of them.
constexpr size_t kMostChannels = 16;

constexpr FourCharCode kIdentity = CodeOf("devi");
constexpr FourCharCode kName = CodeOf("devn");
constexpr FourCharCode kInput = CodeOf("inpt");
constexpr FourCharCode kInputName = CodeOf("inpn");
constexpr FourCharCode kUsage = CodeOf("usag");
constexpr FourCharCode kPlayFlags = CodeOf("plyf");
// Video.
constexpr FourCharCode kStandard = CodeOf("stnd");
constexpr FourCharCode kStandardName = CodeOf("stnn");
constexpr FourCharCode kFormat = CodeOf("fmt ");
constexpr FourCharCode kWidth = CodeOf("widt");
constexpr FourCharCode kHeight = CodeOf("heig");
constexpr FourCharCode kRate = CodeOf("rate");
constexpr FourCharCode kCodec = CodeOf("codc");
constexpr FourCharCode kDepth = CodeOf("dept");
constexpr FourCharCode kSpatialQuality = CodeOf("sptl");
constexpr FourCharCode kTemporalQuality = CodeOf("tprl");
constexpr FourCharCode kKeyFrameRate = CodeOf("keyf");
constexpr FourCharCode kDataRate = CodeOf("drat");
constexpr FourCharCode kBounds = CodeOf("bnds");
constexpr FourCharCode kControls = CodeOf("ctrl");
// Sound.
constexpr FourCharCode kSampleSize = CodeOf("size");
constexpr FourCharCode kChannels = CodeOf("chan");
constexpr FourCharCode kCompression = CodeOf("cmpr");
constexpr FourCharCode kGain = CodeOf("gain");
constexpr FourCharCode kBalance = CodeOf("bala");
constexpr FourCharCode kMuted = CodeOf("mute");
constexpr FourCharCode kVolume = CodeOf("volu");
constexpr FourCharCode kAdditionalRates = CodeOf("arat");

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

int64_t Millionths(double value)
{
    return std::llround(value * 1e6);
}

// A number of the settings as the type that takes it; one that was made for a larger range stays out.
template <typename T> T Fitting(const TaggedItems& settings, FourCharCode tag, T standard)
{
    const auto value = settings.Number(tag);
    return value && *value >= std::numeric_limits<T>::min() && *value <= std::numeric_limits<T>::max()
               ? static_cast<T>(*value)
               : standard;
}

// The place of a choice: by its name, or by its number where no such name is there.
std::optional<int> Choice(const std::vector<std::string>& offered, const std::string& name,
                          std::optional<int64_t> number)
{
    if (const auto found = std::ranges::find(offered, name); found != offered.end())
        return static_cast<int>(found - offered.begin());
    if (number && *number >= 0 && *number < static_cast<int64_t>(offered.size()))
        return static_cast<int>(*number);
    return std::nullopt;
}

void AddChoice(TaggedItems& settings, FourCharCode tag, FourCharCode nameTag, const std::vector<std::string>& offered,
               int chosen)
{
    if (chosen < 0 || static_cast<size_t>(chosen) >= offered.size())
        return;
    settings.AddNumber(tag, chosen);
    settings.AddText(nameTag, offered[static_cast<size_t>(chosen)]);
}

void AddCommon(TaggedItems& settings, const Channel& channel)
{
    const ListedDevice device = channel.Device();
    settings.AddText(kIdentity, device.identity);
    settings.AddText(kName, device.name);
    AddChoice(settings, kInput, kInputName, device.inputs, device.input);
    settings.AddNumber(kUsage, channel.usage);
    settings.AddNumber(kPlayFlags, channel.playFlags);
}

// Gain and image controls are of one device: set on another one, they would spoil a microphone or a camera that was
// well. A device of that name is of the same model.
bool AreFor(const TaggedItems& settings, const ListedDevice& device)
{
    return settings.Text(kIdentity) == device.identity || settings.Text(kName) == device.name;
}

void ApplyCommon(const TaggedItems& settings, Channel& channel)
{
    channel.usage = Fitting(settings, kUsage, channel.usage);
    channel.playFlags = Fitting(settings, kPlayFlags, channel.playFlags);
}

// What another control or the device itself has a hold of is the device's business: put back later, it would take the
// device out of its automatic ways.
void AddControls(TaggedItems& settings, const Digitizer& digitizer)
{
    const auto offered = digitizer.Controls();
    TaggedItems controls;
    for (const ImageControl& control : offered)
        if (control.kind != ImageControl::Kind::Button && !control.readOnly && !control.writeOnly && !control.inactive)
            controls.AddNumber(control.identity, control.value);
    settings.AddItems(kControls, controls);
    // Where there are controls, the analog values are six of them under other names.
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
    AddCommon(settings, *this);
    AddChoice(settings, kStandard, kStandardName, digitizer->Standards(), digitizer->Standard());
    const CaptureFormat format = digitizer->Format();
    settings.AddNumber(kFormat, format.format);
    settings.AddNumber(kWidth, format.width);
    settings.AddNumber(kHeight, format.height);
    settings.AddNumber(kRate, Millionths(format.frameRate));
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
    ApplyCommon(settings, *this);
    if (const auto input = Choice(digitizer->Inputs(), settings.Text(kInputName), settings.Number(kInput));
        input && *input != digitizer->Input())
        digitizer->SelectInput(*input);
    if (const auto standard = Choice(digitizer->Standards(), settings.Text(kStandardName), settings.Number(kStandard));
        standard && *standard != digitizer->Standard())
        digitizer->SelectStandard(*standard);
    CaptureFormat format = digitizer->Format();
    format.format = Fitting(settings, kFormat, format.format);
    format.width = Fitting(settings, kWidth, format.width);
    format.height = Fitting(settings, kHeight, format.height);
    format.frameRate = static_cast<double>(settings.Number(kRate, Millionths(format.frameRate))) / 1e6;
    SetFormat(format);
    CompressionSettings compressed = Compression();
    compressed.codec = Fitting(settings, kCodec, compressed.codec);
    SetCompression(compressed);
    // The codec may be unknown here; the rest is taken all the same.
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

TaggedItems SoundChannel::Settings() const
{
    TaggedItems settings;
    AddCommon(settings, *this);
    const Parameters present = GetParameters();
    settings.AddNumber(kSampleSize, present.sampleSize);
    settings.AddNumber(kChannels, present.channels);
    settings.AddNumber(kCompression, present.compression);
    settings.AddNumber(kRate, Millionths(Rate()));
    double gain = 0;
    if (source->GetGain(gain) == noErr)
        settings.AddNumber(kGain, Millionths(gain));
    if (double balance = 0; source->GetBalance(balance) == noErr)
        settings.AddNumber(kBalance, Millionths(balance));
    if (bool muted = false; source->GetMuted(muted) == noErr)
        settings.AddNumber(kMuted, muted ? 1 : 0);
    settings.AddNumber(kVolume, volume);
    TaggedItems rates;
    for (const Fixed rate : additionalRates)
        rates.AddNumber(kRate, static_cast<uint32_t>(rate));
    settings.AddItems(kAdditionalRates, rates);
    return settings;
}

void SoundChannel::ApplySettings(const TaggedItems& settings)
{
    ApplyCommon(settings, *this);
    if (const auto input = Choice(source->Inputs(), settings.Text(kInputName), settings.Number(kInput));
        input && *input != source->Input())
        source->SelectInput(*input);
    Parameters wanted = GetParameters();
    wanted.sampleSize = Fitting(settings, kSampleSize, wanted.sampleSize);
    wanted.channels = Fitting(settings, kChannels, wanted.channels);
    wanted.compression = Fitting(settings, kCompression, wanted.compression);
    SetParameters(wanted);
    if (const auto rate = settings.Number(kRate))
        SetRate(static_cast<double>(*rate) / 1e6);
    if (const auto gain = settings.Number(kGain); gain && AreFor(settings, Device()))
        source->SetGain(static_cast<double>(*gain) / 1e6);
    double balance = 0;
    if (const auto side = settings.Number(kBalance);
        side && source->GetBalance(balance) == noErr && Millionths(balance) != *side)
        source->SetBalance(static_cast<double>(*side) / 1e6);
    bool muted = false;
    if (const auto wantedMute = settings.Number(kMuted);
        wantedMute && AreFor(settings, Device()) && source->GetMuted(muted) == noErr && muted != (*wantedMute != 0))
        source->SetMuted(*wantedMute != 0);
    volume = Fitting(settings, kVolume, volume);
    const auto* flattened = settings.Find(kAdditionalRates);
    const auto rates = flattened ? TaggedItems::Read(*flattened) : std::nullopt;
    additionalRates.clear();
    for (size_t i = 0; rates && i < rates->All().size(); ++i) {
        TaggedItems one;
        one.Add(kRate, rates->All()[i].bytes);
        additionalRates.push_back(static_cast<Fixed>(Fitting<uint32_t>(one, kRate, 0)));
    }
}

TaggedItems Session::Settings() const
{
    TaggedItems settings;
    settings.AddNumber(kSession, kSettingsVersion);
    for (const auto& channel : channels.all)
        settings.AddItems(channel->type, channel->Settings());
    return settings;
}

namespace {

// A channel as settings want it: its type and its own settings.
using WantedChannels = std::vector<std::pair<FourCharCode, TaggedItems>>;

std::optional<WantedChannels> ReadChannels(const TaggedItems& settings)
{
    if (settings.Number(kSession, 0) != kSettingsVersion)
        return std::nullopt;
    WantedChannels wanted;
    for (const auto& item : settings.All()) {
        if (item.tag != kVideoMediaType && item.tag != kSoundMediaType)
            continue;
        auto inner = TaggedItems::Read(item.bytes);
        if (!inner || wanted.size() == kMostChannels)
            return std::nullopt;
        wanted.emplace_back(item.tag, std::move(*inner));
    }
    return wanted;
}

std::vector<ReplacedDevice>& ReplacedDevices()
{
    static auto& devices = *new std::vector<ReplacedDevice>;
    return devices;
}

// A device may be found again at another place, under its name.
void NoteReplacement(const Channel& channel, const TaggedItems& settings)
{
    const ListedDevice taken = channel.Device();
    const std::string wanted = settings.Text(kName);
    if (!wanted.empty() && taken.identity != settings.Text(kIdentity) && taken.name != wanted)
        ReplacedDevices().push_back({channel.type == kVideoMediaType, wanted, taken.name});
}

} // namespace

std::vector<ReplacedDevice> TakeReplacedDevices()
{
    return std::exchange(ReplacedDevices(), {});
}

SettingsFault CheckSettings(std::span<const uint8_t> flattened)
{
    const auto items = TaggedItems::Read(flattened);
    if (!items)
        return TaggedItems::HasSignature(flattened) ? SettingsFault::Damaged : SettingsFault::Foreign;
    if (!items->Find(kSession))
        return SettingsFault::Foreign;
    return ReadChannels(*items) ? SettingsFault::None : SettingsFault::Damaged;
}

Result Session::ApplySettings(const TaggedItems& settings)
{
    // All of it is read before anything is touched.
    ReplacedDevices().clear();
    const auto read = ReadChannels(settings);
    if (!read)
        return paramErr;
    const WantedChannels& wanted = *read;
    if (IsWritingMovie())
        return cantDoThatInCurrentMode;
    // The channels are new ones; devices that are wanted again go on as they run.
    auto present = channels.all;
    for (const auto& channel : present)
        DetachChannel(*channel);
    std::vector<std::shared_ptr<Channel>> made;
    for (const auto& [type, inner] : wanted)
        made.push_back(ChannelFor(type, inner, present));
    present.clear();
    for (size_t i = 0; i < made.size(); ++i) {
        made[i]->ApplySettings(wanted[i].second);
        AddChannel(made[i]);
        NoteReplacement(*made[i], wanted[i].second);
    }
    if (mode != GrabMode::Stopped)
        RunChannels();
    return noErr;
}

// The present channel that has the device wanted, taken out of the list, or a new one.
std::shared_ptr<Channel> Session::ChannelFor(FourCharCode type, const TaggedItems& settings,
                                             std::vector<std::shared_ptr<Channel>>& present)
{
    const std::string identity = settings.Text(kIdentity);
    const std::string name = settings.Text(kName);
    const auto takeOver = [&](const std::string& device) -> std::shared_ptr<Channel> {
        const auto found = std::ranges::find_if(present, [&](const auto& channel) {
            return channel->type == type && channel->Device().identity == device;
        });
        if (found == present.end())
            return nullptr;
        auto taken = *found;
        present.erase(found);
        taken->ForgetSettings();
        return taken;
    };
    if (auto taken = takeOver(identity))
        return taken;
    if (type == kSoundMediaType)
        return SoundChannel::OnBestSource(queue, identity, name);
    // What is opened in place of an absent camera may be in use here already, and no other can open it then.
    std::shared_ptr<Digitizer> device = OpenDigitizer(identity, name);
    auto taken = takeOver(device->Identity());
    return taken ? taken : std::make_shared<VideoChannel>(queue, std::move(device));
}

// User data crosses the border in its flattened form.

Result SGGetSettings(SGComponent session, Address settings, [[maybe_unused]] int32_t flags)
{
    const auto found = FindSession(session);
    if (!found)
        return badComponentInstance;
    const Handle flattened = NewHandle(0);
    SetHandleBytes(flattened, found->Settings().Flatten());
    const Result result = NewUserDataFromHandle(flattened, settings);
    DisposeHandle(flattened);
    return result;
}

Result SGSetSettings(SGComponent session, int32_t settings, [[maybe_unused]] int32_t flags)
{
    const auto found = FindSession(session);
    if (!found)
        return badComponentInstance;
    const Handle flattened = NewHandle(0);
    const Result result = PutUserDataIntoHandle(settings, flattened);
    const auto items = result == noErr ? TaggedItems::Read(HandleBytes(flattened)) : std::nullopt;
    DisposeHandle(flattened);
    return items ? found->ApplySettings(*items) : paramErr;
}

} // namespace platform
