// SPDX-License-Identifier: MIT
#include "control/ControlTest.h"
#include "platform/memory/Handles.h"

namespace velmora {
namespace {

using scripted::Arguments;

TEST_F(ControlTest, SettingsAreReadAsBytes)
{
    OpenSession();
    const std::string bytes("ab\0\xFF", 4);
    script.Writes("SGGetSettings", {{1, 77}});
    script.answers["PutUserDataIntoHandle"] = [&bytes](const Arguments& a) {
        platform::SetHandleSize(a[1], static_cast<int32_t>(bytes.size()));
        std::ranges::copy(bytes, platform::HandleBytes(a[1]).begin());
        return -3;
    };
    script.Returns("DisposeUserData", -4);
    const int64_t before = platform::BytesInUse();
    EXPECT_EQ(canvas->UserSettings(), String(bytes, framework::kEncodingNone));
    EXPECT_EQ(platform::BytesInUse(), before);
    Expect({"SGGetSettings(12, @, 0)", "PutUserDataIntoHandle(77, @)", "> PutUserDataIntoHandle err", "Error(-3)",
            "DisposeUserData(77)", "> PutUserDataIntoHandle err", "Error(-4)"});
    script.Returns("SGGetSettings", -5);
    EXPECT_TRUE(canvas->UserSettings().IsEmpty());
    Expect({"SGGetSettings(12, @, 0)", "Error(-5)"});
}

TEST_F(ControlTest, SettingsAreRestoredAndChannelsFound)
{
    OpenSession();
    std::string given;
    script.answers["NewUserDataFromHandle"] = [&given](const Arguments& a) {
        const auto bytes = platform::HandleBytes(a[0]);
        given.assign(bytes.begin(), bytes.end());
        platform::Poke<int32_t>(a[1], 77);
        return -1; // passes in silence
    };
    script.answers["SGGetIndChannel"] = [](const Arguments& a) {
        const char* types[] = {"vide", "soun", "text", "vide"};
        if (a[1] > 4)
            return -9406;
        platform::Poke(a[2], 30 + a[1]);
        platform::Poke(a[3], platform::CodeOf(types[a[1] - 1]));
        return 0;
    };
    script.unnoted = {"SGGetIndChannel"};
    inside.VideoPreviewState = false; // a restore starts the picture all the same
    const int64_t before = platform::BytesInUse();
    Lines expected{"SGStop(12)",          "> SGStop=0",       "NewUserDataFromHandle(@, @)", "SGSetSettings(12, 77, 0)",
                   "DisposeUserData(77)", "SGStartRecord(12)"};
    canvas->UserSettings(String("\x01\xFF", framework::kEncodingNone));
    Expect(expected);
    EXPECT_EQ(given, "\x01\xFF");
    EXPECT_TRUE(inside.sgVideoChannel == 34 && inside.sgSoundChannel == 32);
    EXPECT_EQ(platform::BytesInUse(), before);

    canvas->UseDataProc = false;
    script.Returns("SGSetSettings", -50);
    canvas->UserSettings("");
    expected.back() = "SGStartPreview(12)";
    Expect(expected);
    EXPECT_TRUE(given.empty() && inside.sgVideoChannel == 0 && inside.sgSoundChannel == 0);
}

} // namespace
} // namespace velmora
