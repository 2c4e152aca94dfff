// SPDX-License-Identifier: MIT
#pragma once

#include <QtWidgets>

#include <functional>
#include <string>

/// Answers the next dialog of a kind while it lives.
template <typename Dialog> class DialogAnswer {
public:
    explicit DialogAnswer(std::function<void(Dialog&)> answer)
    {
        timer.callOnTimeout([this, answer = std::move(answer)] {
            if (auto* dialog = qobject_cast<Dialog*>(QApplication::activeModalWidget())) {
                timer.stop();
                answer(*dialog);
            }
        });
        timer.start(5);
    }

private:
    QTimer timer;
};

/// Answers a question by pressing the button of that caption.
struct BoxAnswer : DialogAnswer<QMessageBox> {
    explicit BoxAnswer(const std::string& caption)
        : DialogAnswer([this, caption](QMessageBox& box) {
              question = box.text().toStdString();
              for (QAbstractButton* button : box.buttons())
                  if (button->text().toStdString() == caption)
                      return button->click();
              box.reject();
          })
    {
    }
    std::string question; ///< empty when nothing was asked
};

/// Answers a file dialog with a path, or by cancelling for an empty one.
struct FileDialogAnswer : DialogAnswer<QFileDialog> {
    explicit FileDialogAnswer(const std::string& path)
        : DialogAnswer([this, path](QFileDialog& dialog) {
              offeredName = QFileInfo(dialog.selectedFiles().value(0)).fileName().toStdString();
              offeredFolder = dialog.directory().absolutePath().toStdString();
              dialog.findChild<QLineEdit*>()->setText(QString::fromStdString(path));
              path.empty() ? dialog.reject() : static_cast<QDialog&>(dialog).accept();
          })
    {
    }
    std::string offeredName; ///< empty when no dialog came
    std::string offeredFolder;
};
