// SPDX-License-Identifier: MIT
// Records a camera without showing a window. The control must be part of a window, so there is one that is never shown.
#pragma once

#include <capture/VelmoraCanvas.h>
#include <framework/Timer.h>
#include <framework/Window.h>
#include <library/CaptureRuntime.h>

#include <cstdio>

class HeadlessRecorder : public framework::Window {
public:
    HeadlessRecorder(const char* camera, const char* path, double seconds)
        : camera(camera), movie(framework::New<framework::FolderItem>(path)), seconds(seconds)
    {
    }

    /// Whether the movie was finished without a failure.
    bool Succeeded() const { return succeeded; }

protected:
    void Layout() override { Visible(false); }

    void CreateControls() override
    {
        const auto control = std::make_shared<velmora::VelmoraCanvas>();
        control->Constructor(framework::Reference<velmora::VelmoraCanvas>(control));
        canvas = Add("Picture", control);
        canvas->Place(0, 0, 640, 480);
        canvas->Open = [this] { Begin(); };
        timer = Add<framework::Timer>("Timer");
        timer->Period(50);
        timer->Action = [this] { Tick(); };
    }

private:
    void Begin()
    {
        canvas->Initialize();
        canvas->PreviewWhileRecording(false); // saves decoding frames that no one sees
        if (canvas->ChooseVideoDevice(camera) == 0)
            return timer->Mode(framework::Timer::Multiple);
        std::fprintf(stderr, "There is no camera \"%s\".\n", camera);
        velmora::CaptureRuntime::Quit();
    }

    void Tick()
    {
        const velmora::RecordingStatus status = canvas->Status();
        if (!status.recording && canvas->VideoCounts().delivered > 0) {
            canvas->VideoRecordSize(canvas->VideoWidth(), canvas->VideoHeight());
            canvas->Record(movie);
        } else if (status.recording && (status.seconds >= seconds || status.failure != 0)) {
            Finish();
        }
    }

    void Finish()
    {
        timer->Mode(framework::Timer::Off);
        canvas->Stop();
        const velmora::RecordingStatus status = canvas->Status();
        std::printf("%s: %llu frames, %llu lost\n", status.path.c_str(), static_cast<unsigned long long>(status.frames),
                    static_cast<unsigned long long>(status.lost));
        succeeded = status.failure == 0 && status.frames > 0;
        Close();
        velmora::CaptureRuntime::Quit();
    }

    const char* camera;
    framework::Reference<framework::FolderItem> movie;
    double seconds;
    velmora::VelmoraCanvas* canvas = nullptr;
    framework::Timer* timer = nullptr;
    bool succeeded = false;
};
