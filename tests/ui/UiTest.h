// SPDX-License-Identifier: MIT
#pragma once

#include "app/App.h"
#include "app/FileTypes.h"
#include "ui/MenuBar1.h"
#include "ui/MovieWindow.h"
#include "ui/SpyCanvas.h"

#include <gtest/gtest.h>

#include <QtWidgets>

/// Its handlers, layout and menus are the real ones.
class SpiedMovieWindow : public velmora::MovieWindow {
public:
    std::shared_ptr<SpyCanvas> spy = std::make_shared<SpyCanvas>();

protected:
    std::shared_ptr<velmora::VelmoraCanvas> NewVelmoraCanvas() override { return spy; }
};

/// The application as it stands after its start, with message boxes caught.
class MainWindowTest : public testing::Test {
protected:
    void SetUp() override
    {
        framework::SetMsgBoxHandler([this](const framework::String& text) { boxes.push_back(text.Bytes()); });
    }

    void TearDown() override { framework::SetMsgBoxHandler({}); }

    void OpenMainWindow(const std::shared_ptr<velmora::MovieWindow>& made)
    {
        velmora::_InitialiseModules();
        velmora::_InitFileTypes();
        velmora::_NewAppInstance();
        framework::_GetImplicitWindow("MovieWindow.MovieWindow", [made] { return made; });
        window = velmora::MovieWindow::Instance();
        // A control and its poll timer hold each other up to the end of the process.
        static auto* const controls = new std::vector<framework::Reference<velmora::VelmoraCanvas>>;
        controls->push_back(window->VelmoraCanvas1());
    }

    void CloseMainWindow()
    {
        window = nullptr;
        velmora::_FinaliseModules();
    }

    framework::Reference<velmora::MovieWindow> window;
    std::vector<std::string> boxes;
};

/// The main window over a spying control.
class UiTest : public MainWindowTest {
protected:
    void SetUp() override
    {
        MainWindowTest::SetUp();
        const auto made = std::make_shared<SpiedMovieWindow>();
        spy = made->spy;
        spy->texts["VideoDeviceName"] = "Camera";
        spy->videoDevices = {"Camera", "Test Pattern"};
        spy->soundDevices = {"Microphone", "Line", "Test Tone"};
        OpenMainWindow(made);
    }

    void TearDown() override
    {
        CloseMainWindow();
        MainWindowTest::TearDown();
    }

    static framework::Reference<framework::MenuItem> Item(const char* name)
    {
        return velmora::MenuBar1::Instance()->_Lookup(name);
    }

    /// Chooses a menu item in front of a window, as a user does: the menus are updated first.
    static bool Choose(framework::Window& front, const char* name)
    {
        front.UpdateMenus();
        return front.ChooseMenuItem(Item(name));
    }
    bool Choose(const char* name) { return Choose(*window, name); }

    std::vector<std::string> TakeBoxes() { return std::exchange(boxes, {}); }

    std::shared_ptr<SpyCanvas> spy;
};

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
