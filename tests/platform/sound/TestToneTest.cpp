// SPDX-License-Identifier: MIT
#include "platform/sound/TestTone.h"

#include "CollectingSink.h"
#include "SampleValues.h"

#include <gtest/gtest.h>

using namespace platform;

namespace {

std::vector<double> Rendered(int64_t startFrame, int64_t frames, const SoundFormat& format)
{
    std::vector<uint8_t> bytes(static_cast<size_t>(frames * format.BytesPerFrame()));
    RenderTestTone(startFrame, format, bytes);
    return SampleValues(bytes, format, static_cast<size_t>(format.channels - 1));
}

TEST(TestTone, BeepsAtEachWholeSecond)
{
    for (const double rate : {8000.0, 11025.0, 44100.0, 48000.0, 44099.5})
        for (const int32_t sampleSize : {8, 16}) {
            SCOPED_TRACE(testing::Message() << rate << " Hz, " << sampleSize << " bits");
            const SoundFormat format{rate, sampleSize / 8, sampleSize};
            // A whole second after a fortnight of uptime, with half a second before it and one behind.
            const int64_t beep = FrameAtOrAfter(int64_t{1'200'000} * 1'000'000'000, rate);
            const auto half = static_cast<size_t>(rate / 2);
            const auto values = Rendered(beep - static_cast<int64_t>(half), static_cast<int64_t>(1.5 * rate), format);
            const auto part = [&](double start, double end) {
                const auto first = half + static_cast<size_t>(start * rate);
                return std::span(values).subspan(first, half + static_cast<size_t>(end * rate) - first);
            };
            EXPECT_EQ(PeakOf(std::span(values).first(half)), 0);
            // In 8 bits the first steps of the sine lie below the smallest value.
            EXPECT_GT(PeakOf(part(0, 0.0002 + 2 / rate)), 0);
            EXPECT_NEAR(FrequencyOf(part(0.01, 0.09), rate), 1000, 1);
            EXPECT_NEAR(PeakOf(part(0.01, 0.09)), 0.2512, sampleSize == 8 ? 0.005 : 0.001);
            EXPECT_EQ(PeakOf(part(0.1 + 2 / rate, 0.99)), 0);
        }
}

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
