// SPDX-License-Identifier: MIT
#pragma once

#include "platform/grabber/dialogs/SettingsPage.h"

#include <QDialog>
#include <QTimer>

class QHBoxLayout;
class QLabel;
class QTabWidget;

namespace platform {

/// The settings dialog of one channel: pages beside what its device delivers at the moment. All that the user sets
/// counts at once; OK keeps it, Cancel and Escape put everything back.
class SettingsDialog : public QDialog {
public:
    /// Without pages. The trial outlives the dialog.
    SettingsDialog(SettingsTrial& trial, const QString& title, QWidget* parent);

    /// Adds a page behind a tab; the dialog owns it from then on.
    void AddPage(const QString& name, SettingsPage* page);

    /// Adds a part beside the pages that is always visible, likewise.
    void AddLivePart(SettingsPage* part);

    /// A procedure that is asked about each click and key first, with the reference value of its caller. 0: none.
    void SetFilter(int32_t procedure, int32_t refCon);

    bool eventFilter(QObject* receiver, QEvent* event) override;

private:
    void ResizeOnScreen(QSize wanted);
    void Adopt(SettingsPage* page);
    void ShowSettings();
    void ShowArrived();
    void ShowState();

    SettingsTrial& trial;
    std::vector<SettingsPage*> pages;
    QHBoxLayout* parts;
    QTabWidget* tabs;
    QLabel* message;
    QString refusal; ///< what the device wouldn't take last
    std::vector<Sample> arrived;
    QTimer refresh; ///< runs out once all that was set in this turn of the event loop is set
    QTimer ticks;
    QTimer retries;
    int32_t filter = 0;
    int32_t filterRefCon = 0;
};

} // namespace platform
