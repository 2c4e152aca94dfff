// SPDX-License-Identifier: MIT
#include "platform/atoms/UserData.h"

#include <gtest/gtest.h>

using namespace platform;

namespace {

using Bytes = std::vector<uint8_t>;

Bytes BytesOfHandle(Handle handle)
{
    const auto bytes = HandleBytes(handle);
    return {bytes.begin(), bytes.end()};
}

} // namespace

TEST(UserData, ItemsGoThereAndBack)
{
    const OwnedBlock cell(4);
    ASSERT_EQ(NewUserData(cell.Get()), noErr);
    const auto data = Peek<UserData>(cell.Get());
    const Handle handle = NewHandle(0);
    for (const Bytes& item : {Bytes{1, 2, 3}, Bytes{}, Bytes{4}}) {
        SetHandleBytes(handle, item);
        EXPECT_EQ(AddUserData(data, handle, item.size() == 1 ? CodeOf("two ") : CodeOf("one ")), noErr);
    }
    EXPECT_EQ(PutUserDataIntoHandle(data, handle), noErr);
    const Bytes flattened = BytesOfHandle(handle);
    EXPECT_EQ(flattened, (Bytes{'V', 'S', 'e', 't', 0,   0,   0,   1, 0, 0, 0, 3,   'o', 'n', 'e', ' ', 0, 0, 0, 3,
                                1,   2,   3,   'o', 'n', 'e', ' ', 0, 0, 0, 0, 't', 'w', 'o', ' ', 0,   0, 0, 1, 4}));
    ASSERT_EQ(NewUserDataFromHandle(handle, cell.Get()), noErr);
    const auto copy = Peek<UserData>(cell.Get());
    EXPECT_EQ(GetUserData(copy, handle, CodeOf("one "), 1), noErr);
    EXPECT_EQ(BytesOfHandle(handle), (Bytes{1, 2, 3}));
    EXPECT_EQ(GetUserData(copy, handle, CodeOf("one "), 2), noErr);
    EXPECT_TRUE(BytesOfHandle(handle).empty());
    for (const auto& [type, index] : {std::pair("one ", 3), std::pair("one ", 0), std::pair("none", 1)})
        EXPECT_EQ(GetUserData(copy, handle, CodeOf(type), index), userDataItemNotFound);
    EXPECT_EQ(DisposeUserData(data), noErr);
    EXPECT_EQ(DisposeUserData(data), paramErr);
    DisposeUserData(copy);
    DisposeHandle(handle);
    EXPECT_EQ(NewUserDataFromHandle(handle, cell.Get()), paramErr);
}
