// SPDX-License-Identifier: MIT
// Recording: `Record` and `Stop`. In data procedure mode the grabber runs all the time; these two open and close a
// movie, and `isRecording` lets the buffers through. In direct mode they start and stop the grabber, which writes the
// file itself.
#include "capture/VelmoraCanvas.h"

#include "platform/clock/MonotonicClock.h"
#include "platform/grabber/SequenceGrabber.h"
#include "platform/memory/ResultCodes.h"
#include "platform/movies/Movies.h"

#include <algorithm>
#include <cmath>
#include <tuple>

namespace velmora {

namespace {

// The file record: volume, folder, and the name with its length in one byte. The record grows for longer names.
constexpr int32_t kFileSpecSize = 69;
constexpr int32_t kNameInFileSpec = 6;

// Create no movie in the file, do not open it, write no resources.
constexpr uint32_t kOnlyCreate = 0x70000000;

} // namespace

void VelmoraCanvas::Record(const Reference<FolderItem>& file)
{
    if (!file)
        return;
    if (file->Exists())
        file->Delete();
    BeginTally(*file);
    WatchLimits();
    if (UseDataProc) {
        createmoviestorage(file);
        addtracksToMovie(outputMovie->Long(0));
        isRecording = true;
    } else {
        VideoRecordSize(Width(), Height());
        RecordDirectly(*file);
    }
    isActive = true;
    RaiseRecordingChanged(true);
}

// Makes the grabber write into the file. Failures are ignored.
void VelmoraCanvas::RecordDirectly(const FolderItem& file)
{
    const auto nameSize = static_cast<int32_t>(file.Name().Bytes().size());
    MemoryBlock spec(std::max(kFileSpecSize, kNameInFileSpec + 1 + nameSize));
    spec.Short(0, file.MacVRefNum());
    spec.Long(2, file.MacDirID());
    spec.PString(kNameInFileSpec, file.Name());
    platform::CreateMovieFile(spec.Pointer(), framework::StringToOSType("TVOD"), -1, kOnlyCreate, 0, 0);
    platform::SGSetDataOutput(theSGComp, spec.Pointer(), platform::seqGrabToDisk | platform::seqGrabAppendToFile);
    platform::SGPrepare(theSGComp, 1, 1);
    platform::SGStartRecord(theSGComp);
}

void VelmoraCanvas::WatchLimits()
{
    if (!Limits.Any() && !watchesLimits)
        return;
    watchesLimits = Limits.Any();
    if (!watchesLimits) {
        platform::SGSetSplits(theSGComp, {}, nullptr);
        return;
    }
    const platform::SGSplitRule rule{.fileNanoseconds =
                                         std::llround(Limits.fileSeconds * platform::kNanosecondsPerSecond),
                                     .fileBytes = Limits.fileBytes,
                                     .nanoseconds = std::llround(Limits.seconds * platform::kNanosecondsPerSecond),
                                     .frames = Limits.frames};
    platform::SGSetSplits(theSGComp, rule,
                          [this](bool ends) { return UseDataProc && !isRecording ? std::string() : ReachLimit(ends); });
}

// Called between two frames. In direct mode the grabber switches files itself.
std::string VelmoraCanvas::ReachLimit(bool ends)
{
    Status(); // updates the tally while the present file is still open
    if (ends)
        isRecording = false;
    const auto asked = NextRecordingFile;
    const Reference<FolderItem> file = asked ? asked(ends) : nullptr;
    if (ends || !file)
        return {};
    tally.repeatedBefore = tally.repeated;
    tally.path = file->AbsolutePath().Bytes();
    if (UseDataProc)
        ContinueIn(file);
    return tally.path;
}

// Opens the next movie before it finishes the present one. If that fails the recording continues in the present movie.
void VelmoraCanvas::ContinueIn(const Reference<FolderItem>& file)
{
    const auto movie = [this] {
        return std::tie(moviedatahandler, outputMovie, myvideotrack, myvideomedia, mysoundtrack, mysoundmedia);
    };
    using Movie = std::tuple<Reference<MemoryBlock>, Reference<MemoryBlock>, int32_t, int32_t, int32_t, int32_t>;
    Movie present = movie();
    createmoviestorage(file);
    if (moviedatahandler->Long(0) == 0) {
        movie() = present;
        return RaiseError(platform::ioErr);
    }
    addtracksToMovie(outputMovie->Long(0));
    Movie next = movie();
    movie() = present;
    try {
        FinishMovieEdits();
    } catch (...) {
        movie() = next;
        throw;
    }
    tally.finished = false;
    movie() = next;
}

void VelmoraCanvas::Stop()
{
    const bool wasRecording = Status().recording;
    isActive = false;
    if (UseDataProc) {
        isRecording = false; // first, so that no buffer reaches media whose edits are being ended
        try {
            FinishMovieEdits();
        } catch (...) {
            RaiseRecordingChanged(false);
            throw;
        }
    } else {
        const int32_t stopped = tally.KeepFirstFailure(SGStop(theSGComp));
        if (wasRecording)
            CountInTally(); // the frames that still waited are in the movie now
        tally.finished = stopped == 0;
        RaiseFailure(stopped);
        RaiseFailure(SGStartPreview(theSGComp));
    }
    RaiseRecordingChanged(false);
}

int32_t VelmoraCanvas::StopWithResult()
{
    isActive = false;
    RaiseFailure(tally.KeepFirstFailure(SGStop(theSGComp)));
    RaiseFailure(SGRelease(theSGComp));
    const int32_t result = SGStartPreview(theSGComp);
    RaiseFailure(result);
    RaiseRecordingChanged(false);
    return result;
}

void VelmoraCanvas::RaiseRecordingChanged(bool recording)
{
    const auto handler = RecordingChanged;
    if (handler)
        handler(recording);
}

bool VelmoraCanvas::RecordState()
{
    const MemoryBlock previewMode(4);
    const MemoryBlock recordMode(4);
    if (platform::SGGetMode(theSGComp, previewMode.Pointer(), recordMode.Pointer()) == 0)
        RaiseError(0); // success raises the event, as in `VideoPreview`
    return recordMode.BooleanValue(0);
}

} // namespace velmora
