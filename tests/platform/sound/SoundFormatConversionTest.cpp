#include "platform/sound/SoundFormatConversion.h"

#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <tuple>

using namespace platform;

namespace {

using Bytes = std::vector<uint8_t>;

Bytes PCM16(const std::vector<int>& samples)
{
    const std::vector<int16_t> values(samples.begin(), samples.end());
    Bytes bytes(values.size() * 2);
    std::memcpy(bytes.data(), values.data(), bytes.size());
    return bytes;
}

Bytes Converted(const Bytes& source, int32_t sourceSize, const SoundCoding& coding)
{
    Bytes target(CodedSize(source.size(), sourceSize, coding));
    EXPECT_EQ(ConvertSound(source, sourceSize, coding, target), target.size());
    return target;
}

TEST(SoundFormatConversion, WritesEachCoding)
{
    const Bytes source16 = PCM16({0, 0x1234, -2, 32767, -32768});
    const Bytes source8{128, 0, 255, 129};
    const std::tuple<const char*, int32_t, Bytes, Bytes> cases[] = {
        {"raw ", 8, {128, 0x92, 128, 255, 0}, {128, 0, 255, 129}},
        {"twos", 8, {0, 0x12, 0, 127, 0x80}, {0, 0x80, 127, 1}},
        {"sowt", 16, {0, 0, 0x34, 0x12, 0xFE, 0xFF, 0xFF, 0x7F, 0, 0x80}, {0, 0, 0, 0x80, 0, 0x7F, 0, 1}},
        {"twos", 16, {0, 0, 0x12, 0x34, 0xFF, 0xFE, 0x7F, 0xFF, 0x80, 0}, {0, 0, 0x80, 0, 0x7F, 0, 1, 0}},
        {"ulaw", 8, {0xFF, 0xAD, 0x7F, 0x80, 0x00}, {0xFF, 0x00, 0x80, 0xE7}},
        {"alaw", 8, {0xD5, 0x87, 0x55, 0xAA, 0x2A}, {0xD5, 0x2A, 0xAA, 0xC5}},
    };
    for (const auto& [format, sampleSize, from16, from8] : cases) {
        SCOPED_TRACE(testing::Message() << format << sampleSize);
        const SoundCoding coding{CodeOf(format), sampleSize};
        EXPECT_EQ(Converted(source16, 16, coding), from16);
        EXPECT_EQ(Converted(source8, 8, coding), from8);
    }
}

// What the receiving side of G.711 makes of a code.
int Decoded(uint8_t code, bool isMu)
{
    const int plain = code ^ (isMu ? 0xFF : 0xD5);
    const int segment = plain >> 4 & 7;
    const int step = (plain & 0x0F) * (isMu ? 8 : 16) + (isMu ? 132 : segment == 0 ? 8 : 264);
    const int magnitude = isMu ? (step << segment) - 132 : step << std::max(segment - 1, 0);
    return (plain & 0x80) != 0 ? -magnitude : magnitude;
}

TEST(SoundFormatConversion, CompandingKeepsEverySampleWithinItsStep)
{
    for (int sample = -32768; sample <= 32767; ++sample) {
        const int mu = Decoded(Converted(PCM16({sample}), 16, {CodeOf("ulaw"), 8})[0], true);
        const int a = Decoded(Converted(PCM16({sample}), 16, {CodeOf("alaw"), 8})[0], false);
        // Half of the step: a 32nd of the value (with its bias) and more in the linear segment and at the clipped end.
        ASSERT_LE(std::abs(mu - sample), std::max(4, (std::abs(sample) + 132) / 32 + 1)) << sample;
        ASSERT_LE(std::abs(a - sample), std::max(8, std::abs(sample) / 32 + 1)) << sample;
    }
}

} // namespace
