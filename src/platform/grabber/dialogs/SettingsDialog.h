// SPDX-License-Identifier: MIT
#pragma once

#include "platform/grabber/dialogs/SettingsPage.h"

#include <QDialog>
#include <QTimer>

class QHBoxLayout;
class QLabel;
class QTabWidget;

namespace platform {

/// The settings dialog of one channel: pages beside what its device delivers at present. Changes take effect at once;
/// OK keeps them, Cancel and Escape restore everything.
class SettingsDialog : public QDialog {
public:
    /// Creates a dialog without pages. `trial` must outlive it.
    SettingsDialog(SettingsTrial& trial, const QString& title, QWidget* parent);

    /// Adds a page with a tab; the dialog owns it from then on.
    void AddPage(const QString& name, SettingsPage* page);

    /// Adds a part beside the pages that is always visible; the dialog owns it.
    void AddLivePart(SettingsPage* part);

    /// Sets a procedure that gets each click and key first, with its caller's reference value. 0: none.
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
    QString refusal; ///< the value that the device rejected last
    std::vector<Sample> arrived;
    QTimer refresh; ///< fires once everything set in this turn of the event loop has been set
    QTimer ticks;
    QTimer retries;
    int32_t filter = 0;
    int32_t filterRefCon = 0;
};

} // namespace platform
