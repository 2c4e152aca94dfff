// SPDX-License-Identifier: MIT
#include "platform/corefoundation/CoreFoundation.h"

#include <algorithm>
#include <gtest/gtest.h>

using namespace platform;

namespace {

TEST(CoreFoundation, ConvertsBetweenEncodings)
{
    const struct {
        std::string bytes;
        int32_t encoding;
        int32_t length; // -1: refused
        std::string inUTF8;
        std::string inLatin1; // "-": can't be encoded
    } cases[] = {
        {"", kCFStringEncodingUTF8, 0, "", ""},
        {"abc", kCFStringEncodingASCII, 3, "abc", "abc"},
        {"\xFC", kCFStringEncodingASCII, -1, "", ""},
        {"a\xFC\x80", kCFStringEncodingISOLatin1, 3, "a\u00FC\u0080", "a\xFC\x80"},
        {"\u00FC\u00FF", kCFStringEncodingUTF8, 2, "\u00FC\u00FF", "\xFC\xFF"},
        {"\u0100\u8A9E", kCFStringEncodingUTF8, 2, "\u0100\u8A9E", "-"},
        {"x\U0001F600\U0010FFFF", kCFStringEncodingUTF8, 5, "x\U0001F600\U0010FFFF", "-"},
        {"\xC3", kCFStringEncodingUTF8, -1, "", ""},             // cut off
        {"\xC0\xAF", kCFStringEncodingUTF8, -1, "", ""},         // overlong
        {"\xED\xA0\x80", kCFStringEncodingUTF8, -1, "", ""},     // half of a pair
        {"\xF4\x90\x80\x80", kCFStringEncodingUTF8, -1, "", ""}, // above the last character
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(testing::PrintToString(each.bytes));
        const OwnedBlock buffer(64);
        std::ranges::copy(each.bytes, buffer.Bytes().begin());
        const CFStringRef string = CFStringCreateWithCString(0, buffer.Get(), each.encoding);
        ASSERT_EQ(string != 0, each.length >= 0);
        if (string == 0)
            continue;
        EXPECT_EQ(CFStringGetLength(string), each.length);
        EXPECT_EQ(TextOfCFString(string), each.inUTF8);
        const bool fits = CFStringGetCString(string, buffer.Get(), 64, kCFStringEncodingISOLatin1) != 0;
        EXPECT_EQ(fits ? PointerAt<char>(buffer.Get()) : "-", each.inLatin1);
        CFRelease(string);
        EXPECT_EQ(CFRetain(string), 0) << "released for good";
    }
}

} // namespace
