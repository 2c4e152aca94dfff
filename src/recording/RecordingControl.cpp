// SPDX-License-Identifier: MIT
// Recording: `Record` and `Stop`. In data procedure mode the grabber runs all the time, and these two open and close a
// movie, with `isRecording` as the gate that buffers pass. In direct mode the grabber itself writes the file and is
// started and stopped.
#include "capture/VelmoraCanvas.h"

#include "platform/grabber/SequenceGrabber.h"
#include "platform/movies/Movies.h"

#include <algorithm>

namespace velmora {

namespace {

// The record that names a file: volume, folder, and the name with its length in one byte. A longer name makes it
// longer.
constexpr int32_t kFileSpecSize = 69;
constexpr int32_t kNameInFileSpec = 6;

// No movie is made in the file, it is not opened, and it gets no resources.
constexpr uint32_t kOnlyCreate = 0x70000000;

} // namespace

void VelmoraCanvas::Record(const Reference<FolderItem>& file)
{
    if (!file)
        return;
    if (file->Exists())
        file->Delete();
    BeginTally(*file);
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

// Has the grabber write into the file. A failure passes in silence.
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

void VelmoraCanvas::Stop()
{
    isActive = false;
    if (UseDataProc) {
        isRecording = false; // first: no buffer may reach media whose edits are being ended
        try {
            FinishMovieEdits();
        } catch (...) {
            RaiseRecordingChanged(false);
            throw;
        }
    } else {
        const int32_t stopped = tally.Keep(SGStop(theSGComp));
        tally.finished = stopped == 0;
        RaiseFailure(stopped);
        RaiseFailure(SGStartPreview(theSGComp));
    }
    RaiseRecordingChanged(false);
}

int32_t VelmoraCanvas::StopWithResult()
{
    isActive = false;
    RaiseFailure(tally.Keep(SGStop(theSGComp)));
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
        RaiseError(0); // the other question whose success is an event
    return recordMode.BooleanValue(0);
}

} // namespace velmora
