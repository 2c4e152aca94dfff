// SPDX-License-Identifier: MIT
#pragma once

#include <QAbstractButton>
#include <QApplication>
#include <QMessageBox>
#include <QTimer>

#include <string>

/// Answers the next question while it lives, by pressing the button of that caption.
class BoxAnswer {
public:
    explicit BoxAnswer(const std::string& caption) : caption(QString::fromStdString(caption))
    {
        timer.callOnTimeout([this] { Look(); });
        timer.start(5);
    }

    /// What was asked; empty when nothing was.
    std::string Question() const { return question.toStdString(); }

private:
    void Look()
    {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (box == nullptr)
            return;
        timer.stop();
        question = box->text();
        for (QAbstractButton* button : box->buttons())
            if (button->text() == caption)
                return button->click();
        box->reject();
    }

    QString caption;
    QString question;
    QTimer timer;
};
