// SPDX-License-Identifier: MIT
#include "platform/compression/ImageDescription.h"
#include "platform/drawing/Ports.h"
#include "platform/grabber/SequenceGrabber.h"
#include "platform/sound/SoundInput.h"

#include <QApplication>
#include <gtest/gtest.h>

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    const QApplication application(argc, argv);
    platform::StartDrawing();
    platform::StartCompression();
    platform::StartSoundInput();
    platform::StartSequenceGrabber();
    return RUN_ALL_TESTS();
}
