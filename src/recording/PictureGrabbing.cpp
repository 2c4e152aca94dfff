// SPDX-License-Identifier: MIT
// Still pictures: in data procedure mode a copy of the last decoded frame, otherwise a picture that the grabber takes
// while it is paused.
#include "capture/VelmoraCanvas.h"

#include "framework/Application.h"
#include "platform/grabber/SequenceGrabber.h"

namespace velmora {
namespace {

constexpr int32_t kIgnoreClip = 2;

} // namespace

Reference<Picture> VelmoraCanvas::GrabPicture(int32_t width, int32_t height)
{
    if (UseDataProc)
        return decompGworld ? decompGworld->CopyToPicture() : nullptr;

    const MemoryBlock picture(4);
    MemoryBlock bounds(8);
    const Reference<framework::Application> application(framework::Application::Instance());
    for (int i = 0; i < 10; ++i)
        application->DoEvents(-1);
    bounds.Short(0, Top());
    bounds.Short(2, Left());
    bounds.Short(4, Top() + height);
    bounds.Short(6, Left() + width);
    SGPause(theSGComp, 1);
    platform::SGGrabPict(theSGComp, picture.Pointer(), bounds.Pointer(), 0, kIgnoreClip);
    SGPause(theSGComp, 0);
    return Picture::FromPicHandle(PointerOf(picture.Ptr(0)), 1);
}

} // namespace velmora
