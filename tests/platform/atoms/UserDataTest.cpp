// SPDX-License-Identifier: MIT
#include "platform/atoms/UserData.h"

#include <algorithm>
#include <gtest/gtest.h>

using namespace platform;

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
