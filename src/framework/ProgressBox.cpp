// SPDX-License-Identifier: MIT
#include "framework/ProgressBox.h"

#include "framework/Application.h"
#include "framework/QtText.h"
#include "framework/Runtime.h"

#include <QApplication>
#include <QPointer>
#include <QProgressDialog>

#include <atomic>
#include <exception>
#include <thread>

namespace framework {
namespace {

constexpr int kSteps = 1000;
constexpr int32_t kTurn = 50; // milliseconds

} // namespace

struct ProgressBox::State {
    QPointer<QProgressDialog> dialog; // may be deleted with its parent window
    bool dismissed = false;
};

ProgressBox::ProgressBox(Kind kind, const String& button) : state(std::make_unique<State>())
{
    if (!HasDisplay())
        return;
    state->dialog = new QProgressDialog(QString(), ToQt(button), 0, kSteps, QApplication::activeWindow());
    QProgressDialog& dialog = *state->dialog;
    dialog.setWindowModality(kind == Kind::Modal ? Qt::ApplicationModal : Qt::NonModal);
    dialog.setAutoClose(false);
    dialog.setAutoReset(false);
    dialog.setMinimumDuration(0);
    dialog.reset(); // until there is something to show
    if (button.IsEmpty())
        dialog.setCancelButton(nullptr);
    else
        QObject::connect(&dialog, &QProgressDialog::canceled, [this] { state->dismissed = true; });
}

ProgressBox::~ProgressBox()
{
    delete state->dialog.data();
}

void ProgressBox::Show(const String& text, int64_t done, int64_t total)
{
    if (!state->dialog || state->dismissed)
        return;
    QProgressDialog& dialog = *state->dialog;
    dialog.setLabelText(ToQt(text));
    dialog.setMaximum(total > 0 ? kSteps : 0);
    dialog.setValue(total > 0 ? static_cast<int>(done * kSteps / total) : 0);
    if (!dialog.isVisible())
        dialog.show();
}

bool ProgressBox::Dismissed() const
{
    return state->dismissed;
}

void RunWithProgress(const String& text, const std::function<void()>& work)
{
    std::exception_ptr failure;
    std::atomic<bool> ended = false;
    std::thread worker([&] {
        try {
            work();
        } catch (...) {
            failure = std::current_exception();
        }
        ended = true;
    });
    {
        ProgressBox box(ProgressBox::Kind::Modal);
        while (!ended) {
            box.Show(text, 0, 0);
            Application::Instance()->DoEvents(kTurn);
        }
    }
    worker.join();
    if (failure)
        std::rethrow_exception(failure);
}

} // namespace framework
