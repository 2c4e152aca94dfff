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

/// A part of a settings dialog. It shows what the channel's device has, and sets it as soon as the user touches it.
class SettingsPage : public QWidget {
public:
    /// Shows everything as it is now. Called after each change, whoever made it, while the page is seen.
    virtual void ShowSettings() {}

    /// Called some thirty times a second with what the device sent since the last call, often nothing.
    virtual void ShowArrived([[maybe_unused]] std::span<const Sample> arrived) {}

    /// Set by the dialog: what a page calls after it has set something, with the result. The text names the setting.
    std::function<void(const QString& setting, Result result)> Changed;

    /// Set by the dialog: what a page calls when devices came or went.
    std::function<void()> DevicesChanged;

protected:
    /// Adds a row to the form. The label, in which "&" stands before the letter that reaches the row, names the widget
    /// for screen readers as well.
    void AddRow(const QString& label, QWidget* widget);

    QFormLayout* Form();

    /// For pages on which other programs, or the device itself, change values: called with each `ShowArrived`, shows
    /// them again four times a second.
    void KeepShowingSettings();

private:
    int callsToShow = 0;
};

/// Lets a widget and those in it take the keyboard by a click or the Tab key, but not by the mouse wheel.
void RefuseFocusByWheel(QWidget& widget);

/// Keeps a popup's long choices from widening its page.
void LimitWidth(QComboBox& popup);

/// A text that may take several lines and labels no other widget.
QLabel* NewNote();

/// One choice of a popup: what it says and what it stands for.
struct Choice {
    QString text;
    int value = 0;
    bool enabled = true;
};

/// Fills a popup, if its choices are others than it has, and chooses. A value that is none of them leaves none chosen.
void ShowChoices(QComboBox& popup, const std::vector<Choice>& choices, int chosen);

} // namespace platform
