// SPDX-License-Identifier: MIT
#include "platform/atoms/AtomContainers.h"

#include <gtest/gtest.h>

using namespace platform;

namespace {

constexpr FourCharCode kDevice = CodeOf("devc");
constexpr FourCharCode kMode = CodeOf("mode");

class AtomContainers : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(QTNewAtomContainer(out.Get()), noErr);
        container = Peek<AtomContainer>(out.Get());
    }
    void TearDown() override { QTDisposeAtomContainer(container); }

    Atom Insert(Atom parent, FourCharCode type, int32_t id = 0, int16_t index = 0)
    {
        EXPECT_EQ(QTInsertChild(container, parent, type, id, index, 0, 0, out.Get()), noErr);
        return Peek<Atom>(out.Get());
    }

    OwnedBlock out{4};
    AtomContainer container = 0;
};

TEST_F(AtomContainers, ChildrenAreFoundByIndexAndId)
{
    const Atom first = Insert(0, kDevice);
    const Atom second = Insert(0, kDevice, 7);
    const Atom front = Insert(0, kDevice, 0, 1);
    EXPECT_EQ(QTFindChildByIndex(container, 0, kDevice, 1, out.Get()), front);
    EXPECT_EQ(Peek<int32_t>(out.Get()), 2);
    EXPECT_EQ(QTFindChildByIndex(container, 0, kDevice, 2, 0), first);
    EXPECT_EQ(QTFindChildByID(container, 0, kDevice, 7, out.Get()), second);
    EXPECT_EQ(Peek<int16_t>(out.Get()), 3);
    for (const int16_t index : {int16_t{-1}, int16_t{0}, int16_t{4}})
        EXPECT_EQ(QTFindChildByIndex(container, 0, kDevice, index, 0), 0) << index;
    EXPECT_EQ(QTFindChildByID(container, 0, kDevice, 8, 0), 0);
}

TEST_F(AtomContainers, DataStaysWithinItsBlock)
{
    const OwnedBlock data(24);
    const Atom atom = Insert(0, kMode);
    EXPECT_EQ(QTSetAtomData(container, atom, 25, data.Get()), paramErr);
    EXPECT_EQ(QTSetAtomData(container, atom, 4, data.Get()), noErr);
    EXPECT_EQ(QTCopyAtomDataToPtr(container, atom, 0, 24, data.Get(), 0), paramErr);
    EXPECT_EQ(QTCopyAtomDataToPtr(container, atom, 1, 3, data.Get(), 0), paramErr);
    EXPECT_EQ(QTInsertChild(container, atom, kMode, 0, 0, 0, 0, 0), notLeafAtomErr);
}

} // namespace
