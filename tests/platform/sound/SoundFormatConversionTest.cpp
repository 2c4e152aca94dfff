// SPDX-License-Identifier: MIT
#include "platform/sound/SoundFormatConversion.h"
#include "platform/sound/Sample24.h"

#include <cstring>
#include <gtest/gtest.h>

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

TEST(SoundFormatConversion, WritesEachCoding)
{
    const Bytes source16 = PCM16({0, 0x1234, -2, 32767, -32768});
    const Bytes source8{128, 0, 255, 129};
    Bytes source24(6);
    PutWideSample24(source24.data(), 0x12345600);
    PutWideSample24(source24.data() + 3, -0x100);
    const Bytes segments = PCM16({100, -500, 1000, -2000, 4000, -9000, 20000}); // a sample of each
    const struct {
        const Bytes& source;
        int32_t sourceSize;
        const char* format;
        int32_t size;
        Bytes expected; ///< of the companded ones: by another encoder
    } cases[] = {
        {source16, 16, "raw ", 8, {128, 0x92, 128, 255, 0}},
        {source16, 16, "twos", 8, {0, 0x12, 0, 127, 0x80}},
        {source16, 16, "sowt", 16, {0, 0, 0x34, 0x12, 0xFE, 0xFF, 0xFF, 0x7F, 0, 0x80}},
        {source16, 16, "twos", 16, {0, 0, 0x12, 0x34, 0xFF, 0xFE, 0x7F, 0xFF, 0x80, 0}},
        {source16, 16, "in24", 24, {0, 0, 0, 0x12, 0x34, 0, 0xFF, 0xFE, 0, 0x7F, 0xFF, 0, 0x80, 0, 0}},
        {source16, 16, "ulaw", 8, {0xFF, 0xAD, 0x7F, 0x80, 0x00}},
        {source16, 16, "alaw", 8, {0xD5, 0x87, 0x55, 0xAA, 0x2A}},
        {source8, 8, "raw ", 8, {128, 0, 255, 129}},
        {source8, 8, "twos", 8, {0, 0x80, 127, 1}},
        {source8, 8, "sowt", 16, {0, 0, 0, 0x80, 0, 0x7F, 0, 1}},
        {source8, 8, "twos", 16, {0, 0, 0x80, 0, 0x7F, 0, 1, 0}},
        {source8, 8, "in24", 24, {0, 0, 0, 0x80, 0, 0, 0x7F, 0, 0, 1, 0, 0}},
        {source8, 8, "ulaw", 8, {0xFF, 0x00, 0x80, 0xE7}},
        {source8, 8, "alaw", 8, {0xD5, 0x2A, 0xAA, 0xC5}},
        {source24, 24, "in24", 24, {0x12, 0x34, 0x56, 0xFF, 0xFF, 0xFF}},
        {source24, 24, "twos", 16, {0x12, 0x34, 0xFF, 0xFF}},
        {segments, 16, "ulaw", 8, {0xF2, 0x5C, 0xCE, 0x3F, 0xAF, 0x1E, 0x8C}},
        {segments, 16, "alaw", 8, {0xD3, 0x4A, 0xFA, 0x6A, 0x9A, 0x34, 0xA6}},
    };
    for (const auto& [source, sourceSize, format, size, expected] : cases) {
        SCOPED_TRACE(testing::Message() << format << size << " from " << sourceSize);
        const SoundCoding coding{CodeOf(format), size};
        Bytes target(CodedSize(source.size(), sourceSize, coding));
        EXPECT_EQ(ConvertSound(source, sourceSize, coding, target), target.size());
        EXPECT_EQ(target, expected);
    }
}

} // namespace
