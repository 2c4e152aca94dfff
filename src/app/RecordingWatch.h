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

/// Watches the recordings of the main window. The title bar shows how a recording is going; nothing ends it without
/// asking; it is stopped before the disk is full; a movie is tracked until it is complete on the disk; meanwhile a note
/// of it is kept, so that the next start can offer to repair an interrupted recording. It lives as long as the window.
class RecordingWatch {
public:
    /// Starts to watch the window's recordings, and offers repairs as soon as the window is shown.
    explicit RecordingWatch(Reference<MovieWindow> window);
    ~RecordingWatch();
    RecordingWatch(const RecordingWatch&) = delete;
    RecordingWatch& operator=(const RecordingWatch&) = delete;

    /// Lists the interrupted recordings, and repairs them if the user agrees.
    void OfferRepairs();

    /// Checks the recording; the timer calls it twice a second.
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

    /// A recorded movie that is not known to be complete yet.
    struct Recording {
        std::unique_ptr<RecordingNote> note; ///< null if none could be written
        std::string endText;                 ///< the message when it is complete; empty: none
    };

    Reference<MovieWindow> window;
    framework::Timer timer;
    framework::Timer start;                      ///< fires first in the event loop
    std::map<std::string, Recording> recordings; ///< by path: the one in progress and those being finished
    std::string current;                         ///< path of the one in progress, otherwise empty
    bool warnedOfDisk = false;
    bool stopping = false;
    bool ending = false; ///< the program ends as soon as all movies are complete
    std::unique_ptr<framework::ProgressBox> finishingBox;
};

} // namespace velmora
