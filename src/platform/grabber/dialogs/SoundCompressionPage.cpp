// SPDX-License-Identifier: MIT
#include "platform/grabber/dialogs/DataRate.h"
#include "platform/grabber/dialogs/SoundPages.h"

#include <QComboBox>
#include <QLabel>

namespace platform {
namespace {

class SoundCompressionPage : public SettingsPage {
public:
    explicit SoundCompressionPage(SoundChannel& tried) : channel(tried)
    {
        AddRow("Com&pressor:", compressor);
        AddRow("Data rate:", dataRate);
        connect(compressor, &QComboBox::activated, this, [this] {
            auto wanted = channel.GetParameters();
            wanted.compression = static_cast<FourCharCode>(compressor->currentData().toInt());
            Changed("Compressor", channel.SetParameters(wanted));
        });
    }

    void ShowSettings() override
    {
        std::vector<Choice> choices;
        for (const SoundCompressionName& one : AvailableSoundCompressions())
            choices.push_back({ToText(one.name), static_cast<int>(one.format)});
        ShowChoices(*compressor, choices, static_cast<int>(channel.GetParameters().compression));
        const auto description = channel.PresentDescription();
        dataRate->setText(DataRateText(description->sampleRate * description->BytesPerFrame()));
    }

private:
    SoundChannel& channel;
    QComboBox* compressor = new QComboBox;
    QLabel* dataRate = new QLabel;
};

} // namespace

SettingsPage* MakeSoundCompressionPage(SoundChannel& channel)
{
    return new SoundCompressionPage(channel);
}

} // namespace platform
