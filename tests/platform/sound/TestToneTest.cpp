// SPDX-License-Identifier: MIT
#include "platform/sound/TestTone.h"

#include "CollectingSink.h"

#include <gtest/gtest.h>

// A movie that begins right after the change must not begin with sound in the old format.
TEST(TestTone, DeliversNothingInTheOldFormatAfterAChange)
{
    CollectingSink sink;
    platform::TestTone tone;
    tone.Start(sink);
    for (int i = 0; i < 20; ++i) {
        const platform::SoundFormat format{i % 2 == 0 ? 8000.0 : 44100.0, 1 + i / 2 % 2, 16};
        tone.SetFormat(format);
        sink.Clear();
        const auto buffers = sink.WaitFor([](const auto& seen) { return seen.size() >= 3; });
        ASSERT_GE(buffers.size(), 3U);
        for (const auto& buffer : buffers)
            ASSERT_EQ(buffer.format, format) << i;
    }
}
