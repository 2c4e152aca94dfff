// SPDX-License-Identifier: MIT
#include "platform/grabber/Preview.h"

namespace platform {

void Preview::Draw(const Sample& frame, PortReference port, const Bounds& target)
{
    const SharedDescription& shown = frame.ShownDescription();
    const bool sameFrames = drawn && (drawn == shown || drawn->record == shown->record);
    if (!sameFrames || port != drawnInto || target != drawnAt) {
        drawn = shown;
        drawnInto = port;
        drawnAt = target;
        Begin();
    }
    if (sequence)
        sequence->ShowFrame(frame.Shown().Start(), static_cast<int32_t>(frame.Shown().Size()));
}

// Ports of other layouts are rejected: they only name a place to draw.
void Preview::Begin()
{
    Result result = noErr;
    sequence = DecompressionSequence::Begin(drawn->image, drawnInto,
                                            {.a = double{1} * drawnAt.Width() / drawn->image.width,
                                             .d = double{1} * drawnAt.Height() / drawn->image.height,
                                             .tx = double{1} * drawnAt.left,
                                             .ty = double{1} * drawnAt.top},
                                            result);
}

} // namespace platform
