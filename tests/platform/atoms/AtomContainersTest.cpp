// SPDX-License-Identifier: MIT
#include "platform/atoms/AtomContainers.h"

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

} // namespace
