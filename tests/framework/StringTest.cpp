// SPDX-License-Identifier: MIT
#include "framework/String.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace framework {
namespace {

TEST(String, CountsCharactersAndBytes)
{
    const String text = "aé…😀z"; // 1, 2, 3, 4 and 1 bytes
    EXPECT_EQ(Len(text), 5);
    EXPECT_EQ(Mid(text, 2, 2), "é…");
    EXPECT_EQ(Mid(text, -1, 4), "aé") << "positions -1 and 0 hold nothing";
    EXPECT_EQ(Mid(text, 6, 1), "");
    EXPECT_EQ(Mid(text, 2, -1), "");
    EXPECT_EQ(Mid(text, 2, std::numeric_limits<int32_t>::max()), "é…😀z");
    EXPECT_EQ(LeftB(text, 2), "a\xC3");
    EXPECT_EQ(Asc(Mid(text, 4, 1)), 0x1F600);

    const String bytes = DefineEncoding(text, kEncodingNone);
    EXPECT_EQ(Len(bytes), 11);
    EXPECT_EQ(Len("\xC3"
                  "A\xFF\xE2\x82"),
              5)
        << "each byte of what is no UTF-8 counts as a character";
    EXPECT_TRUE((text + "b").HasEncoding());
    EXPECT_FALSE((text + bytes).HasEncoding());
}

TEST(String, WritesNumbers)
{
    const double infinite = std::numeric_limits<double>::infinity();
    const std::pair<double, const char*> numbers[] = {
        {-0.0, "0"},       {29.92, "29.92"}, {1.0 / 3, "0.3333333"}, {1e300, "1e+300"},
        {infinite, "inf"}, {1e-9, "1e-09"},  {std::nan(""), "nan"},
    };
    for (const auto& [value, text] : numbers)
        EXPECT_EQ(Str(value).Bytes(), text);
    EXPECT_EQ(Str(std::numeric_limits<int32_t>::min()), "-2147483648");

    const struct {
        double value;
        const char *mask, *text;
    } cases[] = {
        {-5, "-#", "-5"},           {123, "00", "123"},         {49.8, "#", "50"},
        {-0.4, "-#", "0"},          {-9400, "-#", "-9400"},     {3.14159, "0.00", "3.14"},
        {5, "#.##", "5"},           {5.5, "#.0#", "5.5"},       {9.999, "0.00", "10.00"},
        {42, "<000> %", "<042> %"}, {std::nan(""), "#", "nan"}, {1e20, "#", "100000000000000000000"},
    };
    for (const auto& each : cases)
        EXPECT_EQ(Format(each.value, each.mask).Bytes(), each.text) << each.value << " by " << each.mask;
}

} // namespace
} // namespace framework
