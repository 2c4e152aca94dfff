// SPDX-License-Identifier: MIT
// An output is used for one movie: a second start without a new output must not overwrite what was just recorded.
#include "platform/grabber/SessionMovie.h"

#include <utility>

namespace platform {

Result SessionMovie::SetOutput(const std::string& path, int32_t flags)
{
    if (recording)
        return cantDoThatInCurrentMode;
    const bool makesNoMovie = (flags & seqGrabDontMakeMovie) != 0;
    if (path.empty() && !makesNoMovie)
        return paramErr;
    outputPath = makesNoMovie ? std::string() : path;
    outputFlags = flags;
    return noErr;
}

void SessionMovie::SetSplits(const SGSplitRule& rule, SGSplitHandler handler)
{
    splitRule = rule;
    splitHandler = std::move(handler);
    pastEnd = false;
    splits.Begin(rule);
}

DirectRecording::Plan SessionMovie::PlanFor(const std::string& path) const
{
    DirectRecording::Plan plan{.path = path, .append = (outputFlags & seqGrabAppendToFile) != 0, .withPictures = false};
    for (const auto& video : channels.video) {
        if (!video->IsUsedIn(GrabMode::Record))
            continue;
        plan.withPictures = true;
        plan.width = video->SourceRect().Width();
        plan.height = video->SourceRect().Height();
        plan.videoScale = video->TimeScale();
    }
    for (const auto& sound : channels.sound)
        if (sound->IsUsedIn(GrabMode::Record))
            plan.soundScale = sound->TimeScale();
    return plan;
}

Result SessionMovie::Begin()
{
    SetSplits(splitRule, splitHandler);
    Result result = noErr;
    recording = DirectRecording::Begin(PlanFor(outputPath), result);
    return result;
}

void SessionMovie::AddFrame(const Sample& frame)
{
    SplitBefore(frame);
    if (recording && !pastEnd)
        NoteFailure(recording->AddFrame(frame));
}

void SessionMovie::AddSound(const SoundStream::Piece& piece)
{
    splits.CountSound(piece.bytes);
    if (recording && !pastEnd)
        NoteFailure(recording->AddSound(piece));
}

// The frame is the first one of the next file, or the first one after the end. All sound up to its time was delivered
// before it, so each sample is in only one file.
void SessionMovie::SplitBefore(const Sample& frame)
{
    if (!splitHandler || pastEnd)
        return;
    const auto step = splits.Before(frame);
    if (step == RecordingSplits::Step::GoOn)
        return;
    pastEnd = step == RecordingSplits::Step::End;
    if (recording && pastEnd)
        NoteFailure(recording->EndFrameAt(frame.captureTime));
    const auto handler = splitHandler; // may be replaced while it runs
    const std::string path = handler(pastEnd);
    if (recording && !pastEnd && !path.empty())
        ContinueIn(path, frame.captureTime);
}

// Opens the next file before it closes the present one: if that fails, the recording continues in the present file.
void SessionMovie::ContinueIn(const std::string& path, int64_t captureTime)
{
    DirectRecording::Plan plan = PlanFor(path);
    plan.continues = true;
    Result result = noErr;
    auto next = DirectRecording::Begin(plan, result);
    NoteFailure(result);
    if (!next)
        return;
    NoteFailure(recording->EndFrameAt(captureTime));
    std::swap(recording, next);
    NoteFailure(next->Finish());
}

Result SessionMovie::Finish()
{
    const Result result = recording->Finish();
    recording.reset();
    failure = noErr;
    outputPath.clear();
    return result;
}

void SessionMovie::NoteFailure(Result result)
{
    if (failure == noErr)
        failure = result;
}

} // namespace platform
