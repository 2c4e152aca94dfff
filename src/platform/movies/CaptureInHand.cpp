// SPDX-License-Identifier: MIT
#include "platform/movies/CaptureInHand.h"

namespace platform {
namespace {

CaptureInHand* newest = nullptr;

} // namespace

CaptureInHand::CaptureInHand(FourCharCode type, int64_t time) : outer(newest), mediaType(type), captureTime(time)
{
    newest = this;
}

CaptureInHand::~CaptureInHand()
{
    newest = outer;
}

CaptureInHand* CaptureInHand::Newest(FourCharCode type)
{
    CaptureInHand* buffer = newest;
    while (buffer != nullptr && buffer->mediaType != type)
        buffer = buffer->outer;
    return buffer;
}

std::optional<int64_t> CaptureInHand::TimeOf(FourCharCode type)
{
    const CaptureInHand* buffer = Newest(type);
    return buffer != nullptr ? std::optional(buffer->captureTime) : std::nullopt;
}

void CaptureInHand::NoteAdded(FourCharCode type, Media media)
{
    if (CaptureInHand* buffer = Newest(type))
        buffer->media = media;
}

} // namespace platform
