// SPDX-License-Identifier: MIT
#include "TestSession.h"

#include "platform/sound/SoundInput.h"

#include <cmath>

using namespace grabbertest;

// What a source can't do is refused with a code, and changes nothing.
TEST_F(GrabberTest, SoundParametersOutOfRange)
{
    sound = NewChannel(kSoundMediaType);
    const TestMicrophone& microphone = *devices.Microphone();
    const SoundFormat format = microphone.format;
    for (const double gain : {std::nan(""), 1e9, -0.5, 4.1}) {
        Poke(cell.Get(), X2Fix(gain));
        EXPECT_EQ(SPBSetDeviceInfo(SGGetSoundInputDriver(sound), CodeOf("gain"), cell.Get()), paramErr) << gain;
    }
    for (const int32_t rate : {0, -1, 7999 << 16})
        EXPECT_EQ(SGSetSoundInputRate(sound, rate), siInvalidSampleRate) << rate;
    EXPECT_EQ(SGSetSoundInputParameters(sound, 12, 2, CodeOf("raw ")), siInvalidSampleSize);
    EXPECT_EQ(SGSetSoundInputParameters(sound, 16, 3, CodeOf("raw ")), siBadSoundInDevice);
    EXPECT_EQ(SGSetSoundInputParameters(sound, 16, 2, CodeOf("MAC3")), siInvalidCompression);
    EXPECT_EQ(microphone.gain, 1);
    EXPECT_EQ(microphone.format, format);
}
