// SPDX-License-Identifier: MIT
#pragma once

#include "platform/grabber/dialogs/SettingsPage.h"

#include <QComboBox>
#include <QSocketNotifier>

namespace platform {

/// A popup that asks what there is before it opens.
class DevicePopup : public QComboBox {
public:
    std::function<void()> BeforeOpening;
    void showPopup() override;
};

/// The page on which the user chooses a channel's device and its input, with the list of devices kept up to date.
class DevicePage : public SettingsPage {
public:
    /// Of the channel that is tried, which outlives the page.
    explicit DevicePage(SettingsTrial& trial);
    void ShowSettings() override;

protected:
    /// Asks for the list of devices again whenever the descriptor is readable; `taken` reads what it has to tell and
    /// says whether the list may have changed. -1: there is nothing to watch.
    void WatchDevices(int descriptor, std::function<bool()> taken);

    virtual Result SelectInput(int input) = 0;

private:
    void ShowDevices();
    void ShowReasons();
    void ChooseDevice(int index);

    SettingsTrial& trial;
    std::vector<ListedDevice> devices; ///< as the popup lists them
    DevicePopup* device = new DevicePopup;
    QComboBox* input = new QComboBox;
    QLabel* unavailable = NewNote();
};

} // namespace platform
