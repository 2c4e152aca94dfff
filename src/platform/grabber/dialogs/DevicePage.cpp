// SPDX-License-Identifier: MIT
#include "platform/grabber/dialogs/DevicePage.h"

#include <QLabel>

#include <algorithm>

namespace platform {
namespace {

// The reason given by the device's module, or the usual one.
QString ReasonText(const ListedDevice& device)
{
    const QString reason = SentenceText(device.reason);
    return reason.isEmpty() ? Quoted(ToText(device.name)) +
                                  " is in use by another program. Close that program, then choose the device here."
                            : reason;
}

} // namespace

void DevicePopup::showPopup()
{
    BeforeOpening();
    QComboBox::showPopup();
}

DevicePage::DevicePage(SettingsTrial& tried) : trial(tried), devices(trial.Tried().Devices())
{
    AddRow("&Device:", device);
    Form()->addRow(QString(), unavailable);
    AddRow("&Input:", input);
    device->BeforeOpening = [this] {
        devices = trial.Tried().Devices();
        ShowDevices();
    };
    connect(device, &QComboBox::activated, this, [this](int index) { ChooseDevice(index); });
    connect(input, &QComboBox::activated, this, [this](int index) { Changed("Input", SelectInput(index)); });
}

void DevicePage::WatchDevices(int descriptor, std::function<bool()> taken)
{
    if (descriptor < 0)
        return;
    auto* notifier = new QSocketNotifier(descriptor, QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, [this, taken = std::move(taken)] {
        if (!taken())
            return;
        devices = trial.Tried().Devices();
        trial.KeepRunning();
        DevicesChanged();
    });
}

void DevicePage::ChooseDevice(int index)
{
    if (index >= 0 && index < static_cast<int>(devices.size()))
        Changed("Device", trial.TakeDevice(devices[static_cast<size_t>(index)]));
}

// A device in use that has left the list is appended to it, so that the user sees what is missing.
void DevicePage::ShowDevices()
{
    const ListedDevice present = trial.Tried().Device();
    const auto listed = std::ranges::find(devices, present.identity, &ListedDevice::identity);
    const auto chosen = static_cast<int>(listed - devices.begin());
    std::vector<Choice> choices;
    // Keyboard navigation skips unavailable devices, so the one in use never counts as unavailable.
    for (const ListedDevice& one : devices) {
        const bool canBeHad = one.available || one.identity == present.identity;
        choices.push_back(
            {ToText(one.name) + (canBeHad ? "" : " (not available)"), static_cast<int>(choices.size()), canBeHad});
    }
    if (listed == devices.end())
        choices.push_back({ToText(present.name) + " (not connected)", chosen});
    ShowChoices(*device, choices, chosen);
    ShowReasons();
}

void DevicePage::ShowReasons()
{
    const ListedDevice present = trial.Tried().Device();
    QStringList reasons;
    for (const ListedDevice& one : devices)
        if (!one.available && one.identity != present.identity)
            reasons << ReasonText(one);
    const QString text = reasons.join('\n');
    if (text != unavailable->text())
        unavailable->setText(text);
    Form()->setRowVisible(unavailable, !reasons.isEmpty());
}

void DevicePage::ShowSettings()
{
    ShowDevices();
    const ListedDevice present = trial.Tried().Device();
    std::vector<Choice> choices;
    for (const std::string& name : present.inputs)
        choices.push_back({ToText(name), static_cast<int>(choices.size())});
    ShowChoices(*input, choices, present.input);
    Form()->setRowVisible(input, choices.size() > 1);
}

} // namespace platform
