#include "platform/Platform.h"

#include "platform/compression/ImageDescription.h"
#include "platform/digitizer/dv/DvDigitizer.h"
#include "platform/drawing/Ports.h"
#include "platform/dv/IsochronousDataHandler.h"
#include "platform/grabber/SequenceGrabber.h"
#include "platform/sound/SoundInput.h"

namespace platform {

void StartPlatform()
{
    StartDrawing();
    StartCompression();
    StartSoundInput();
    AddSoundSources({.list = ListDvSoundSources, .open = OpenDvSoundSource});
    StartIsochronousDataHandler();
    StartSequenceGrabber();
}

} // namespace platform
