// SPDX-License-Identifier: MIT
#pragma once

#include "platform/grabber/dialogs/SettingsPage.h"

#include <QComboBox>
#include <QSocketNotifier>

namespace platform {

/// A popup that refreshes its choices before it opens.
class DevicePopup : public QComboBox {
public:
    std::function<void()> BeforeOpening;
    void showPopup() override;
};

/// The page on which the user chooses a channel's device and its input; the list of devices is kept up to date.
class DevicePage : public SettingsPage {
public:
    /// `trial` must outlive the page.
    explicit DevicePage(SettingsTrial& trial);
    void ShowSettings() override;

protected:
    /// Refreshes the list of devices whenever the descriptor becomes readable; `taken` reads its events and returns
    /// whether the list may have changed. -1: there is nothing to watch.
    void WatchDevices(int descriptor, std::function<bool()> taken);

    virtual Result SelectInput(int input) = 0;

private:
    void ShowDevices();
    void ShowReasons();
    void ChooseDevice(int index);

    SettingsTrial& trial;
    std::vector<ListedDevice> devices; ///< as listed in the popup
    DevicePopup* device = new DevicePopup;
    QComboBox* input = new QComboBox;
    QLabel* unavailable = NewNote();
};

} // namespace platform
