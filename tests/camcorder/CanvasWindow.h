// SPDX-License-Identifier: MIT
#pragma once

#include "capture/VelmoraCanvas.h"
#include "framework/Window.h"

#include <memory>
#include <vector>

namespace test {

/// A window with a control on it.
class CanvasWindow : public framework::Window {
public:
    velmora::VelmoraCanvas* canvas = nullptr;

protected:
    void Layout() override
    {
        Width(680);
        Height(520);
    }
    void CreateControls() override
    {
        auto control = std::make_shared<velmora::VelmoraCanvas>();
        control->Constructor(framework::Reference<velmora::VelmoraCanvas>(control));
        // A control and its poll timer hold each other up to the end of the process.
        static auto* const controls = new std::vector<std::shared_ptr<velmora::VelmoraCanvas>>;
        controls->push_back(control);
        canvas = Add<velmora::VelmoraCanvas>("VelmoraCanvas1", control);
        canvas->Place(20, 14, 640, 480);
        canvas->EnableSound = true;
        canvas->UseDataProc = true;
    }
};

} // namespace test
