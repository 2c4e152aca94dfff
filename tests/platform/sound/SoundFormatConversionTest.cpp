// SPDX-License-Identifier: MIT
#include "platform/sound/SoundFormatConversion.h"
#include "platform/sound/Sample24.h"

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
        {"in24",
         24,
         {0, 0, 0, 0x12, 0x34, 0, 0xFF, 0xFE, 0, 0x7F, 0xFF, 0, 0x80, 0, 0},
         {0, 0, 0, 0x80, 0, 0, 0x7F, 0, 0, 1, 0, 0}},
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

TEST(SoundFormatConversion, KeepsEveryBitOf24)
{
    Bytes source(6);
    PutWideSample24(source.data(), 0x12345600);
    PutWideSample24(source.data() + 3, -0x100);
    EXPECT_EQ(Converted(source, 24, {CodeOf("in24"), 24}), (Bytes{0x12, 0x34, 0x56, 0xFF, 0xFF, 0xFF}));
    EXPECT_EQ(Converted(source, 24, {CodeOf("twos"), 16}), (Bytes{0x12, 0x34, 0xFF, 0xFF}));
}

// A sample of each segment, by the values of another encoder.
TEST(SoundFormatConversion, CompandsEverySegment)
{
    const Bytes source = PCM16({100, -500, 1000, -2000, 4000, -9000, 20000});
    EXPECT_EQ(Converted(source, 16, {CodeOf("ulaw"), 8}), (Bytes{0xF2, 0x5C, 0xCE, 0x3F, 0xAF, 0x1E, 0x8C}));
    EXPECT_EQ(Converted(source, 16, {CodeOf("alaw"), 8}), (Bytes{0xD3, 0x4A, 0xFA, 0x6A, 0x9A, 0x34, 0xA6}));
}

} // namespace
