// SPDX-License-Identifier: MIT
// The settings dialogs.
//
// A dialog shows the channel as it is: its pages read everything from the device and set everything there, at once, so
// there is no second set of values that could differ. The trial beneath it remembers how each device was found, and
// Cancel puts that back. A timer takes what the device sends and gives it to the pages, which draw pictures and levels.
#include "platform/grabber/dialogs/SettingsDialog.h"

#include "platform/grabber/dialogs/SoundPages.h"
#include "platform/grabber/dialogs/VideoPages.h"
#include "platform/memory/CodeAddress.h"

#include <QAccessible>
#include <QApplication>
#include <QDialogButtonBox>
#include <QKeyEvent>
#include <QLabel>
#include <QShortcut>
#include <QTabWidget>
#include <QVBoxLayout>

#include <chrono>

namespace platform {
namespace {

using namespace std::chrono_literals;

constexpr int kNarrowestPage = 400; // pixels

// Classic numbers of the events that a filter procedure knows.
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
        return "the device is not there, or another program holds it.";
    case permErr:
        return "the device only tells this value.";
    case cantDoThatInCurrentMode:
        return "this can't be changed while a movie is being recorded.";
    case siInvalidSampleRate:
        return "the device has not got this rate.";
    default:
        return QString("the device refused (error %1).").arg(result);
    }
}

// Whether a turn of the mouse wheel would change a value that the user isn't at: on the way down a page he only wants
// to see more of it.
bool IsWheelInPassing(const QEvent& event, const QWidget& widget)
{
    const bool holdsValue = widget.inherits("QComboBox") || widget.inherits("QSlider") || widget.inherits("QSpinBox");
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
    : QDialog(parent), trial(tried), parts(new QHBoxLayout), tabs(new QTabWidget), message(new QLabel)
{
    setWindowTitle(title);
    tabs->setAccessibleName(title);
    tabs->setMinimumWidth(kNarrowestPage);
    parts->addWidget(tabs, 1);
    message->setWordWrap(true);
    message->setTextFormat(Qt::PlainText); // it holds names that devices give themselves
    message->setMinimumHeight(2 * message->fontMetrics().lineSpacing());
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* column = new QVBoxLayout(this);
    column->addLayout(parts, 1);
    column->addWidget(message);
    column->addWidget(buttons);

    // Popups would take the keys that step through pages for the beginning of a choice's name.
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

void SettingsDialog::AddPage(const QString& name, SettingsPage* page)
{
    tabs->addTab(page, name);
    Adopt(page);
}

void SettingsDialog::AddLivePart(SettingsPage* part)
{
    parts->insertWidget(0, part);
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

// Devices are slow to ask: a page that nobody sees is asked for when its tab is opened.
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
    const Channel& channel = trial.Tried();
    const QString text = channel.DeviceIsGone()
                             ? QString("\"%1\" is not there at the moment, or another program holds it.")
                                   .arg(ToText(channel.Device().name))
                             : refusal;
    if (text == message->text())
        return;
    message->setText(text);
    // A device that is back may be another one than before.
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

// A procedure keeps its number for good, so there is nothing to give back.
void DisposeSGModalFilterUPP([[maybe_unused]] int32_t filter) {}

Result SGSettingsDialog(SGComponent session, SGChannel channel, [[maybe_unused]] int16_t panelCount,
                        [[maybe_unused]] Address panels, [[maybe_unused]] int32_t flags, int32_t filter, int32_t refCon)
{
    const auto grabber = FindSession(session);
    if (!grabber)
        return badComponentInstance;
    if (!grabber->Owns(channel))
        return badSGChannel;
    // A program without a display has nothing to show a dialog on.
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
    // Also where the whole application ends behind an open dialog.
    trial.Restore();
    return userCanceledErr;
}

} // namespace platform
