// SPDX-License-Identifier: MIT
#include "framework/Application.h"
#include "framework/Flash.h"
#include "framework/QtText.h"
#include "framework/Runtime.h"
#include "platform/events/EventLoop.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>

#include <algorithm>
#include <cstdio>

namespace framework {
namespace {

using TextHandler = std::function<void(const String&)>;
using Explainer = std::function<Explanation(const String&)>;

// Never destroyed: the exit handler in Termination.cpp may still show a message.
TextHandler& MsgBoxHandler()
{
    static auto& handler = *new TextHandler;
    return handler;
}

Explainer& MsgBoxExplainer()
{
    static auto& explainer = *new Explainer;
    return explainer;
}

Explanation ExplanationOf(const String& text)
{
    return MsgBoxExplainer() ? MsgBoxExplainer()(text) : Explanation();
}

constexpr qint64 kTimeToAct = 5000; // milliseconds

struct Answer {
    String text;
    QElapsedTimer time;
};

Answer& LastAnswer()
{
    static auto& answer = *new Answer;
    return answer;
}

// A failure that comes with every frame would put one box after the other between the user and the "Stop" button. So a
// text that a timer brings up again within `kTimeToAct` of its answer is not shown.
bool WasJustAnswered(const String& text)
{
    return platform::IsInsideEventLoopTimer() && LastAnswer().text == text && LastAnswer().time.isValid() &&
           !LastAnswer().time.hasExpired(kTimeToAct);
}

// Sets what all boxes have: the program's name, an icon and a plain text.
void FillBox(QMessageBox& box, const String& text, QMessageBox::Icon sign)
{
    box.setWindowTitle(QCoreApplication::applicationName());
    box.setIcon(sign);
    box.setTextFormat(Qt::PlainText);
    box.setText(Displayed(text));
}

QMessageBox::Icon SignOf(MessageKind kind)
{
    return kind == MessageKind::Warning ? QMessageBox::Warning : QMessageBox::Information;
}

// Sets the message and its explanation.
void FillBox(QMessageBox& box, const String& text, MessageKind kind)
{
    const Explanation explanation = ExplanationOf(text);
    const bool explained = !explanation.text.IsEmpty();
    FillBox(box, text, SignOf(explained ? explanation.kind : kind));
    if (explained)
        box.setInformativeText(Displayed(explanation.text));
    box.setStandardButtons(QMessageBox::Ok);
}

void WriteToStandardError(const String& text)
{
    std::fprintf(stderr, "%s\n", text.Bytes().c_str());
    if (const Explanation explanation = ExplanationOf(text); !explanation.text.IsEmpty())
        std::fprintf(stderr, "%s\n", explanation.text.Bytes().c_str());
}

// Shows a box that does not block the program. It deletes itself when it is closed.
QMessageBox* ShowBeside(const String& text, MessageKind kind)
{
    auto* box = new QMessageBox;
    FillBox(*box, text, kind);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setAttribute(Qt::WA_ShowWithoutActivating);
    box->setModal(false);
    box->show();
    return box;
}

} // namespace

void MsgBox(const String& text, MessageKind kind)
{
    if (WasJustAnswered(text))
        return;
    if (MsgBoxHandler()) {
        MsgBoxHandler()(text);
    } else if (!HasDisplay()) {
        WriteToStandardError(text);
    } else {
        QMessageBox box(QApplication::activeWindow());
        FillBox(box, text, kind);
        box.exec();
    }
    LastAnswer().text = text;
    LastAnswer().time.start();
}

void SetMsgBoxHandler(std::function<void(const String& text)> handler)
{
    MsgBoxHandler() = std::move(handler);
}

void SetMsgBoxExplainer(std::function<Explanation(const String& text)> explain)
{
    MsgBoxExplainer() = std::move(explain);
}

int32_t Ask(const String& text, const std::vector<String>& answers, int32_t otherwise)
{
    if (!HasDisplay())
        return otherwise;
    QMessageBox box(QApplication::activeWindow());
    FillBox(box, text, QMessageBox::Question);
    std::vector<QAbstractButton*> buttons;
    for (const String& answer : answers)
        buttons.push_back(box.addButton(ToQt(answer), QMessageBox::ActionRole));
    if (otherwise >= 0 && otherwise < static_cast<int32_t>(buttons.size()))
        box.setEscapeButton(buttons[static_cast<size_t>(otherwise)]);
    if (!buttons.empty())
        box.setDefaultButton(static_cast<QPushButton*>(buttons.front()));
    box.exec();
    const auto pressed = std::ranges::find(buttons, box.clickedButton());
    return pressed == buttons.end() ? otherwise : static_cast<int32_t>(pressed - buttons.begin());
}

void Notify(const String& text, MessageKind kind)
{
    if (MsgBoxHandler() || !HasDisplay())
        MsgBox(text, kind);
    else
        ShowBeside(text, kind);
}

void ShowNote(const String& text)
{
    static auto& note = *new QPointer<QMessageBox>;
    if (!HasDisplay()) {
        if (!text.IsEmpty())
            std::fprintf(stderr, "%s\n", text.Bytes().c_str());
        return;
    }
    delete note.data();
    if (!text.IsEmpty())
        note = ShowBeside(text, MessageKind::Warning);
}

void Beep()
{
    QApplication::beep();
    if (HasDisplay())
        FlashFrontWindow();
}

} // namespace framework
