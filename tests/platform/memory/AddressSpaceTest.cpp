// SPDX-License-Identifier: MIT
#include "platform/memory/AddressSpace.h"
#include "platform/memory/Handles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <memory>
#include <random>
#include <thread>
#include <vector>

using namespace platform;

TEST(AddressSpace, BlocksAreZeroedAlignedAndBounded)
{
    for (const int64_t size : {0, 1, 64, 65, 600'000, 33'177'600}) {
        const OwnedBlock block(size);
        ASSERT_GT(block.Get(), 0) << size;
        EXPECT_EQ(block.Get() % 64, 0) << size;
        EXPECT_EQ(BlockSize(block.Get()), size);
        EXPECT_TRUE(std::ranges::all_of(block.Bytes(), [](uint8_t byte) { return byte == 0; })) << size;
        EXPECT_TRUE(BytesAt(block.Get(), size + 1).empty()) << size;
        EXPECT_EQ(BytesFrom(static_cast<Address>(block.Get() + size)), 0) << size;
        std::ranges::fill(block.Bytes(), uint8_t{0xAA});
    }
    // A reused block is zeroed again.
    EXPECT_EQ(Peek<uint64_t>(OwnedBlock(4096).Get()), 0U);
}

TEST(AddressSpace, RefusesWhatItCannotHold)
{
    EXPECT_EQ(AllocateBlock(-1), 0);
    EXPECT_EQ(AllocateBlock(int64_t{1} << 31), 0);
    EXPECT_TRUE(BytesAt(0, 1).empty());
    EXPECT_TRUE(BytesAt(12345, 1).empty());
    int outside = 0;
    EXPECT_EQ(AddressOf(&outside), 0);
    FreeBlock(77);
    const OwnedBlock block(100);
    EXPECT_EQ(AddressOf(PointerAt(block.Get() + 40)), block.Get() + 40);
    EXPECT_TRUE(Poke<int32_t>(block.Get() + 96, -5));
    EXPECT_FALSE(Poke<int32_t>(block.Get() + 97, 1));
    EXPECT_EQ(Peek<int32_t>(block.Get() + 96), -5);
    EXPECT_EQ(Peek<int32_t>(block.Get() + 97), 0);
}

#if defined(__SANITIZE_ADDRESS__)
TEST(AddressSpaceDeathTest, ACheckedBuildCatchesAReadPastTheEnd)
{
    const OwnedBlock block(100);
    volatile const uint8_t* bytes = PointerAt<uint8_t>(block.Get());
    EXPECT_DEATH(static_cast<void>(bytes[100]), "AddressSanitizer");
    const Address freed = block.Get();
    FreeBlock(freed);
    EXPECT_DEATH(static_cast<void>(bytes[0]), "AddressSanitizer");
}
#endif

// Blocks of random sizes keep their content while others are allocated and freed, on several threads.
TEST(AddressSpace, BlocksNeverOverlap)
{
    const int64_t before = BytesInUse();
    const auto work = [](unsigned seed) {
        std::mt19937 random(seed);
        std::vector<OwnedBlock> blocks(64);
        for (int round = 0; round < 4000; ++round) {
            auto& block = blocks[random() % blocks.size()];
            const auto bytes = block.Bytes();
            ASSERT_TRUE(std::ranges::all_of(bytes, [&](uint8_t byte) { return byte == bytes.front(); }));
            block = OwnedBlock(static_cast<int64_t>(random() % 5000));
            std::ranges::fill(block.Bytes(), static_cast<uint8_t>(random()));
        }
    };
    std::thread other(work, 1);
    work(2);
    other.join();
    EXPECT_EQ(BytesInUse(), before);
}

// What fills a block may own other blocks, which are freed together with it, unless it has run.
TEST(AddressSpace, ABlockThatWasNotReadFreesWhatWouldHaveFilledIt)
{
    const int64_t before = BytesInUse();
    int filled = 0;
    for (const int readers : {0, 2}) {
        const OwnedBlock block(16);
        for (int i = 0; i < 2; ++i)
            FillWhenRead(block.Get(), [&filled, owned = std::make_shared<OwnedBlock>(1000)] { ++filled; });
        EXPECT_EQ(BytesInUse() - before, 1016);
        for (int i = 0; i < readers; ++i)
            EXPECT_EQ(BytesFrom(block.Get()), 16);
    }
    EXPECT_EQ(BytesInUse(), before);
    EXPECT_EQ(filled, 1);
}

TEST(Handles, KeepTheirContentWhileTheyGrowAndForgetItAtTheEnd)
{
    const Handle handle = NewHandle(0);
    SetHandleBytes(handle, std::array<uint8_t, 3>{1, 2, 3});
    EXPECT_EQ(SetHandleSize(handle, 100'000), noErr);
    EXPECT_EQ(HandleBytes(handle)[2], 3);
    EXPECT_EQ(HandleBytes(handle)[3], 0);
    DisposeHandle(handle);
    EXPECT_EQ(SetHandleSize(handle, 5), nilHandleErr);
    EXPECT_TRUE(HandleBytes(handle).empty());
    DisposeHandle(handle);
}
