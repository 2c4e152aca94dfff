// SPDX-License-Identifier: MIT
// The states of a recording: started (a note of it is written), in progress (checked twice a second), ended (by the
// control; the writer may continue in the background), complete (the note is removed) or failed (a message is shown,
// and the note stays for the next start).
//
// Finishing the movie does not block the window: the platform's question whether to wait is always answered with no,
// and the box that shows the progress is only a view. Only the end of the program waits.
#include "app/RecordingWatch.h"

#include "framework/Guard.h"
#include "platform/Platform.h"
#include "platform/events/EventLoop.h"
#include "platform/memory/ResultCodes.h"
#include "platform/movies/MovieRecovery.h"
#include "platform/movies/Movies.h"
#include "ui/MenuStates.h"
#include "ui/RecordingTexts.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace velmora {

using framework::Ask;
using framework::MessageKind;
using framework::MsgBox;

namespace {

constexpr int32_t kLookInterval = 500; // milliseconds
constexpr double kWarnSeconds = 120;
constexpr double kStopSeconds = 2; // of recording for which there must be space left on the disk
constexpr int32_t kTurn = 50;      // milliseconds
constexpr std::chrono::seconds kMaxReleaseTime{5};

bool IsUnfinished(const platform::FinishingMovie& movie)
{
    return !movie.done;
}

std::string DateText(std::time_t time)
{
    std::array<char, 32> text{};
    std::tm local{};
    std::strftime(text.data(), text.size(), "%Y-%m-%d at %H:%M", localtime_r(&time, &local));
    return text.data();
}

// Repairs a recording and shows the result.
std::string Repair(RecordingNote& note)
{
    const std::string& path = note.MoviePath();
    platform::RecoveredMovie found;
    std::string written;
    platform::Result result = platform::noErr;
    framework::RunWithProgress("Repairing " + NameOf(path) + "…",
                               [&] { result = platform::RecoverMovie(path, {}, found, written); });
    if (result != platform::noErr && result != platform::invalidMovie)
        return NameOf(path) + " could not be repaired: " + ReasonText(result, path) + ".";
    note.Remove();
    if (result == platform::invalidMovie)
        return NameOf(path) + " can't be repaired: nothing had been recorded yet.";
    return NameOf(written) + " is a complete movie: " + ClockText(found.seconds) + ", " +
           std::to_string(found.videoFrames) + " frames.";
}

} // namespace

RecordingWatch::RecordingWatch(Reference<MovieWindow> watched) : window(std::move(watched))
{
    window->VelmoraCanvas1()->RecordingChanged = [this](bool recording) { RecordingChanged(recording); };
    window->RefusesMenuItem = [this](const framework::MenuItem& item) { return RefusesMenuItem(item); };
    const auto application = framework::Application::Instance();
    application->MayQuit = [this] { return MayQuit(); };
    application->TerminationRequested = [this](framework::Termination reason) { Terminate(reason); };
    platform::SetMovieFinishHandler([](const std::string&, int64_t, int64_t) { return false; });
    timer.Action = [this] { Look(); };
    timer.Period(kLookInterval);
    timer.Mode(framework::Timer::Multiple);
    start.Action = [this] { OfferRepairs(); };
    start.Period(1);
    start.Mode(framework::Timer::Single);
}

RecordingWatch::~RecordingWatch()
{
    platform::SetMovieFinishHandler(nullptr);
    const auto application = framework::Application::Instance();
    application->MayQuit = nullptr;
    application->TerminationRequested = nullptr;
    window->RefusesMenuItem = nullptr;
    if (const auto canvas = window->VelmoraCanvas1())
        canvas->RecordingChanged = nullptr;
    framework::ShowNote("");
}

void RecordingWatch::RecordingChanged(bool recording)
{
    if (recording)
        RecordingBegan();
    else
        RecordingEnded();
}

void RecordingWatch::RecordingBegan()
{
    const auto canvas = window->VelmoraCanvas1();
    const RecordingStatus status = canvas->Status();
    if (!status.recording) {
        // The control has reported what failed. Without a stop it would do so for every frame.
        PressStop();
        MsgBox(NameOf(status.path) + " can't be recorded: it could not be created.", MessageKind::Warning);
        return;
    }
    current = status.path;
    recordings[current] = {RecordingNote::Write(current), {}};
    warnedOfDisk = false;
    // Without the preview the session stands still, and the movie would stay empty.
    if (!canvas->VideoPreview())
        canvas->VideoPreview(true);
    framework::GuardExit();
    Look();
}

void RecordingWatch::RecordingEnded()
{
    if (current.empty())
        return;
    const std::string path = std::exchange(current, {});
    const RecordingStatus status = window->VelmoraCanvas1()->Status();
    framework::ShowNote("");
    const auto finishing = platform::FinishingMovies();
    if (std::ranges::find(finishing, path, &platform::FinishingMovie::path) == finishing.end())
        Ended(path, status.finished, status.failure);
}

// The movie is complete on the disk, or it will not become so on its own.
void RecordingWatch::Ended(const std::string& path, bool whole, int32_t failure)
{
    auto ended = recordings.extract(path);
    if (ended.empty())
        return;
    const Recording& recording = ended.mapped();
    if (whole) {
        if (recording.note)
            recording.note->Remove();
        if (!recording.endText.empty())
            Report(recording.endText, MessageKind::Warning);
    } else {
        Report(NameOf(path) + " could not be finished: " + ReasonText(failure, path) +
                   ". It plays up to where it was written. Velmora offers to repair it at its next start.",
               MessageKind::Warning);
    }
}

// A box that waits for an answer would block the checks of the next recording. At the end of the program there are
// none, and the text must be seen.
void RecordingWatch::Report(const std::string& text, MessageKind kind) const
{
    if (ending)
        MsgBox(text, kind);
    else
        framework::Notify(text, kind);
}

void RecordingWatch::Look()
{
    const RecordingStatus status = window->VelmoraCanvas1()->Status();
    LookAtFinishing();
    if (!status.recording)
        return;
    window->TitleNote(RecordingTitle(status));
    LookAtDisk(status);
}

void RecordingWatch::LookAtDisk(const RecordingStatus& status)
{
    const bool ends = status.secondsLeft >= 0 && status.secondsLeft < kStopSeconds;
    if ((ends || status.failure != platform::noErr) && !stopping) {
        const int32_t reason = status.failure != platform::noErr ? status.failure : platform::dskFulErr;
        recordings[current].endText = "The recording was stopped because " + ReasonText(reason, current) + ". " +
                                      NameOf(current) + " is complete: " + ClockText(status.seconds) + ".";
        PressStop();
    } else if (status.secondsLeft >= 0 && status.secondsLeft < kWarnSeconds && !warnedOfDisk) {
        warnedOfDisk = true;
        framework::ShowNote("The disk " + DiskOf(current) + " has space for less than two more minutes of " +
                            NameOf(current) + ". The recording is stopped and saved before the disk is full.");
    }
}

// Shows the movies that are still being written, and reports those that are complete.
void RecordingWatch::LookAtFinishing()
{
    const auto movies = platform::FinishingMovies();
    const auto unfinished = std::ranges::find_if(movies, IsUnfinished);
    if (unfinished != movies.end()) {
        const String text = WritingText(unfinished->path, unfinished->doneBytes, unfinished->totalBytes);
        if (!finishingBox && !ending)
            finishingBox = std::make_unique<framework::ProgressBox>(framework::ProgressBox::Kind::Beside,
                                                                    "Continue in background");
        if (finishingBox)
            finishingBox->Show(text, unfinished->doneBytes, unfinished->totalBytes);
        window->TitleNote(text);
    } else {
        finishingBox.reset();
        const auto canvas = window->VelmoraCanvas1();
        const std::string camera = canvas->VideoDeviceReason();
        if (current.empty())
            window->TitleNote(camera.empty() ? canvas->SoundDeviceReason() : camera);
    }
    ReportFinished();
}

void RecordingWatch::ReportFinished()
{
    for (const platform::FinishingMovie& movie : platform::TakeFinishedMovies())
        Ended(movie.path, movie.result == platform::noErr, movie.result);
}

bool RecordingWatch::MayQuit()
{
    if (window->VelmoraCanvas1()->Status().recording) {
        const String question = "A movie is being recorded: " + NameOf(current) + ".";
        if (Ask(question, {"Stop and save", "Keep recording"}, 1) != 0)
            return false;
        // The recording may have ended meanwhile, because the disk was full.
        if (window->VelmoraCanvas1()->Status().recording)
            PressStop();
    }
    ending = true;
    WaitForFinishing();
    return true;
}

void RecordingWatch::Terminate(framework::Termination reason)
{
    ending = true;
    // No user may be present to answer a message.
    framework::SetMsgBoxHandler([](const String& text) { std::fprintf(stderr, "%s\n", text.Bytes().c_str()); });
    const auto canvas = window->VelmoraCanvas1();
    if (reason == framework::Termination::DisplayLost) {
        if (!current.empty())
            framework::Guard([&] { canvas->Stop(); });
        platform::WaitForFinishingMovies();
        ReportFinished();
        // A device that hangs must not delay the end.
        platform::EndWithin(kMaxReleaseTime, EXIT_FAILURE);
        canvas->Destructor();
    } else {
        if (!current.empty())
            PressStop();
        WaitForFinishing();
    }
}

// The same steps as when the user presses the button.
void RecordingWatch::PressStop()
{
    platform::NoteInput();
    stopping = true;
    framework::Guard([this] {
        const auto button = window->btnstartcapture1();
        if (button->Caption() == "Stop")
            button->Push();
        else
            window->VelmoraCanvas1()->Stop();
    });
    stopping = false;
    Look();
}

void RecordingWatch::WaitForFinishing()
{
    finishingBox.reset();
    framework::ProgressBox box(framework::ProgressBox::Kind::Modal);
    for (;;) {
        const auto movies = platform::FinishingMovies();
        const auto unfinished = std::ranges::find_if(movies, IsUnfinished);
        if (unfinished == movies.end())
            break;
        box.Show(WritingText(unfinished->path, unfinished->doneBytes, unfinished->totalBytes), unfinished->doneBytes,
                 unfinished->totalBytes);
        framework::Application::Instance()->DoEvents(kTurn);
    }
    ReportFinished();
}

bool RecordingWatch::RefusesMenuItem(const framework::MenuItem& item)
{
    if (!InterruptsRecording(item) || !window->VelmoraCanvas1()->Status().recording)
        return false;
    MsgBox(NameOf(current) + " is being recorded, and this would interrupt it. Please press Stop first.");
    return true;
}

void RecordingWatch::OfferRepairs()
{
    const auto notes = RecordingNote::LeftBehind();
    if (notes.empty())
        return;
    std::string question = notes.size() == 1 ? "A recording was cut off:" : "Recordings were cut off:";
    for (const auto& note : notes)
        question += "\n" + note->MoviePath() + ", begun " + DateText(note->Began());
    question += "\n\nIt plays up to where it was cut off. Repair makes an ordinary movie of it.";
    if (Ask(question, {"Repair", "Later"}, 1) != 0)
        return;
    std::string results;
    for (const auto& note : notes)
        results += (results.empty() ? "" : "\n") + Repair(*note);
    MsgBox(results);
}

} // namespace velmora
