// SPDX-License-Identifier: MIT
// The saved settings of a sound channel.
#include "platform/grabber/ChannelSettings.h"
#include "platform/grabber/SoundChannel.h"

namespace platform {
namespace {

constexpr FourCharCode kSampleSize = CodeOf("size");
constexpr FourCharCode kChannels = CodeOf("chan");
constexpr FourCharCode kCompression = CodeOf("cmpr");
constexpr FourCharCode kGain = CodeOf("gain");
constexpr FourCharCode kBalance = CodeOf("bala");
constexpr FourCharCode kMuted = CodeOf("mute");
constexpr FourCharCode kVolume = CodeOf("volu");
constexpr FourCharCode kAdditionalRates = CodeOf("arat");

} // namespace

TaggedItems SoundChannel::Settings() const
{
    TaggedItems settings;
    SaveCommonSettings(settings, *this);
    const Parameters present = GetParameters();
    settings.AddNumber(kSampleSize, present.sampleSize);
    settings.AddNumber(kChannels, present.channels);
    settings.AddNumber(kCompression, present.compression);
    settings.AddNumber(kSavedRate, Millionths(Rate()));
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
        rates.AddNumber(kSavedRate, static_cast<uint32_t>(rate));
    settings.AddItems(kAdditionalRates, rates);
    return settings;
}

void SoundChannel::ApplySettings(const TaggedItems& settings)
{
    ApplyCommonSettings(settings, *this);
    ApplyChoice(settings, kSavedInput, kSavedInputName, source->Inputs(), source->Input(),
                [this](int input) { source->SelectInput(input); });
    Parameters wanted = GetParameters();
    wanted.sampleSize = Fitting(settings, kSampleSize, wanted.sampleSize);
    wanted.channels = Fitting(settings, kChannels, wanted.channels);
    wanted.compression = Fitting(settings, kCompression, wanted.compression);
    SetParameters(wanted);
    if (const auto rate = settings.Number(kSavedRate))
        SetRate(FromMillionths(*rate));
    if (const auto gain = settings.Number(kGain); gain && AreFor(settings, Device()))
        source->SetGain(FromMillionths(*gain));
    double balance = 0;
    if (const auto side = settings.Number(kBalance);
        side && source->GetBalance(balance) == noErr && Millionths(balance) != *side)
        source->SetBalance(FromMillionths(*side));
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
        one.Add(kSavedRate, rates->All()[i].bytes);
        additionalRates.push_back(static_cast<Fixed>(Fitting<uint32_t>(one, kSavedRate, 0)));
    }
}

} // namespace platform
