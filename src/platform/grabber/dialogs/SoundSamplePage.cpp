// SPDX-License-Identifier: MIT
#include "platform/grabber/dialogs/SoundPages.h"

#include <QComboBox>

#include <algorithm>
#include <cmath>
#include <set>

namespace platform {
namespace {

constexpr int kUsualRates[] = {8000, 11025, 16000, 22050, 32000, 44100, 48000};

QString RateText(int rate)
{
    return NumberText(rate / 1000.0, rate % 1000 == 0 ? 0 : rate % 100 == 0 ? 1 : rate % 10 == 0 ? 2 : 3) + " kHz";
}

class SoundSamplePage : public SettingsPage {
public:
    explicit SoundSamplePage(SoundChannel& tried) : channel(tried)
    {
        AddRow("&Rate:", rate);
        AddRow("Si&ze:", size);
        AddRow("&Use:", channels);
        connect(rate, &QComboBox::activated, this,
                [this] { Changed("Rate", channel.SetRate(rate->currentData().toInt())); });
        connect(size, &QComboBox::activated, this, [this] {
            auto wanted = channel.GetParameters();
            wanted.sampleSize = static_cast<int16_t>(size->currentData().toInt());
            Changed("Size", channel.SetParameters(wanted));
        });
        connect(channels, &QComboBox::activated, this, [this] {
            auto wanted = channel.GetParameters();
            wanted.channels = static_cast<int16_t>(channels->currentData().toInt());
            Changed("Use", channel.SetParameters(wanted));
        });
    }

    void ShowSettings() override
    {
        const SoundFormat present = channel.Source().Format();
        const auto parameters = channel.GetParameters();
        ShowRates(present);
        ShowOffered(*size, {{"8 bits", 8}, {"16 bits", 16}, {"24 bits", 24}}, parameters.sampleSize, present,
                    &SoundFormat::sampleSize);
        ShowOffered(*channels, {{"Mono", 1}, {"Stereo", 2}}, present.channels, present, &SoundFormat::channels);
    }

private:
    void ShowRates(const SoundFormat& present)
    {
        const auto inUse = static_cast<int>(std::lround(present.sampleRate));
        std::set<int> rates(std::begin(kUsualRates), std::end(kUsualRates));
        for (const Fixed added : channel.additionalRates)
            rates.insert(static_cast<int>(static_cast<uint32_t>(added) >> 16));
        std::vector<Choice> choices;
        for (const int one : rates) {
            SoundFormat wanted = present;
            wanted.sampleRate = one;
            if (one != inUse && channel.Source().CheckFormat(wanted) == noErr)
                choices.push_back({RateText(one), one});
        }
        choices.push_back({RateText(inUse), inUse});
        std::ranges::sort(choices, {}, &Choice::value);
        ShowChoices(*rate, choices, inUse);
        rate->setEnabled(!channel.FormatIsFixed());
    }

    // The choices that the device offers with the rest of its present format, and the one in use.
    void ShowOffered(QComboBox& popup, std::vector<Choice> choices, int inUse, const SoundFormat& present,
                     int32_t SoundFormat::*property)
    {
        std::erase_if(choices, [&](const Choice& choice) {
            SoundFormat wanted = present;
            wanted.*property = choice.value;
            return choice.value != inUse && channel.Source().CheckFormat(wanted) != noErr;
        });
        ShowChoices(popup, choices, inUse);
    }

    SoundChannel& channel;
    QComboBox* rate = new QComboBox;
    QComboBox* size = new QComboBox;
    QComboBox* channels = new QComboBox;
};

} // namespace

SettingsPage* MakeSoundSamplePage(SoundChannel& channel)
{
    return new SoundSamplePage(channel);
}

} // namespace platform
