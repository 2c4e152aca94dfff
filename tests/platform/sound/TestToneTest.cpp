#include "platform/sound/TestTone.h"

#include "CollectingSink.h"
#include "SampleValues.h"
#include "support/BeepOnsets.h"

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
    for (const double rate : {8000.0, 11025.0, 22050.0, 44100.0, 48000.0, 44099.5})
        for (const int32_t sampleSize : {8, 16}) {
            SCOPED_TRACE(testing::Message() << rate << " Hz, " << sampleSize << " bits");
            const SoundFormat format{rate, sampleSize / 8, sampleSize};
            // Two and a half seconds from half a second before a whole one, after a fortnight of uptime.
            constexpr int64_t second = 1'200'000;
            const int64_t start = FrameAtOrAfter(second * 1'000'000'000 - 500'000'000, rate);
            const auto values = Rendered(start, static_cast<int64_t>(2.5 * rate), format);
            std::vector<int16_t> samples(values.size());
            std::ranges::transform(values, samples.begin(), [](double value) { return value * 32767; });
            const auto onsets = FindBeepOnsets(samples, rate);
            const double sinceStart = static_cast<double>(second * 1'000'000'000 - TimeOfFrame(start, rate)) / 1e9;
            ASSERT_EQ(onsets.size(), 2U);
            for (size_t i = 0; i < 2; ++i) {
                // In 8 bits the first steps of the sine lie below the smallest value.
                EXPECT_GE(onsets[i], sinceStart + static_cast<double>(i) - 1e-6);
                EXPECT_LE(onsets[i], sinceStart + static_cast<double>(i) + 0.0002 + 1 / rate);
            }

            const auto beep = std::span(values).subspan(static_cast<size_t>((sinceStart + 0.01) * rate),
                                                        static_cast<size_t>(0.08 * rate));
            EXPECT_NEAR(FrequencyOf(beep, rate), 1000, 1);
            EXPECT_NEAR(PeakOf(beep), 0.2512, sampleSize == 8 ? 0.005 : 0.001);
            const auto behind = std::span(values).subspan(static_cast<size_t>((sinceStart + 0.1) * rate) + 1,
                                                          static_cast<size_t>(0.89 * rate));
            EXPECT_EQ(PeakOf(behind), 0);
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
