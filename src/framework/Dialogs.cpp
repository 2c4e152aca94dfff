// SPDX-License-Identifier: MIT
#include "framework/Application.h"
#include "framework/QtText.h"
#include "framework/Runtime.h"
#include "platform/events/EventLoop.h"

#include <QApplication>
#include <QDesktopServices>
#include <QElapsedTimer>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QUrl>

#include <algorithm>
#include <cstdio>

namespace framework {
namespace {

using TextHandler = std::function<void(const String&)>;

// Nothing here is ever destroyed: the end by `exit` in Termination.cpp may still have something to say.
TextHandler& MsgBoxHandler()
{
    static auto& handler = *new TextHandler;
    return handler;
}

TextHandler& ShowURLHandler()
{
    static auto& handler = *new TextHandler;
    return handler;
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
// text that a timer brings again right after it was answered is passed over for a while.
bool WasJustAnswered(const String& text)
{
    return platform::IsInsideEventLoopTimer() && LastAnswer().text == text && LastAnswer().time.isValid() &&
           !LastAnswer().time.hasExpired(kTimeToAct);
}

// A box that work goes on behind; it deletes itself when it is closed.
QMessageBox* ShowBeside(const String& text, QMessageBox::Icon icon)
{
    auto* box = new QMessageBox(icon, QString(), ToQt(text), QMessageBox::Ok);
    box->setTextFormat(Qt::PlainText);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setAttribute(Qt::WA_ShowWithoutActivating);
    box->setModal(false);
    box->show();
    return box;
}

} // namespace

void MsgBox(const String& text)
{
    if (WasJustAnswered(text))
        return;
    if (MsgBoxHandler()) {
        MsgBoxHandler()(text);
    } else if (!HasDisplay()) {
        std::fprintf(stderr, "%s\n", text.Bytes().c_str());
    } else {
        QMessageBox box(QMessageBox::NoIcon, QString(), ToQt(text), QMessageBox::Ok, QApplication::activeWindow());
        box.setTextFormat(Qt::PlainText);
        box.exec();
    }
    LastAnswer().text = text;
    LastAnswer().time.start();
}

void SetMsgBoxHandler(std::function<void(const String& text)> handler)
{
    MsgBoxHandler() = std::move(handler);
}

int32_t Ask(const String& text, const std::vector<String>& answers, int32_t otherwise)
{
    if (!HasDisplay())
        return otherwise;
    QMessageBox box(QMessageBox::Question, QString(), ToQt(text), QMessageBox::NoButton, QApplication::activeWindow());
    box.setTextFormat(Qt::PlainText);
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

void Notify(const String& text)
{
    if (MsgBoxHandler() || !HasDisplay())
        MsgBox(text);
    else
        ShowBeside(text, QMessageBox::NoIcon);
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
        note = ShowBeside(text, QMessageBox::Warning);
}

void Beep()
{
    QApplication::beep();
}

void ShowURL(const String& url)
{
    if (ShowURLHandler())
        ShowURLHandler()(url);
    else if (HasDisplay())
        QDesktopServices::openUrl(QUrl(ToQt(url)));
}

void SetShowURLHandler(std::function<void(const String& url)> handler)
{
    ShowURLHandler() = std::move(handler);
}

} // namespace framework
