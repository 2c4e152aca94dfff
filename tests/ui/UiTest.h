// SPDX-License-Identifier: MIT
#pragma once

#include "app/App.h"
#include "app/FileTypes.h"
#include "ui/MenuBar1.h"
#include "ui/MovieWindow.h"
#include "ui/SpyCanvas.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

/// The main window over a spying control. Its own handlers, layout and menus are the real ones.
class SpiedMovieWindow : public velmora::MovieWindow {
public:
    std::shared_ptr<SpyCanvas> spy = std::make_shared<SpyCanvas>();

protected:
    std::shared_ptr<velmora::VelmoraCanvas> NewVelmoraCanvas() override { return spy; }
};

/// The application as it stands after its start, with message boxes caught.
class UiTest : public testing::Test {
protected:
    void SetUp() override
    {
        velmora::_InitialiseModules();
        velmora::_InitFileTypes();
        velmora::_NewAppInstance();
        framework::SetMsgBoxHandler([this](const framework::String& text) { boxes.push_back(text.Bytes()); });
        auto made = std::make_shared<SpiedMovieWindow>();
        spy = made->spy;
        // A control and its poll timer hold each other up to the end of the process.
        static auto* const controls = new std::vector<std::shared_ptr<SpyCanvas>>;
        controls->push_back(spy);
        spy->texts["VideoDeviceName"] = "Camera";
        spy->videoDevices = {"Camera", "Test Pattern"};
        spy->soundDevices = {"Microphone", "Line", "Test Tone"};
        framework::_GetImplicitWindow("MovieWindow.MovieWindow", [made] { return made; });
        window = velmora::MovieWindow::Instance();
    }

    void TearDown() override
    {
        window = nullptr;
        velmora::_FinaliseModules();
        framework::SetMsgBoxHandler({});
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

    framework::Reference<velmora::MovieWindow> window;
    std::shared_ptr<SpyCanvas> spy;
    std::vector<std::string> boxes;
};
