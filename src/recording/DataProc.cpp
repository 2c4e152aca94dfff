// SPDX-License-Identifier: MIT
// The data procedure: each buffer that the grabber captures passes through here, inside `SGIdle`, on the main thread.
//
// It computes the buffer's duration and passes the buffer to the movie writer while a recording runs. A video frame is
// then shown through two chained sequences: the first decodes it at its own size into `decompGworld`, a picture on
// which the window may draw; the second draws that picture into the window through the matrix with flips and rotation.
//
// Both sequences are started by the first frame that finds none and used for all following frames, so a frame costs two
// blocks of four bytes here. States: none (both nil), display to be restarted (`displaySeq` nil), running. A sequence
// that failed to start leaves a block with no reference in it, and is not tried again until `DestroyImageSeqs`.
#include "capture/VelmoraCanvas.h"

#include "framework/Application.h"
#include "platform/compression/DecompressionSequence.h"
#include "platform/compression/Matrix.h"
#include "platform/grabber/SequenceGrabber.h"
#include "recording/Utilities.h"

namespace velmora {

using framework::New;
using Utilities::int2fixed;

namespace {

constexpr int32_t kDurationOfFirstFrame = 100;
constexpr int32_t kPictureDepth = 32;

// Fields of an image description.
constexpr int32_t kDescriptionWidth = 32;
constexpr int32_t kDescriptionHeight = 34;

// Starts a sequence of normal quality with the fastest decompressor.
int32_t BeginSequence(MemoryBlock& sequence, int32_t description, int32_t data, int32_t size,
                      const GWorldWrapper& target, int32_t matrix)
{
    return platform::DecompressSequenceBeginS(sequence.Pointer(), description, data, size, target.handle->Long(0), 0, 0,
                                              matrix, 0, 0, 0, platform::kCodecNormalQuality,
                                              platform::kBestSpeedCodec);
}

// Ends a sequence, if there is one. On failure it shows the message and keeps the reference.
bool EndSequence(Reference<MemoryBlock>& sequence, const char* failure)
{
    if (sequence && platform::CDSequenceEnd(sequence->Long(0)) != 0) {
        framework::MsgBox(failure);
        return false;
    }
    sequence = nullptr;
    return true;
}

} // namespace

// Always returns 0, so the grabber goes on whatever happens here.
int32_t VelmoraCanvas::DataProc(int32_t c, int32_t p, int32_t len, int32_t, int32_t, int32_t time, int16_t writeType,
                                int32_t refCon)
{
    if (p == 0 || writeType == platform::seqGrabWriteReserve)
        return 0;
    const MemoryBlock info(4);
    if (platform::SGGetChannelInfo(c, info.Pointer()) != 0)
        return 0;
    const Reference<VelmoraCanvas> control = SeqGrabbers->Lookup(refCon, nullptr);
    if (!control) {
        framework::Break();
        return 0;
    }

    // The duration of a sound buffer is computed as well, but not used.
    int32_t duration = kDurationOfFirstFrame;
    if (control->lasttimevalue != -1)
        duration = static_cast<int32_t>(int64_t{time} - control->lasttimevalue);
    if (control->isRecording)
        control->AppendDataProcDataToMovie(c, p, len, duration);

    if ((info.Long(0) & platform::seqGrabHasBounds) == 0)
        return 0;
    control->lasttimevalue = time;
    if (!control->decompSeq && !control->BeginDecompression(c, p, len))
        return 0;
    if (control->matrixChanged) {
        control->displaySeq = nullptr; // forgotten, not ended
        control->matrixChanged = false;
    }
    if (!control->displaySeq && !control->BeginDisplay())
        return 0;
    control->ShowFrame(p, len);
    return 0;
}

// The first sequence: the channel's frames, at their own size, into a picture of that size.
bool VelmoraCanvas::BeginDecompression(int32_t c, int32_t p, int32_t len)
{
    const int32_t description = Utilities::newclearhandle();
    if (platform::SGGetChannelSampleDescription(c, description) != 0) {
        Utilities::Display("2");
        return false;
    }
    const auto record = MemoryBlock::At(description)->Ptr(0);
    decomppicture = New<Picture>(record->Short(kDescriptionWidth), record->Short(kDescriptionHeight), kPictureDepth);
    decompGworld = New<GWorldWrapper>(decomppicture);
    decompSeq = New<MemoryBlock>(4);
    const int32_t result = BeginSequence(*decompSeq, description, p, len, *decompGworld, 0);
    if (result != 0) {
        Utilities::Trace("3: ", result);
        return false;
    }
    Utilities::DisposeHandle(description);
    return true;
}

// The second sequence: the picture into the window, at the control's present place and size.
bool VelmoraCanvas::BeginDisplay()
{
    const Reference<MemoryBlock> matrix = DisplayMatrix();
    displayGworld = New<GWorldWrapper>(Left(), Top(), Width(), Height(), Window());
    const int32_t description = decompGworld->GetImageDescription();
    displaySeq = New<MemoryBlock>(4);
    if (BeginSequence(*displaySeq, description, decompGworld->GetBaseAddress(), decompGworld->GetDataSize(),
                      *displayGworld, matrix->Pointer()) != 0)
        return false;
    Utilities::DisposeHandle(description);
    return true;
}

// Maps the frame's rectangle to the control's, then rotates and flips. Rotating and flipping move the picture out of
// the rectangle; the translations bring it back, after a rotation only if it was half a turn.
Reference<MemoryBlock> VelmoraCanvas::DisplayMatrix()
{
    auto matrix = New<MemoryBlock>(36);
    const int32_t m = matrix->Pointer();
    platform::RectMatrix(m, decompGworld->GetRect()->Pointer(), GetRect()->Pointer());
    const Reference<MemoryBlock> rect = GetRect();
    const int32_t fTop = int2fixed(rect->Short(0));
    const int32_t fLeft = int2fixed(rect->Short(2));
    const int32_t fWidth = int2fixed(rect->Short(6) - rect->Short(2));
    const int32_t fHeight = int2fixed(rect->Short(4) - rect->Short(0));
    if (gRotate) {
        platform::RotateMatrix(m, int2fixed(gRotateAngle), fLeft, fTop);
        platform::TranslateMatrix(m, fWidth, fHeight);
    }
    if (gFlipH) {
        platform::ScaleMatrix(m, int2fixed(-1), int2fixed(1), fLeft, 0);
        platform::TranslateMatrix(m, fWidth, 0);
    }
    if (gFlipV) {
        platform::ScaleMatrix(m, int2fixed(1), int2fixed(-1), 0, fTop);
        platform::TranslateMatrix(m, 0, fHeight);
    }
    return matrix;
}

// What the window draws on the decoded frame appears on the screen and in still pictures, never in the file.
void VelmoraCanvas::ShowFrame(int32_t p, int32_t len)
{
    const MemoryBlock out(4);
    platform::DecompressSequenceFrameWhen(decompSeq->Long(0), p, len, 0, out.Pointer(), 0, 0);
    triggerPaintEvent(decomppicture->Graphics());
    platform::DecompressSequenceFrameWhen(displaySeq->Long(0), decompGworld->GetBaseAddress(),
                                          decompGworld->GetDataSize(), 0, out.Pointer(), 0, 0);
}

void VelmoraCanvas::DestroyImageSeqs()
{
    if (EndSequence(displaySeq, "error destorying displayseq"))
        EndSequence(decompSeq, "error destorying decompseq");
}

} // namespace velmora
