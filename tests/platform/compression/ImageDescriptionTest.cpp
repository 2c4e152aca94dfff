// SPDX-License-Identifier: MIT
#include "platform/compression/FrameCompressor.h"

#include <gtest/gtest.h>

#include <cstring>
#include <tuple>

using namespace platform;

namespace {

ImageDescription Described()
{
    ImageDescription description;
    description.codec = CodeOf("2vuy");
    description.width = 640;
    description.height = 480;
    description.spatialQuality = 700;
    description.rowBytes = 1344;
    description.name = "A name that is longer than one record can hold";
    return description;
}

} // namespace

TEST(ImageDescription, TheRecordHoldsEveryFieldAtItsPlace)
{
    const ImageDescription description = Described();
    const auto record = RecordOf(description);
    ASSERT_EQ(record.size(), 86U + 12);
    // Kind, spatial quality, width and height, and depth, each at its place.
    for (const auto& [at, bytes] :
         {std::pair(4, "yuv2"), {28, "\xBC\x02\0\0"}, {32, "\x80\x02\xE0\x01"}, {82, "\x18\0\xFF\xFF"}})
        EXPECT_EQ(std::memcmp(record.data() + at, bytes, 4), 0) << at;
    ImageDescription read;
    ASSERT_TRUE(ReadImageDescription(record, read));
    EXPECT_EQ(read.name, description.name.substr(0, 31));
    EXPECT_EQ(RecordOf(read), record);
}

TEST(ImageDescription, ImpossibleRecordsAreRefused)
{
    const ImageDescription description = Described();
    for (const auto& [name, offset, value, accepted] : {std::tuple("largest", 32, 16384, true),
                                                        {"too wide", 32, 16385, false},
                                                        {"no width", 32, 0, false},
                                                        {"negative height", 34, -480, false},
                                                        {"size too small", 0, 85, false},
                                                        {"size beyond the bytes", 0, 255, false},
                                                        {"name's length beyond its room", 50, 255, true}}) {
        auto record = RecordOf(description);
        std::memcpy(record.data() + offset, &value, 2);
        ImageDescription read;
        EXPECT_EQ(ReadImageDescription(record, read), accepted) << name;
        EXPECT_LE(read.name.size(), 31U) << name;
    }
    const auto record = RecordOf(description);
    for (size_t size = 0; size < record.size(); ++size) {
        ImageDescription read;
        EXPECT_FALSE(ReadImageDescription(std::span(record).first(size), read)) << size;
    }
}
