#include "platform/atoms/UserData.h"
#include "platform/atoms/TaggedItems.h"

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

// Whatever is cut short, changed or too long is refused or read, and a form that was read is written the same again.
TEST(UserData, DamagedFormsDoNoHarm)
{
    TaggedItems items;
    items.AddText(CodeOf("text"), "Some text");
    items.AddNumber(CodeOf("numb"), -5);
    items.AddItems(CodeOf("list"), items);
    const Bytes good = items.Flatten();
    const auto read = TaggedItems::Read(good);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->Number(CodeOf("numb")), -5);
    EXPECT_EQ(read->Text(CodeOf("text")), "Some text");
    EXPECT_EQ(read->Number(CodeOf("text")), std::nullopt);
    for (size_t length = 0; length < good.size(); ++length)
        EXPECT_FALSE(TaggedItems::Read(std::span(good).first(length))) << length;
    Bytes longer = good;
    longer.push_back(0);
    EXPECT_FALSE(TaggedItems::Read(longer));
    for (size_t i = 0; i < good.size(); ++i)
        for (int value = 0; value < 256; ++value) {
            Bytes changed = good;
            changed[i] = static_cast<uint8_t>(value);
            const auto survived = TaggedItems::Read(changed);
            EXPECT_TRUE(!survived || survived->Flatten() == changed) << i;
        }
}
