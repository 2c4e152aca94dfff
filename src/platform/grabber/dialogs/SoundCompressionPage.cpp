#include "platform/grabber/dialogs/DataRate.h"
#include "platform/grabber/dialogs/SoundPages.h"

#include <QComboBox>
#include <QLabel>

namespace platform {
namespace {

const std::vector<Choice>& Compressions()
{
    static const std::vector<Choice> choices{{"None", static_cast<int>(CodeOf("raw "))},
                                             {"None, signed, little-endian", static_cast<int>(CodeOf("sowt"))},
                                             {"None, signed, big-endian", static_cast<int>(CodeOf("twos"))},
                                             {"µ-law 2:1", static_cast<int>(CodeOf("ulaw"))},
                                             {"A-law 2:1", static_cast<int>(CodeOf("alaw"))}};
    return choices;
}

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
        ShowChoices(*compressor, Compressions(), static_cast<int>(channel.GetParameters().compression));
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
