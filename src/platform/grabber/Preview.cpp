// SPDX-License-Identifier: MIT
#include "platform/grabber/Preview.h"

#include "platform/compression/DecompressionSequence.h"
#include "platform/compression/Matrix.h"

namespace platform {
namespace {

constexpr int64_t kMatrixSize = 36;

} // namespace

void Preview::Draw(const Sample& frame, PortReference port, const Bounds& target)
{
    const SharedDescription& shown = frame.ShownDescription();
    const bool sameFrames = drawn && (drawn == shown || drawn->record == shown->record);
    if (!sameFrames || port != drawnInto || target != drawnAt) {
        End();
        drawn = shown;
        drawnInto = port;
        drawnAt = target;
        Begin();
    }
    if (sequence != 0)
        DecompressSequenceFrameWhen(sequence, frame.Shown().Start(), static_cast<int32_t>(frame.Shown().Size()), 0, 0,
                                    0, 0);
}

void Preview::Begin()
{
    const OwnedBlock matrix(kMatrixSize);
    const OwnedBlock source(sizeof(Bounds));
    const OwnedBlock target(sizeof(Bounds));
    Poke(source.Get(), BoundsOfSize(drawn->image.width, drawn->image.height));
    Poke(target.Get(), drawnAt);
    RectMatrix(matrix.Get(), source.Get(), target.Get());

    const OwnedBlock begun(sizeof sequence);
    const Handle record = NewHandle(0);
    SetHandleBytes(record, drawn->record);
    // Ports of other layouts are refused here: they only name a place to draw.
    if (DecompressSequenceBeginS(begun.Get(), record, 0, 0, drawnInto, 0, 0, matrix.Get(), 0, 0, 0, kCodecNormalQuality,
                                 kBestSpeedCodec) == noErr)
        sequence = Peek<int32_t>(begun.Get());
    DisposeHandle(record);
}

void Preview::End()
{
    if (sequence != 0)
        CDSequenceEnd(sequence);
    sequence = 0;
    drawn = nullptr;
}

} // namespace platform
