#include "corefoundation/CFString.h"
#include "corefoundation/CFTypeRefException.h"
#include "corefoundation/CoreFoundation.h"
#include "platform/corefoundation/CoreFoundation.h"

#include <gtest/gtest.h>

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
    for (const std::string& text : {std::string(), std::string("\u00FC \u8A9E \U0001F600"), std::string(5000, 'x')}) {
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

TEST(CFType, NeverHoldsANullReference)
{
    const int32_t dead = Created("dead");
    platform::CFRelease(dead);
    EXPECT_EQ(NamesRaisedBy([] { const CFType object(0); }), "CFType.Constructor.CFRetain");
    EXPECT_EQ(platform::CFGetRetainCount(dead), 0);
    EXPECT_EQ(NamesRaisedBy([&] { const CFType object(dead); }), "CFType.Constructor.CFRetain");
    EXPECT_EQ(NamesRaisedBy([] { const CFString object(String("\xFF\xFE")); }),
              "CFString.Constructor.CFStringCreateWithCString");
}

} // namespace
