// SPDX-License-Identifier: MIT
#include "platform/Platform.h"

#include "platform/components/ComponentsEnd.h"
#include "platform/compression/ImageDescription.h"
#include "platform/digitizer/dv/DvDigitizer.h"
#include "platform/drawing/Ports.h"
#include "platform/dv/IsochronousDataHandler.h"
#include "platform/grabber/SequenceGrabber.h"
#include "platform/sound/SoundInput.h"

#include <cstdio>
#include <thread>
#include <unistd.h>

namespace platform {

void StartPlatform()
{
    PrepareDigitizers();
    PrepareSoundSources();
    StartDrawing();
    StartCompression();
    StartSoundInput();
    AddSoundSources({.list = ListDvSoundSources, .open = OpenDvSoundSource});
    StartIsochronousDataHandler();
    StartSequenceGrabber();
}

void EndWithin(std::chrono::milliseconds time, int exitCode)
{
    std::thread([time, exitCode] {
        std::this_thread::sleep_for(time);
        std::fflush(nullptr);
        _exit(exitCode);
    }).detach();
}

void EndPlatform()
{
    CloseAllComponents();
    FinishDeviceCommands();
}

} // namespace platform
