// SPDX-License-Identifier: MIT
// The settings dialogs.
//
// A dialog shows the channel as it is: its pages read everything from the device and set everything there at once, so
// there is no second set of values that could differ. The trial remembers each device's previous state, which Cancel
// restores. A timer passes what the device sends to the pages, which draw pictures and levels.
#include "platform/grabber/dialogs/SettingsDialog.h"

#include "platform/grabber/dialogs/PageArea.h"
#include "platform/grabber/dialogs/SoundPages.h"
#include "platform/grabber/dialogs/VideoPages.h"
#include "platform/memory/CodeAddress.h"

#include <QAccessible>
#include <QApplication>
#include <QDialogButtonBox>
#include <QKeyEvent>
#include <QLabel>
#include <QScreen>
#include <QShortcut>
#include <QSizeGrip>
#include <QTabWidget>
#include <QVBoxLayout>

#include <algorithm>
#include <chrono>

namespace platform {
namespace {

using namespace std::chrono_literals;

// On a large enough screen, and for text of the usual size.
constexpr QSize kUsualSize(640, 400);
constexpr QSize kUsualSizeWithPicture(1160, 620);
constexpr double kUsualLineHeight = 17;

// The published numbers of the events that a filter procedure handles.
constexpr int32_t kMouseDown = 1;
constexpr int32_t kKeyDown = 3;

int32_t EventNumber(const QEvent& event)
{
    switch (event.type()) {
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonDblClick:
        return kMouseDown;
    case QEvent::KeyPress:
        return kKeyDown;
    default:
        return 0;
    }
}

QString RefusalText(Result result)
{
    switch (result) {
    case noDeviceForChannel:
        return "the device is not connected, or another program is using it.";
    case permErr:
        return "this value is read-only.";
    case cantDoThatInCurrentMode:
        return "this can't be changed while a movie is being recorded. Stop the recording first.";
    case siInvalidSampleRate:
        return "the device does not support this rate.";
    case digiUnimpErr:
    case siUnknownInfoType:
        return "the device no longer has this control.";
    default:
        return QString("the device did not accept this (error %1).").arg(result);
    }
}

// The device's own reason, or the likely one.
QString ReasonText(const ListedDevice& device)
{
    const QString reason = SentenceText(device.reason);
    return reason.isEmpty() ? Quoted(ToText(device.name)) +
                                  " is not connected, or another program is using it. Plug it in, or close that "
                                  "program."
                            : reason;
}

// Whether a turn of the mouse wheel would change the value of a widget without focus: then the user only wants to
// scroll the page.
bool IsWheelInPassing(const QEvent& event, const QWidget& widget)
{
    const bool holdsValue =
        widget.inherits("QComboBox") || widget.inherits("QSlider") || widget.inherits("QAbstractSpinBox");
    return event.type() == QEvent::Wheel && holdsValue && !widget.hasFocus();
}

void FillVideoDialog(SettingsDialog& dialog, SettingsTrial& trial, VideoChannel& channel)
{
    dialog.AddLivePart(MakeVideoPreview());
    dialog.AddPage("&Source", MakeVideoSourcePage(trial, channel));
    dialog.AddPage("Compressio&n", MakeVideoCompressionPage(channel));
    dialog.AddPage("Ima&ge", MakeVideoImagePage(channel));
}

void FillSoundDialog(SettingsDialog& dialog, SettingsTrial& trial, SoundChannel& channel)
{
    dialog.AddPage("&Source", MakeSoundSourcePage(trial, channel));
    dialog.AddPage("Sa&mple", MakeSoundSamplePage(channel));
    dialog.AddPage("Compressio&n", MakeSoundCompressionPage(channel));
}

} // namespace

SettingsDialog::SettingsDialog(SettingsTrial& tried, const QString& title, QWidget* parent)
    : QDialog(parent), trial(tried), parts(new QHBoxLayout), tabs(new QTabWidget), message(NewNote())
{
    setWindowTitle(title + " - Velmora");
    setSizeGripEnabled(true);
    findChild<QSizeGrip*>()->setAccessibleName("Size");
    tabs->setAccessibleName(title);
    ResizeOnScreen(kUsualSize);
    parts->addWidget(tabs, 1);
    message->setMinimumHeight(message->fontMetrics().lineSpacing());
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* column = new QVBoxLayout(this);
    column->addLayout(parts, 1);
    column->addWidget(message);
    column->addWidget(buttons);

    // Popups would treat the keys that step through pages as the first letter of a choice.
    for (const auto& [keys, step] : {std::pair(QKeySequence::NextChild, 1), std::pair(QKeySequence::PreviousChild, -1)})
        connect(new QShortcut(keys, this), &QShortcut::activated, this, [this, step = step] {
            tabs->setCurrentIndex((tabs->currentIndex() + step + tabs->count()) % tabs->count());
        });
    connect(tabs, &QTabWidget::currentChanged, this, [this] { ShowSettings(); });
    refresh.setSingleShot(true);
    connect(&refresh, &QTimer::timeout, this, [this] { ShowSettings(); });
    connect(&ticks, &QTimer::timeout, this, [this] { ShowArrived(); });
    ticks.start(33ms);
    connect(&retries, &QTimer::timeout, this, [this] { trial.KeepRunning(); });
    retries.start(1s);
}

void SettingsDialog::ResizeOnScreen(QSize wanted)
{
    const double textScale = std::max(fontMetrics().height() / kUsualLineHeight, 1.0);
    resize((wanted * textScale).boundedTo(screen()->availableSize() * 0.9));
}

void SettingsDialog::AddPage(const QString& name, SettingsPage* page)
{
    auto* area = new PageArea;
    area->SetPage(page);
    tabs->addTab(area, name);
    Adopt(page);
}

void SettingsDialog::AddLivePart(SettingsPage* part)
{
    parts->insertWidget(0, part, 1); // the picture grows with the dialog
    ResizeOnScreen(kUsualSizeWithPicture);
    Adopt(part);
}

void SettingsDialog::Adopt(SettingsPage* page)
{
    pages.push_back(page);
    page->Changed = [this](const QString& setting, Result result) {
        refusal = result == noErr ? QString() : setting + ": " + RefusalText(result);
        refresh.start(0ms);
    };
    page->DevicesChanged = [this] { refresh.start(0ms); };
    page->ShowSettings();
}

// Reading a device is slow: a hidden page is updated when its tab is opened.
void SettingsDialog::ShowSettings()
{
    for (SettingsPage* page : pages)
        if (page->isVisible())
            page->ShowSettings();
    ShowState();
}

void SettingsDialog::ShowArrived()
{
    arrived.clear();
    while (auto sample = trial.Next())
        arrived.push_back(std::move(*sample));
    for (SettingsPage* page : pages)
        page->ShowArrived(arrived);
    ShowState();
}

void SettingsDialog::ShowState()
{
    const ListedDevice device = trial.Tried().Device();
    const QString text = trial.Tried().DeviceIsGone() ? ReasonText(device)
                         : !refusal.isEmpty()         ? refusal
                                                      : SentenceText(device.reason);
    if (text == message->text())
        return;
    message->setText(text);
    // A device that is back may not be the same one.
    refresh.start(0ms);
    QAccessibleEvent alert(message, QAccessible::Alert);
    QAccessible::updateAccessibility(&alert);
}

void SettingsDialog::SetFilter(int32_t procedure, int32_t refCon)
{
    filter = procedure;
    filterRefCon = refCon;
    qApp->installEventFilter(this);
}

bool SettingsDialog::eventFilter(QObject* receiver, QEvent* event)
{
    const auto* widget = qobject_cast<QWidget*>(receiver);
    if (widget == nullptr || widget->window() != this)
        return false;
    if (IsWheelInPassing(*event, *widget)) {
        event->ignore();
        return true;
    }
    if (const int32_t number = EventNumber(*event); number != 0)
        if (auto* procedure = CodeAt<std::remove_pointer_t<SGModalFilterProc>>(filter))
            return procedure(0, number, 0, filterRefCon);
    return false;
}

// The published calls.

int32_t NewSGModalFilterUPP(SGModalFilterProc procedure)
{
    return CodeAddressOf(procedure);
}

// A procedure keeps its number for good, so there is nothing to release.
void DisposeSGModalFilterUPP([[maybe_unused]] int32_t filter) {}

Result SGSettingsDialog(SGComponent session, SGChannel channel, [[maybe_unused]] int16_t panelCount,
                        [[maybe_unused]] Address panels, [[maybe_unused]] int32_t flags, int32_t filter, int32_t refCon)
{
    const auto grabber = FindSession(session);
    if (!grabber)
        return badComponentInstance;
    if (!grabber->Owns(channel))
        return badSGChannel;
    // Without a display no dialog can be shown.
    if (qobject_cast<QApplication*>(QCoreApplication::instance()) == nullptr)
        return couldntGetRequiredComponent;

    SettingsTrial trial(grabber, FindChannel(channel));
    const auto video = FindChannel<VideoChannel>(channel);
    SettingsDialog dialog(trial, video ? "Video Settings" : "Sound Settings", QApplication::activeWindow());
    if (video)
        FillVideoDialog(dialog, trial, *video);
    else
        FillSoundDialog(dialog, trial, *FindChannel<SoundChannel>(channel));
    dialog.SetFilter(filter, refCon);
    if (dialog.exec() == QDialog::Accepted)
        return noErr;
    // Also if the whole application ends behind an open dialog.
    trial.Restore();
    return userCanceledErr;
}

} // namespace platform
