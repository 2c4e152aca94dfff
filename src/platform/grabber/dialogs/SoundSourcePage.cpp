// SPDX-License-Identifier: MIT
#include "platform/digitizer/KernelDeviceEvents.h"
#include "platform/grabber/dialogs/DevicePage.h"
#include "platform/grabber/dialogs/LevelBars.h"
#include "platform/grabber/dialogs/SoundPages.h"
#include "platform/grabber/dialogs/ValueEditor.h"
#include "platform/sound/SoundWatcher.h"

#include <QCheckBox>
#include <QLabel>

#include <cmath>

namespace platform {
namespace {

constexpr int kPercent = 100;

QString GainText(double gain)
{
    return gain <= 0 ? QString("Silent") : NumberText(20 * std::log10(gain), 1) + " dB";
}

ImageControl PercentControl(const char* name, int64_t minimum, int64_t maximum, int64_t usual)
{
    return {.name = name, .minimum = minimum, .maximum = maximum, .deviceDefault = usual, .unit = "%"};
}

class SoundSourcePage : public DevicePage {
public:
    SoundSourcePage(SettingsTrial& trial, SoundChannel& tried) : DevicePage(trial), channel(tried)
    {
        AddRow("&Gain:", gain->Row());
        Form()->addRow(QString(), gainText);
        muted->setAccessibleName("Muted");
        Form()->addRow(QString(), muted);
        AddRow("&Balance, left to right:", balanceRow);
        AddRow("Level:", level);
        Form()->addRow(QString(), levelText);
        connect(muted, &QCheckBox::clicked, this,
                [this](bool checked) { Changed("Muted", channel.Source().SetMuted(checked)); });
        WatchDevices(sources.FileDescriptor(), [this] { return sources.TakeChange(); });
        WatchDevices(camcorders.Descriptor(), [this] { return !camcorders.Read().empty(); });
        channel.DialogMeter().SetChannels(2);
    }

    ~SoundSourcePage() override { channel.DialogMeter().SetChannels(0); }

    void ShowSettings() override
    {
        DevicePage::ShowSettings();
        double present = 1;
        const bool adjustable = channel.Source().GetGain(present) == noErr;
        gain->Show(std::lround(present * kPercent), adjustable);
        gainText->setText(adjustable ? GainText(present) : QString("This device has no gain to set."));
        bool isMuted = false;
        Form()->setRowVisible(muted, channel.Source().GetMuted(isMuted) == noErr);
        muted->setChecked(isMuted);
        double side = 0;
        const bool balances = channel.Source().GetBalance(side) == noErr;
        balance->Show(std::lround(side * kPercent), balances);
        Form()->setRowVisible(balanceRow, balances);
    }

    void ShowArrived(std::span<const Sample>) override
    {
        const auto [left, right] = channel.DialogMeter().Levels();
        level->Show(left, right);
        levelText->setText(level->Text());
        KeepShowingSettings(); // a mixer can set the gain as well
    }

protected:
    Result SelectInput(int input) override { return channel.Source().SelectInput(input); }

private:
    SoundChannel& channel;
    SoundWatcher sources;
    KernelDeviceEvents camcorders{"firewire"};
    ValueEditor* gain = new ValueEditor(
        PercentControl("Gain", 0, static_cast<int64_t>(kMaxGain* kPercent), kPercent),
        [this](int64_t value) { Changed("Gain", channel.Source().SetGain(static_cast<double>(value) / kPercent)); },
        this);
    ValueEditor* balance = new ValueEditor(
        PercentControl("Balance", -kPercent, kPercent, 0),
        [this](int64_t value) {
            Changed("Balance", channel.Source().SetBalance(static_cast<double>(value) / kPercent));
        },
        this);
    QWidget* balanceRow = balance->Row();
    QLabel* gainText = new QLabel;
    QCheckBox* muted = new QCheckBox("M&uted");
    LevelBars* level = new LevelBars;
    QLabel* levelText = new QLabel;
};

} // namespace

SettingsPage* MakeSoundSourcePage(SettingsTrial& trial, SoundChannel& channel)
{
    return new SoundSourcePage(trial, channel);
}

} // namespace platform
