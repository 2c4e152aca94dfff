#include "platform/corefoundation/CoreFoundation.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

using namespace platform;

namespace {

CFStringRef Made(const std::string& text, int32_t encoding = kCFStringEncodingUTF8)
{
    const OwnedBlock block(static_cast<int64_t>(text.size()) + 1);
    std::ranges::copy(text, block.Bytes().begin());
    return CFStringCreateWithCString(0, block.Get(), encoding);
}

TEST(CoreFoundation, ConvertsBetweenEncodings)
{
    struct Case {
        std::string bytes;
        int32_t encoding;
        int32_t length; // -1: refused
        std::string inUTF8;
        std::string inLatin1; // "-": can't be encoded
    };
    const Case cases[] = {
        {"", kCFStringEncodingUTF8, 0, "", ""},
        {"abc", kCFStringEncodingASCII, 3, "abc", "abc"},
        {"\xFC", kCFStringEncodingASCII, -1, "", ""},
        {"a\xFC\x80", kCFStringEncodingISOLatin1, 3, "a\u00FC\u0080", "a\xFC\x80"},
        {"\u00FC\u00FF", kCFStringEncodingUTF8, 2, "\u00FC\u00FF", "\xFC\xFF"},
        {"\u0100\u8A9E", kCFStringEncodingUTF8, 2, "\u0100\u8A9E", "-"},
        {"x\U0001F600\U0010FFFF", kCFStringEncodingUTF8, 5, "x\U0001F600\U0010FFFF", "-"},
        {"\xC3", kCFStringEncodingUTF8, -1, "", ""},             // cut off
        {"\xE2\x28\xA1", kCFStringEncodingUTF8, -1, "", ""},     // no continuation
        {"\xC0\xAF", kCFStringEncodingUTF8, -1, "", ""},         // overlong
        {"\xED\xA0\x80", kCFStringEncodingUTF8, -1, "", ""},     // half of a pair
        {"\xF4\x90\x80\x80", kCFStringEncodingUTF8, -1, "", ""}, // above the last character
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(testing::PrintToString(each.bytes));
        const CFStringRef string = Made(each.bytes, each.encoding);
        ASSERT_EQ(string != 0, each.length >= 0);
        if (string == 0)
            continue;
        EXPECT_EQ(CFStringGetLength(string), each.length);
        EXPECT_EQ(TextOfCFString(string), each.inUTF8);
        EXPECT_LE(static_cast<int32_t>(each.inUTF8.size()),
                  CFStringGetMaximumSizeForEncoding(each.length, kCFStringEncodingUTF8));
        const OwnedBlock buffer(64);
        const bool fits = CFStringGetCString(string, buffer.Get(), 64, kCFStringEncodingISOLatin1) != 0;
        EXPECT_EQ(fits ? PointerAt<char>(buffer.Get()) : "-", each.inLatin1);
        CFRelease(string);
    }
}

TEST(CoreFoundation, ChecksTheTextAndTheBuffer)
{
    EXPECT_EQ(CFStringCreateWithCString(0, -5, kCFStringEncodingUTF8), 0);
    const OwnedBlock open(3);
    std::ranges::fill(open.Bytes(), 'x');
    EXPECT_EQ(CFStringCreateWithCString(0, open.Get(), kCFStringEncodingUTF8), 0) << "no terminator";

    const CFStringRef string = Made("\u00FCx");
    const OwnedBlock buffer(4);
    std::ranges::fill(buffer.Bytes(), 0xEE);
    EXPECT_EQ(CFStringGetCString(string, buffer.Get(), 3, kCFStringEncodingUTF8), 0);
    EXPECT_EQ(buffer.Bytes()[0], 0xEE) << "untouched";
    EXPECT_EQ(CFStringGetCString(string, buffer.Get(), 4, kCFStringEncodingASCII), 0);
    EXPECT_EQ(CFStringGetCString(string, buffer.Get(), 5, kCFStringEncodingUTF8), 0) << "longer than the block";
    EXPECT_EQ(CFStringGetCString(string, buffer.Get(), 4, kCFStringEncodingUTF8), 1);
    EXPECT_EQ(std::string(PointerAt<char>(buffer.Get())), "\u00FCx");
    CFRelease(string);
}

TEST(CoreFoundation, CountsReferencesOfManyThreads)
{
    const CFStringRef string = Made("shared");
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([string] {
            for (int round = 0; round < 1000; ++round) {
                CFRetain(string);
                CFRelease(string);
            }
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(CFGetRetainCount(string), 1);
    CFRelease(string);
    for (const CFTypeRef dead : {string, 0, -7}) {
        CFRelease(dead);
        EXPECT_EQ(CFRetain(dead), 0);
        EXPECT_EQ(CFGetRetainCount(dead), 0);
        EXPECT_EQ(TextOfCFString(dead), "");
        EXPECT_EQ(CFCopyDescription(dead), 0);
    }
}

} // namespace
