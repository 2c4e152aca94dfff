// SPDX-License-Identifier: MIT
#include "platform/atoms/AtomContainers.h"
#include "platform/atoms/UserData.h"

#include <gtest/gtest.h>

using namespace platform;

namespace {

constexpr FourCharCode kMode = CodeOf("mode");

TEST(AtomContainers, DataStaysWithinItsBlock)
{
    const OwnedBlock out(4);
    ASSERT_EQ(QTNewAtomContainer(out.Get()), noErr);
    const auto container = Peek<AtomContainer>(out.Get());
    ASSERT_EQ(QTInsertChild(container, 0, kMode, 0, 0, 0, 0, out.Get()), noErr);
    const Atom atom = Peek<Atom>(out.Get());
    const OwnedBlock data(24);
    EXPECT_EQ(QTSetAtomData(container, atom, 25, data.Get()), paramErr);
    EXPECT_EQ(QTSetAtomData(container, atom, 4, data.Get()), noErr);
    EXPECT_EQ(QTCopyAtomDataToPtr(container, atom, 0, 24, data.Get(), 0), paramErr);
    EXPECT_EQ(QTCopyAtomDataToPtr(container, atom, 1, 3, data.Get(), 0), paramErr);
    EXPECT_EQ(QTInsertChild(container, atom, kMode, 0, 0, 0, 0, 0), notLeafAtomErr);
    for (const int16_t index : {int16_t{-1}, int16_t{0}, int16_t{2}})
        EXPECT_EQ(QTFindChildByIndex(container, 0, kMode, index, 0), 0) << index;
    EXPECT_EQ(QTFindChildByID(container, 0, kMode, 8, 0), 0);
    QTDisposeAtomContainer(container);
    EXPECT_EQ(QTFindChildByIndex(container, 0, kMode, 1, 0), 0);
}

// The flattened form is that of the settings files, which another version of the program may have written.
TEST(UserData, KeepsItsFormInFiles)
{
    const std::vector<uint8_t> file{'V', 'S', 'e', 't', 0, 0, 0, 1,   0,   0,   0,   2, 'o', 'n', 'e', ' ',
                                    0,   0,   0,   3,   1, 2, 3, 't', 'w', 'o', ' ', 0, 0,   0,   1,   4};
    const OwnedBlock cell(4);
    const Handle handle = NewHandle(0);
    SetHandleBytes(handle, file);
    ASSERT_EQ(NewUserDataFromHandle(handle, cell.Get()), noErr);
    const auto data = Peek<UserData>(cell.Get());
    EXPECT_EQ(GetUserData(data, handle, CodeOf("one "), 1), noErr);
    EXPECT_TRUE(std::ranges::equal(HandleBytes(handle), std::vector{1, 2, 3}));
    EXPECT_EQ(GetUserData(data, handle, CodeOf("one "), 2), userDataItemNotFound);
    EXPECT_EQ(PutUserDataIntoHandle(data, handle), noErr);
    EXPECT_TRUE(std::ranges::equal(HandleBytes(handle), file));
    EXPECT_EQ(DisposeUserData(data), noErr);
    EXPECT_EQ(DisposeUserData(data), paramErr);
    DisposeHandle(handle);
}

} // namespace
