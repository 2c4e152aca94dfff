// SPDX-License-Identifier: MIT
#include "corefoundation/CFString.h"
#include "corefoundation/CFTypeRefException.h"
#include "platform/corefoundation/CoreFoundation.h"

#include <gtest/gtest.h>

using framework::String;
using velmora::CFString;

namespace {

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
    EXPECT_THROW(CFString{String("\xFF\xFE")}, velmora::CFTypeRefException) << "no text";
}

} // namespace
