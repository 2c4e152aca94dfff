#include "platform/sound/SoundFormatConversion.h"

#include <cmath>
#include <cstring>
#include <gtest/gtest.h>

using namespace platform;

namespace {

using Bytes = std::vector<uint8_t>;

Bytes PCM16(const std::vector<int>& samples)
{
    Bytes bytes;
    for (const int sample : samples) {
        const auto value = static_cast<int16_t>(sample);
        bytes.resize(bytes.size() + 2);
        std::memcpy(bytes.data() + bytes.size() - 2, &value, 2);
    }
    return bytes;
}

Bytes Converted(const Bytes& source, int32_t sourceSize, const SoundCoding& coding)
{
    Bytes target(CodedSize(source.size(), sourceSize, coding));
    EXPECT_EQ(ConvertSound(source, sourceSize, coding, target), target.size());
    return target;
}

TEST(SoundFormatConversion, FindsWhatIsDelivered)
{
    struct Case {
        const char* asked;
        int32_t size;
        Result result;
        const char* format;
        int32_t sampleSize;
        int32_t sourceSize;
    };
    const Case cases[] = {
        {"raw ", 8, noErr, "raw ", 8, 8},
        {"raw ", 16, noErr, "sowt", 16, 16},
        {"twos", 8, noErr, "twos", 8, 8},
        {"twos", 16, noErr, "twos", 16, 16},
        {"sowt", 16, noErr, "sowt", 16, 16},
        {"ulaw", 16, noErr, "ulaw", 8, 16},
        {"alaw", 8, noErr, "alaw", 8, 16},
        {"MAC3", 16, siInvalidCompression, "twos", 8, 8},
        {"raw ", 24, siInvalidSampleSize, "twos", 8, 8},
        {"ulaw", 0, siInvalidSampleSize, "twos", 8, 8},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(testing::Message() << each.asked << each.size);
        SoundCoding coding{CodeOf("twos"), 8};
        EXPECT_EQ(FindSoundCoding(CodeOf(each.asked), each.size, coding), each.result);
        EXPECT_EQ(coding, (SoundCoding{CodeOf(each.format), each.sampleSize}));
        EXPECT_EQ(SourceSampleSize(coding), each.sourceSize);
    }
}

TEST(SoundFormatConversion, WritesEachCoding)
{
    struct Case {
        const char* format;
        int32_t sampleSize;
        Bytes from16, from8;
    };
    const Bytes source16 = PCM16({0, 0x1234, -2, 32767, -32768});
    const Bytes source8{128, 0, 255, 129};
    const Case cases[] = {
        {"raw ", 8, {128, 0x92, 128, 255, 0}, {128, 0, 255, 129}},
        {"twos", 8, {0, 0x12, 0, 127, 0x80}, {0, 0x80, 127, 1}},
        {"sowt", 8, {0, 0x12, 0, 127, 0x80}, {0, 0x80, 127, 1}},
        {"sowt", 16, {0, 0, 0x34, 0x12, 0xFE, 0xFF, 0xFF, 0x7F, 0, 0x80}, {0, 0, 0, 0x80, 0, 0x7F, 0, 1}},
        {"twos", 16, {0, 0, 0x12, 0x34, 0xFF, 0xFE, 0x7F, 0xFF, 0x80, 0}, {0, 0, 0x80, 0, 0x7F, 0, 1, 0}},
        {"ulaw", 8, {0xFF, 0xAD, 0x7F, 0x80, 0x00}, {0xFF, 0x00, 0x80, 0xE7}},
        {"alaw", 8, {0xD5, 0x87, 0x55, 0xAA, 0x2A}, {0xD5, 0x2A, 0xAA, 0xC5}},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(testing::Message() << each.format << each.sampleSize);
        const SoundCoding coding{CodeOf(each.format), each.sampleSize};
        EXPECT_EQ(Converted(source16, 16, coding), each.from16);
        EXPECT_EQ(Converted(source8, 8, coding), each.from8);
    }
}

TEST(SoundFormatConversion, StopsAtWholeSamplesAndAtTheTargetsEnd)
{
    const Bytes source = PCM16({1, 2, 3});
    const SoundCoding coding{CodeOf("sowt"), 16};
    Bytes target(6, 0xEE);
    EXPECT_EQ(ConvertSound(std::span(source).first(5), 16, coding, target), 4U);
    EXPECT_EQ(ConvertSound(source, 16, coding, std::span(target).first(3)), 2U);
    EXPECT_EQ(target, (Bytes{1, 0, 2, 0, 0xEE, 0xEE}));
    EXPECT_EQ(ConvertSound({}, 16, coding, target), 0U);
}

// What the receiving side of G.711 makes of a code.
int MuLawValue(uint8_t code)
{
    const int inverted = ~code & 0xFF;
    const int magnitude = ((((inverted & 0x0F) << 3) + 132) << (inverted >> 4 & 7)) - 132;
    return (inverted & 0x80) != 0 ? -magnitude : magnitude;
}

int ALawValue(uint8_t code)
{
    const int plain = code ^ 0x55;
    const int segment = plain >> 4 & 7;
    const int step = (plain & 0x0F) * 16 + (segment == 0 ? 8 : 264);
    const int magnitude = segment == 0 ? step : step << (segment - 1);
    return (plain & 0x80) != 0 ? magnitude : -magnitude;
}

TEST(SoundFormatConversion, CompandingKeepsEverySampleWithinItsStep)
{
    for (int sample = -32768; sample <= 32767; ++sample) {
        const Bytes source = PCM16({sample});
        const int mu = MuLawValue(Converted(source, 16, {CodeOf("ulaw"), 8})[0]);
        const int a = ALawValue(Converted(source, 16, {CodeOf("alaw"), 8})[0]);
        // Half of the step: a 32nd of the value (with its bias) and more in the linear segment and at the clipped end.
        ASSERT_LE(std::abs(mu - sample), std::max(4, (std::abs(sample) + 132) / 32 + 1)) << sample;
        ASSERT_LE(std::abs(a - sample), std::max(8, std::abs(sample) / 32 + 1)) << sample;
    }
}

TEST(SoundFormatConversion, DescribesItselfInHostByteOrder)
{
    const auto record = DescribeSound({CodeOf("ulaw"), 8}, 44100, 2);
    const auto at = [&record]<typename T>(size_t offset, T value) {
        std::memcpy(&value, record.data() + offset, sizeof value);
        return value;
    };
    EXPECT_EQ(at(0, int32_t{}), 36);
    EXPECT_EQ(at(4, FourCharCode{}), CodeOf("ulaw"));
    EXPECT_EQ(at(14, int16_t{}), 1);
    EXPECT_EQ(at(16, int32_t{}), 0);
    EXPECT_EQ(at(24, int16_t{}), 2);
    EXPECT_EQ(at(26, int16_t{}), 8);
    EXPECT_EQ(at(28, int32_t{}), 0);
    EXPECT_EQ(at(32, uint32_t{}), 44100U << 16);
}

} // namespace
