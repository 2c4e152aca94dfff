// SPDX-License-Identifier: MIT
#pragma once

#include "framework/Application.h"
#include "framework/ProgressBox.h"
#include "recording/RecordingNote.h"
#include "ui/MovieWindow.h"

#include <map>
#include <memory>
#include <string>

namespace velmora {

/// Watches over the recordings of the main window. The title bar says how the recording goes; nothing ends it unasked;
/// it is stopped before the disk is full; a movie is followed until it is whole on the disk; a note of it is kept
/// meanwhile, so that the next start can offer to repair what was cut off. It lives as long as the window.
class RecordingWatch {
public:
    /// Looks at the window's recording from now on, and offers repairs as soon as the window is shown.
    explicit RecordingWatch(Reference<MovieWindow> window);
    ~RecordingWatch();
    RecordingWatch(const RecordingWatch&) = delete;
    RecordingWatch& operator=(const RecordingWatch&) = delete;

    /// Names the recordings that were cut off, and repairs them if the user wishes.
    void OfferRepairs();

    /// One look at the recording, as the timer takes it twice a second.
    void Look();

private:
    void RecordingChanged(bool recording);
    void RecordingBegan();
    void RecordingEnded();
    void LookAtDisk(const RecordingStatus& status);
    void LookAtFinishing();
    void ReportFinished();
    bool MayQuit();
    void Terminate(framework::Termination reason);
    bool RefusesMenuItem(const framework::MenuItem& item);
    void PressStop();
    void Report(const std::string& text, framework::MessageKind kind) const;
    void WaitForFinishing();
    void Ended(const std::string& path, bool whole, int32_t failure);

    /// A movie that was recorded and is not known to be whole yet.
    struct Recording {
        std::unique_ptr<RecordingNote> note; ///< null where none could be kept
        std::string endText;                 ///< what to say when it is whole; empty: nothing
    };

    Reference<MovieWindow> window;
    framework::Timer timer;
    framework::Timer start;                      ///< the first thing that the event loop does
    std::map<std::string, Recording> recordings; ///< by path: the one in progress and those being finished
    std::string current;                         ///< path of the one in progress, else empty
    bool warnedOfDisk = false;
    bool stopping = false;
    bool ending = false; ///< the program ends as soon as all movies are whole
    std::unique_ptr<framework::ProgressBox> finishingBox;
};

} // namespace velmora
