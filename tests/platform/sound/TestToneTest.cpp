// SPDX-License-Identifier: MIT
#include "platform/sound/TestTone.h"

#include "CollectingSink.h"

#include <algorithm>
#include <gtest/gtest.h>

using namespace platform;

namespace {

TEST(TestTone, DeliversWithoutGapsAndChangesItsFormatBetweenBuffers)
{
    TestTone tone;
    CollectingSink sink;
    ASSERT_EQ(tone.SetFormat({11025, 1, 8}), noErr);
    ASSERT_EQ(tone.Start(sink), noErr);
    sink.WaitFor([](const auto& buffers) { return buffers.size() >= 20; });
    ASSERT_EQ(tone.SetFormat({48000, 2, 16}), noErr);
    sink.WaitFor([](const auto& buffers) {
        return std::ranges::count(buffers, 48000, [](const auto& buffer) { return buffer.format.sampleRate; }) >= 20;
    });
    tone.Stop();
    const auto buffers = sink.WaitFor([](const auto&) { return true; });

    ASSERT_GE(buffers.size(), 40U);
    for (size_t i = 1; i < buffers.size(); ++i) {
        const auto& before = buffers[i - 1];
        const int64_t expected = before.captureTime + TimeOfFrame(before.Frames(), before.format.sampleRate);
        // Only a change of rate moves to the new rate's next frame.
        const double most = before.format == buffers[i].format ? 1 : 1e9 / 48000;
        EXPECT_GE(buffers[i].captureTime, expected - 1);
        EXPECT_LE(static_cast<double>(buffers[i].captureTime - expected), most);

        std::vector<uint8_t> rendered(buffers[i].bytes.size());
        RenderTestTone(FrameAtOrAfter(buffers[i].captureTime, buffers[i].format.sampleRate), buffers[i].format,
                       rendered);
        EXPECT_EQ(buffers[i].bytes, rendered);
    }
}

} // namespace
