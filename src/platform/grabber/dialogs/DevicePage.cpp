// SPDX-License-Identifier: MIT
#include "platform/grabber/dialogs/DevicePage.h"

#include <algorithm>

namespace platform {

void DevicePopup::showPopup()
{
    BeforeOpening();
    QComboBox::showPopup();
}

DevicePage::DevicePage(SettingsTrial& tried) : trial(tried), devices(trial.Tried().Devices())
{
    AddRow("&Device:", device);
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

// A device in use that has left the list stands behind it, so that the user sees what is missing.
void DevicePage::ShowDevices()
{
    const ListedDevice present = trial.Tried().Device();
    const auto listed = std::ranges::find(devices, present.identity, &ListedDevice::identity);
    const auto chosen = static_cast<int>(listed - devices.begin());
    std::vector<Choice> choices;
    // Keys go past a device that can't be had, so the one in use never counts as such.
    for (const ListedDevice& one : devices) {
        const bool canBeHad = one.available || one.identity == present.identity;
        choices.push_back(
            {ToText(one.name) + (canBeHad ? "" : " (in use)"), static_cast<int>(choices.size()), canBeHad});
    }
    if (listed == devices.end())
        choices.push_back({ToText(present.name) + " (not connected)", chosen});
    ShowChoices(*device, choices, chosen);
}

void DevicePage::ShowSettings()
{
    ShowDevices();
    const ListedDevice present = trial.Tried().Device();
    std::vector<Choice> choices;
    for (const std::string& name : present.inputs)
        choices.push_back({ToText(name), static_cast<int>(choices.size())});
    ShowChoices(*input, choices, present.input);
    Form()->setRowVisible(input, !choices.empty());
}

} // namespace platform
