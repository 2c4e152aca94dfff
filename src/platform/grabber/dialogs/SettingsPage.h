// SPDX-License-Identifier: MIT
#pragma once

#include "platform/grabber/SettingsTrial.h"
#include "platform/grabber/dialogs/Texts.h"

#include <QFormLayout>
#include <QWidget>

#include <functional>
#include <span>
#include <string>
#include <vector>

class QComboBox;
class QLabel;

namespace platform {

/// A part of a settings dialog. It shows the state of the channel's device and sets what the user changes at once.
class SettingsPage : public QWidget {
public:
    /// Shows the present state. Called after each change, by anyone, while the page is visible.
    virtual void ShowSettings() {}

    /// Called about thirty times per second with what the device sent since the last call, often nothing.
    virtual void ShowArrived([[maybe_unused]] std::span<const Sample> arrived) {}

    /// Set by the dialog: call it after setting something, with the setting's name and the result.
    std::function<void(const QString& setting, Result result)> Changed;

    /// Set by the dialog: call it when devices came or went.
    std::function<void()> DevicesChanged;

protected:
    /// Adds a row to the form. The label, with "&" before its mnemonic, is also the widget's name for screen readers.
    void AddRow(const QString& label, QWidget* widget);

    QFormLayout* Form();

    /// For pages on which other programs, or the device itself, change values: called in each `ShowArrived`, shows them
    /// again four times per second.
    void KeepShowingSettings();

private:
    int callsToShow = 0;
};

/// Lets a widget and its children take the focus by a click or the Tab key, but not by the mouse wheel.
void RefuseFocusByWheel(QWidget& widget);

/// Keeps a popup's long choices from widening its page.
void LimitWidth(QComboBox& popup);

/// A text that may have several lines and is not the label of a widget.
QLabel* NewNote();

/// One choice of a popup: its text and its value.
struct Choice {
    QString text;
    int value = 0;
    bool enabled = true;
};

/// Fills a popup, if its choices have changed, and selects a value; no choice is selected for an unknown value.
void ShowChoices(QComboBox& popup, const std::vector<Choice>& choices, int chosen);

} // namespace platform
