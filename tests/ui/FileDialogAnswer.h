// SPDX-License-Identifier: MIT
#pragma once

#include <QApplication>
#include <QFileDialog>
#include <QFileInfo>
#include <QLineEdit>
#include <QTimer>

#include <string>

/// Answers the next file dialog while it lives: with a path, or by cancelling for an empty one.
class FileDialogAnswer {
public:
    explicit FileDialogAnswer(const std::string& path) : path(QString::fromStdString(path))
    {
        timer.callOnTimeout([this] { Look(); });
        timer.start(5);
    }

    bool Asked() const { return asked; }
    std::string OfferedName() const { return offered.toStdString(); }
    std::string OfferedFolder() const { return folder.toStdString(); }

private:
    void Look()
    {
        auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
        if (dialog == nullptr)
            return;
        timer.stop();
        asked = true;
        offered = QFileInfo(dialog->selectedFiles().value(0)).fileName();
        folder = dialog->directory().absolutePath();
        if (path.isEmpty()) {
            dialog->reject();
            return;
        }
        dialog->findChild<QLineEdit*>()->setText(path);
        static_cast<QDialog*>(dialog)->accept();
    }

    QString path;
    QString offered;
    QString folder;
    bool asked = false;
    QTimer timer;
};
