// SPDX-License-Identifier: MIT
// A window with the live picture of the first camera and a button that records it with sound: live-window Movie.mov
#include <capture/VelmoraCanvas.h>
#include <framework/Widgets.h>
#include <framework/Window.h>
#include <library/CaptureRuntime.h>

class LiveWindow : public framework::Window {
public:
    explicit LiveWindow(const char* path) : movie(framework::New<framework::FolderItem>(path)) {}

protected:
    void Layout() override
    {
        Title("Live");
        Width(640);
        Height(520);
        EndsProgram = true;
    }

    void CreateControls() override
    {
        const auto control = std::make_shared<velmora::VelmoraCanvas>();
        control->Constructor(framework::Reference<velmora::VelmoraCanvas>(control));
        auto* canvas = Add("Picture", control);
        canvas->Place(0, 0, 640, 480);
        canvas->LockedTo = {.left = true, .top = true, .right = true, .bottom = true};
        canvas->EnableSound = true;
        canvas->UseDataProc = true; // frames come to the control, which shows and records them
        canvas->Open = [canvas] { canvas->Initialize(); };

        auto* button = Add<framework::PushButton>("Button");
        button->Place(270, 490, 100, 22);
        button->LockedTo = {.left = true, .bottom = true};
        button->Caption("Record");
        button->Action = [this, canvas] { canvas->Status().recording ? canvas->Stop() : canvas->Record(movie); };
        canvas->RecordingChanged = [button](bool recording) { button->Caption(recording ? "Stop" : "Record"); };
    }

private:
    framework::Reference<framework::FolderItem> movie;
};

int main(int argc, char** argv)
{
    velmora::CaptureRuntime runtime(argc, argv);
    const auto window = std::make_shared<LiveWindow>(argc > 1 ? argv[1] : "Live.mov");
    window->Construct();
    return runtime.Run();
}
