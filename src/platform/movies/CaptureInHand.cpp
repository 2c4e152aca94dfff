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

std::optional<int64_t> CaptureInHand::TimeOf(FourCharCode type)
{
    for (const CaptureInHand* buffer = newest; buffer != nullptr; buffer = buffer->outer)
        if (buffer->mediaType == type)
            return buffer->captureTime;
    return {};
}

} // namespace platform
