#include "corefoundation/CFString.h"
#include "corefoundation/CFTypeRefException.h"
#include "corefoundation/CoreFoundation.h"
#include "platform/corefoundation/CoreFoundation.h"

#include <gtest/gtest.h>

using framework::New;
using framework::Reference;
using framework::String;
using velmora::CFString;
using velmora::CFType;
using velmora::CFTypeRefException;

namespace {

int32_t Created(const std::string& text)
{
    const platform::OwnedBlock block(static_cast<int64_t>(text.size()) + 1);
    std::ranges::copy(text, block.Bytes().begin());
    return platform::CFStringCreateWithCString(0, block.Get(), platform::kCFStringEncodingUTF8);
}

// The three names that an exception carries.
template <typename Action> std::string NamesRaisedBy(Action action)
{
    try {
        action();
    } catch (const CFTypeRefException& exception) {
        return exception.ClassName().Bytes() + "." + exception.MethodName().Bytes() + "." +
               exception.FunctionName().Bytes();
    }
    return "nothing";
}

TEST(CFString, CarriesATextThereAndBack)
{
    const std::string texts[] = {"",
                                 "plain",
                                 "with \"quotes\", blanks \\ and a slash/",
                                 "\u00FCmlaut \u8A9E",
                                 "\U0001F600 outside of the basic plane",
                                 std::string(5000, 'x')};
    for (const std::string& text : texts) {
        const CFString string{String(text)};
        EXPECT_EQ(platform::TextOfCFString(string), text);
        const String back = string;
        EXPECT_EQ(back.Bytes(), text);
        EXPECT_EQ(back.Encoding(), framework::kEncodingUTF8);
        EXPECT_EQ(string.RefCount(), 1);
    }
    const String latin = CFString(String("\xFC", platform::kCFStringEncodingISOLatin1));
    EXPECT_EQ(latin.Bytes(), "\u00FC");
    const String cut = CFString(String(std::string("ab\0cd", 5)));
    EXPECT_EQ(cut.Bytes(), "ab") << "the platform's form of a text ends at a zero byte";
}

TEST(CFType, HoldsOneRetainForItsLife)
{
    const int32_t ref = Created("shared");
    {
        const CFType object(ref);
        EXPECT_EQ(static_cast<int32_t>(object), ref);
        EXPECT_EQ(platform::CFGetRetainCount(ref), 2);
        EXPECT_EQ(object.RefCount(), 2);
    }
    EXPECT_EQ(platform::CFGetRetainCount(ref), 1);
    velmora::CoreFoundation::Release(ref);
    EXPECT_EQ(platform::CFGetRetainCount(ref), 0);
    velmora::CoreFoundation::Release(0);
}

TEST(CFType, NeverHoldsANullReference)
{
    const int32_t dead = Created("dead");
    platform::CFRelease(dead);
    EXPECT_EQ(NamesRaisedBy([] { const CFType object(0); }), "CFType.Constructor.CFRetain");
    EXPECT_EQ(NamesRaisedBy([&] { const CFType object(dead); }), "CFType.Constructor.CFRetain");
    EXPECT_EQ(NamesRaisedBy([] { const CFString object(0); }), "CFType.Constructor.CFRetain");
    const std::string failed = "CFString.Constructor.CFStringCreateWithCString";
    EXPECT_EQ(NamesRaisedBy([] { const CFString object(String("abc", framework::kEncodingNone)); }), failed);
    EXPECT_EQ(NamesRaisedBy([] { const CFString object(String("\xFF\xFE")); }), failed);
    EXPECT_EQ(NamesRaisedBy([] { velmora::CoreFoundation::CheckCFTypeRef(0, "a", "b", "c"); }), "a.b.c");
    EXPECT_EQ(NamesRaisedBy([] { velmora::CoreFoundation::CheckCFTypeRef(-1, "a", "b", "c"); }), "nothing");
}

TEST(CFType, ComparesAndDescribes)
{
    const auto a = New<CFString>(String("same"));
    const auto b = New<CFString>(String("same"));
    const auto c = New<CFString>(String("other"));
    EXPECT_TRUE(a->Equals(b));
    EXPECT_FALSE(a->Equals(c));
    EXPECT_THROW(a->Equals(nullptr), framework::NilObjectException);
    EXPECT_EQ(a->Hash(), b->Hash());
    EXPECT_EQ(a->TypeID(), c->TypeID());
    EXPECT_NE(a->TypeID(), 0);

    const auto description = c->Description();
    EXPECT_NE(String(*description).Bytes().find("other"), std::string::npos);
    EXPECT_EQ(description->RefCount(), 1);
    EXPECT_EQ(String(*c->TypeDescription()).Bytes(), "") << "a reference is no type";

    testing::internal::CaptureStderr();
    c->Show();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), String(*description).Bytes() + "\n");
}

} // namespace
