#include "platform/components/Components.h"
#include "platform/memory/Handles.h"

#include <gtest/gtest.h>

using namespace platform;

namespace {

struct Device : ComponentObject {
    explicit Device(int& alive) : alive(++alive) {}
    ~Device() override { --alive; }
    int& alive;
};

struct OtherDevice : ComponentObject {};

} // namespace

TEST(Components, FindOpenDescribeAndClose)
{
    int alive = 0;
    const auto open = [&alive] { return std::make_shared<Device>(alive); };
    const Component first = RegisterComponent({.type = CodeOf("tst1"), .subtype = CodeOf("aaaa")}, "First", open);
    const Component second = RegisterComponent({.type = CodeOf("tst1"), .subtype = CodeOf("bbbb")}, "Second", open);
    const Component closed =
        RegisterComponent({.type = CodeOf("tst2")}, "Can't be opened", [] { return std::shared_ptr<Device>(); });

    const OwnedBlock description(20);
    Poke<FourCharCode>(description.Get(), CodeOf("tst1"));
    EXPECT_EQ(FindNextComponent(0, description.Get()), first);
    EXPECT_EQ(FindNextComponent(first, description.Get()), second);
    EXPECT_EQ(FindNextComponent(second, description.Get()), 0);
    Poke<FourCharCode>(description.Get() + 4, CodeOf("bbbb"));
    EXPECT_EQ(FindNextComponent(0, description.Get()), second);

    const OwnedBlock instance(4);
    EXPECT_EQ(OpenAComponent(second, instance.Get()), noErr);
    const auto opened = Peek<ComponentInstance>(instance.Get());
    EXPECT_EQ(alive, 1);
    EXPECT_TRUE(FindInstance<Device>(opened));
    EXPECT_FALSE(FindInstance<OtherDevice>(opened));

    const Handle name = NewHandle(0);
    EXPECT_EQ(GetComponentInfo(opened, description.Get(), name, 0, 0), noErr);
    EXPECT_EQ(Peek<FourCharCode>(description.Get() + 4), CodeOf("bbbb"));
    EXPECT_EQ(HandleBytes(name)[0], 6);
    DisposeHandle(name);

    EXPECT_EQ(CloseComponent(opened), noErr);
    EXPECT_EQ(alive, 0);
    EXPECT_EQ(CloseComponent(opened), badComponentInstance);
    EXPECT_EQ(OpenAComponent(999, instance.Get()), invalidComponentID);
    EXPECT_EQ(OpenDefaultComponent(CodeOf("tst2"), 0), 0);
    for (const Component component : {first, second, closed})
        UnregisterComponent(component);
    EXPECT_EQ(OpenDefaultComponent(CodeOf("tst1"), 0), 0);
}
