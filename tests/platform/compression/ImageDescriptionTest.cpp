#include "platform/components/FunctionTable.h"
#include "platform/compression/FrameCompressor.h"
#include "platform/drawing/Ports.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace platform;

namespace {

template <typename T> T At(const std::vector<uint8_t>& record, size_t offset)
{
    T value{};
    std::memcpy(&value, record.data() + offset, sizeof(T));
    return value;
}

} // namespace

TEST(ImageDescription, TheRecordHoldsEveryFieldAtItsPlace)
{
    ImageDescription description;
    description.codec = CodeOf("2vuy");
    description.width = 640;
    description.height = 480;
    description.temporalQuality = 11;
    description.spatialQuality = 700;
    description.rowBytes = 1344;
    description.name = "A name that is longer than one record can hold";
    description.extensions = {0, 0, 0, 9, 'f', 'i', 'e', 'l', 1};
    const auto record = RecordOf(description);
    ASSERT_EQ(record.size(), 86U + 9 + 12);
    EXPECT_EQ(At<int32_t>(record, 0), 107);
    EXPECT_EQ(At<FourCharCode>(record, 4), CodeOf("2vuy"));
    EXPECT_EQ(At<int16_t>(record, 14), 1);
    EXPECT_EQ(At<int32_t>(record, 28), 700);
    EXPECT_EQ(At<int16_t>(record, 32), 640);
    EXPECT_EQ(At<int16_t>(record, 34), 480);
    EXPECT_EQ(At<int32_t>(record, 36), 72 << 16);
    EXPECT_EQ(At<int16_t>(record, 48), 1);
    EXPECT_EQ(record[50], 31);
    EXPECT_EQ(At<int16_t>(record, 82), 24);
    EXPECT_EQ(At<int16_t>(record, 84), -1);

    ImageDescription read;
    ASSERT_TRUE(ReadImageDescription(record, read));
    EXPECT_EQ(read.codec, description.codec);
    EXPECT_EQ(read.temporalQuality, 11);
    EXPECT_EQ(read.rowBytes, 1344);
    EXPECT_EQ(read.name, description.name.substr(0, 31));
    EXPECT_EQ(read.extensions, description.extensions);
    EXPECT_EQ(RecordOf(read), record);
}

TEST(ImageDescription, ImpossibleRecordsAreRefused)
{
    struct Case {
        const char* name;
        size_t offset;
        int16_t value;
        bool accepted;
    };
    ImageDescription description;
    description.codec = CodeOf("jpeg");
    description.width = 640;
    description.height = 480;
    for (const Case& c :
         {Case{"as it is", 32, 640, true}, Case{"no width", 32, 0, false}, Case{"negative height", 34, -480, false},
          Case{"largest", 32, 16384, true}, Case{"too wide", 32, 16385, false}, Case{"size too small", 0, 85, false},
          Case{"size beyond the bytes", 0, 87, false}, Case{"name's length beyond its room", 50, 255, true}}) {
        auto record = RecordOf(description);
        std::memcpy(record.data() + c.offset, &c.value, 2);
        ImageDescription read;
        EXPECT_EQ(ReadImageDescription(record, read), c.accepted) << c.name;
        EXPECT_LE(read.name.size(), 31U) << c.name;
    }
    const auto record = RecordOf(description);
    for (size_t size = 0; size < record.size(); ++size) {
        ImageDescription read;
        EXPECT_FALSE(ReadImageDescription(std::span(record).first(size), read)) << size;
    }
    // Extensions that are no atoms are carried along and harm nothing.
    description.extensions = {0, 0, 0, 200, 'r', 'o', 'w', 'B', 1, 2};
    ImageDescription read;
    ASSERT_TRUE(ReadImageDescription(RecordOf(description), read));
    EXPECT_EQ(read.rowBytes, 0);
    EXPECT_EQ(read.extensions, description.extensions);
}

TEST(ImageDescription, OfAPixelMap)
{
    StartCompression();
    using Call = Result(PixMapReference, Address);
    auto* make = reinterpret_cast<Call*>(FindFunction("QuickTime.framework", "MakeImageDescriptionForPixMap"));
    ASSERT_NE(make, nullptr);
    const PortReference port = NewPort(100, 50);
    const PixMapReference map = GetGWorldPixMap(port);
    const OwnedBlock cell(4);
    EXPECT_EQ(make(map, cell.Get()), paramErr);
    EXPECT_EQ(make(map, 0), paramErr);
    const Handle handle = NewHandleClear(0);
    Poke(cell.Get(), handle);
    EXPECT_EQ(make(map + 1, cell.Get()), paramErr);
    ASSERT_EQ(make(map, cell.Get()), noErr);
    ImageDescription read;
    ASSERT_TRUE(ReadImageDescription(HandleBytes(handle), read));
    EXPECT_EQ(read.width, 100);
    EXPECT_EQ(read.height, 50);
    EXPECT_EQ(read.depth, 32);
    EXPECT_EQ(read.rowBytes, GetPixRowBytes(map));
    DisposeHandle(handle);
    ReleasePort(port);
}
