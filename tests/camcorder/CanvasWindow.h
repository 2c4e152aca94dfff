// SPDX-License-Identifier: MIT
#pragma once

#include "app/App.h"
#include "capture/VelmoraCanvas.h"
#include "framework/Window.h"
#include "platform/Platform.h"
#include "platform/clock/MonotonicClock.h"
#include "platform/digitizer/dv/DvDigitizer.h"

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

/// A control over the camcorders of the platform, with the clock in the test's hand.
class CamcorderControl {
protected:
    explicit CamcorderControl(int64_t (*clock)())
    {
        static const bool started = (platform::StartPlatform(), velmora::_InitialiseModules(), true);
        (void)started;
        platform::SetMonotonicClock(clock);
        platform::SetDigitizerProvider({platform::ListDvDigitizers, platform::OpenDvDigitizer});
        platform::SetSoundSourceProvider({platform::ListDvSoundSources, platform::OpenDvSoundSource});
        window.Construct();
        canvas().Error = [this](int32_t result) { errors.push_back(result); };
    }

    /// Ends the session, which must be before its bus is gone.
    void End()
    {
        canvas().Destructor();
        window.Close();
        platform::SetSoundSourceProvider({});
        platform::SetDigitizerProvider({});
        platform::SetMonotonicClock(nullptr);
    }

    velmora::VelmoraCanvas& canvas() const { return *window.canvas; }

    void Record(const std::string& path)
    {
        canvas().VideoRecordSize(640, 480);
        canvas().Record(framework::New<framework::FolderItem>(path));
    }

    CanvasWindow window;
    std::vector<int32_t> errors;
};

} // namespace test
