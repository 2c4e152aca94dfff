// SPDX-License-Identifier: MIT
#include "platform/digitizer/DeviceWatcher.h"
#include "platform/grabber/dialogs/DevicePage.h"
#include "platform/grabber/dialogs/LevelBars.h"
#include "platform/grabber/dialogs/SoundPages.h"
#include "platform/sound/SoundWatcher.h"

#include <QLabel>
#include <QSignalBlocker>
#include <QSlider>

#include <cmath>

namespace platform {
namespace {

constexpr int kPercent = 100;

QString GainText(double gain)
{
    if (gain <= 0)
        return "0 % (silent)";
    return QString("%1 % (%2 dB)").arg(std::lround(gain * kPercent)).arg(20 * std::log10(gain), 0, 'f', 1);
}

class SoundSourcePage : public DevicePage {
public:
    SoundSourcePage(SettingsTrial& trial, SoundChannel& tried) : DevicePage(trial), channel(tried)
    {
        AddRow("&Gain:", gain);
        Form()->addRow(QString(), gainText);
        AddRow("Level:", level);
        gain->setRange(0, static_cast<int>(kHighestGain * kPercent));
        gain->setPageStep(kPercent / 10);
        connect(gain, &QSlider::valueChanged, this,
                [this](int value) { Changed("Gain", channel.Source().SetGain(double{1} * value / kPercent)); });
        WatchDevices(sources.FileDescriptor(), [this] { return sources.TakeChange(); });
        WatchDevices(camcorders.Descriptor(), [this] { return !camcorders.Read().empty(); });
        channel.DialogMeter().Switch(2);
    }

    ~SoundSourcePage() override { channel.DialogMeter().Switch(0); }

    void ShowSettings() override
    {
        DevicePage::ShowSettings();
        double present = 1;
        const bool adjustable = channel.Source().GetGain(present) == noErr;
        const QSignalBlocker quiet(gain);
        if (!gain->isSliderDown())
            gain->setValue(static_cast<int>(std::lround(present * kPercent)));
        gain->setEnabled(adjustable);
        gainText->setText(adjustable ? GainText(present) : QString("This device has no gain to set."));
    }

    void ShowArrived(std::span<const Sample>) override
    {
        const auto [left, right] = channel.DialogMeter().Levels();
        level->Show(left, right);
        ShowSettingsNowAndThen(); // a mixer elsewhere sets the gain as well
    }

protected:
    Result SelectInput(int input) override { return channel.Source().SelectInput(input); }

private:
    SoundChannel& channel;
    SoundWatcher sources;
    DeviceWatcher camcorders{"firewire"};
    QSlider* gain = new QSlider(Qt::Horizontal);
    QLabel* gainText = new QLabel;
    LevelBars* level = new LevelBars;
};

} // namespace

SettingsPage* MakeSoundSourcePage(SettingsTrial& trial, SoundChannel& channel)
{
    return new SoundSourcePage(trial, channel);
}

} // namespace platform
