// SPDX-License-Identifier: MIT
#include "control/ControlTest.h"
#include "platform/memory/Handles.h"

namespace velmora {
namespace {

using scripted::Arguments;

Lines SetUpLines(bool dataProc)
{
    const std::string usage = dataProc ? ", 1)" : ", 7)";
    const std::string mode = dataProc ? "> UseDataProc " : "> ";
    return {"> Create theSGComp=session",
            "> *** SGNewChannel theSGComp=session",
            "> *** SGNewChannel OSTypeToLong(VideoMediaType)=1986618469",
            "> *** SGNewChannel channelPtr.long(0)=0",
            "SGNewChannel(session, 'soun', @)",
            "> New SoundChannel err: 0",
            "SGSetChannelUsage(21" + usage,
            mode + "SGSetChannelUsage sgSoundChannel sgSoundChannel = 0",
            "SGGetSoundInputDriver(21)",
            "> Long2Fix(8000)=524288000",
            "SGSetAdditionalSoundRates(21, @)",
            "> ***** SGSetAdditionalSoundRates=0",
            "SGSetSoundInputParameters(21, 16, 2, 'raw ')",
            "> ***** SGSetSoundInputParameters=0",
            "SGNewChannel(session, 'vide', @)",
            "> New VideoChannel err: 0",
            "SGSetChannelBounds(22, [14 20 494 660])",
            "> SGSetChannelBounds = 0",
            "SGSetChannelUsage(22" + usage,
            mode + "SGSetChannelUsage sgVideoChannel2 = 0"};
}

TEST_F(ControlTest, InitializeInBothModes)
{
    OfferSession();
    std::vector<int32_t> rates;
    script.answers["SGSetAdditionalSoundRates"] = [&rates](const auto& a) {
        for (int32_t at = 0; at < platform::GetHandleSize(a[1]); at += 4)
            rates.push_back(platform::Peek<int32_t>(platform::Peek<int32_t>(a[1]) + at) >> 16);
        return 0;
    };
    for (const bool dataProc : {true, false})
        for (const bool preview : {true, false}) {
            SCOPED_TRACE(::testing::Message() << dataProc << preview);
            canvas->UseDataProc = dataProc;
            canvas->EnableSound = canvas->EnableVideo = false; // plays no part in the set-up
            inside.VideoPreviewState = preview;
            canvas->Initialize();
            const Lines data{"SGStop(session)", "> SGStop=0", "NewSGDataUPP()", "SGSetDataProc(session, 91, 1)",
                             "SGStartRecord(session)"};
            Expect(Lines{"> *******************************", "> OpenComponent noErr: session", "SGInitialize(session)",
                         "> SGInitialize=0", "SGSetGWorld(session, @, 0)"} +
                   (dataProc ? Lines{"SGSetDataRef(session, 0, 0, 32)", "> SGSetDataRef=0"} : Lines{}) +
                   Lines{"> err dataRef=0"} + SetUpLines(dataProc) +
                   (preview ? Lines{dataProc ? "SGStartRecord(session)" : "SGStartPreview(session)"} : Lines{}) +
                   (dataProc ? data : Lines{}) +
                   Lines{"SGGetSrcVideoBounds(22, @)", "SGGetSrcVideoBounds(22, @)", "> SGGetSrcVideoBounds err =0"});
            EXPECT_EQ(inside.videoRecordWidth, 640);
            EXPECT_GT(inside.pollTimer->ref, 0);
            EXPECT_EQ(std::exchange(rates, {}), (std::vector<int32_t>{8000, 11025, 16000, 22050, 32000}));
        }
}

TEST_F(ControlTest, InitializeFailures)
{
    const struct {
        const char* function;
        std::string last;
    } cases[] = {
        {"SGInitialize", "> SGInitialize=-5"},
        {"SGSetGWorld", "SGSetGWorld(session, @, 0)"},
        {"SGSetDataRef", "> SGGetSrcVideoBounds err =0"},
    };
    canvas->Initialize();
    EXPECT_EQ(script.Take().back(), "> OpenComponent err: 0");
    OfferSession();
    for (const auto& c : cases) {
        SCOPED_TRACE(c.function);
        scripted::Reset();
        script.Returns(c.function, -5);
        inside.pollTimer->ref = -1;
        canvas->Initialize();
        EXPECT_EQ(script.Take().back(), c.last);
        EXPECT_GT(inside.pollTimer->ref, 0) << "the poll timer runs after a failure too";
    }
}

TEST_F(ControlTest, ChannelSetUpFailures)
{
    const struct {
        const char* function;
        int32_t result;
        const char* refusedType; // for `SGNewChannel`
        Lines among;
        int32_t video;
    } cases[] = {
        {"SGNewChannel", -9, "soun", {"> New SoundChannel err: -9", "> New SoundChannel err: -9"}, 22},
        {"SGNewChannel", -9, "vide", {"> New VideoChannel err: -9"}, -1},
        {"SGNewChannel", 0, "vide", {"> New VideoChannel err: 0", "> Invalid Channel err: 0"}, 0},
        {"SGGetSoundInputDriver", 0, "", {"> Get Sound Input Driver err: 0"}, 22},
        {"SGSetSoundInputParameters", -4, "", {"> ***** SGSetSoundInputParameters=-4"}, 22},
        {"SGSetChannelBounds", -8, "", {"> SetChannelUsage err: -8"}, 22},
        {"SGSetChannelUsage",
         -7,
         "",
         {"> UseDataProc SetChannelUsage sgSoundChannel sgSoundChannel err: -7",
          "> UseDataProc SetChannelUsage sgVideoChannel2 err: -7"},
         22},
    };
    OpenSession();
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::Message() << c.function << c.refusedType);
        scripted::Reset();
        if (*c.refusedType == 0)
            script.Returns(c.function, c.result);
        else
            script.answers["SGNewChannel"] = [&c](const auto& a) {
                const bool refused = static_cast<uint32_t>(a[1]) == platform::CodeOf(c.refusedType);
                platform::Poke(a[2], refused ? 0 : scripted::kVideo);
                return refused ? c.result : 0;
            };
        inside.CreateChannels();
        Lines expected = c.among;
        if (c.video > 0) // whatever else failed, the session starts
            expected.push_back("SGStartRecord(12)");
        EXPECT_EQ(script.calls.back(), expected.back());
        ExpectAmong(expected);
        EXPECT_EQ(inside.sgVideoChannel, c.video);
    }
}

TEST_F(ControlTest, PollTimerOnTheRealLoop)
{
    OpenSession();
    script.Returns("SGIdle", -9400);
    canvas->Close = [this] { script.Note("Close"); };
    canvas->StartPollTimer();
    while (script.calls.size() < 4) // a failure doesn't stop the polling
        framework::Application::Instance()->DoEvents(50);
    inside.CloseEvent();
    ExpectAmong({"SGIdle(12)", "Error(-9400)", "SGIdle(12)", "Error(-9400)", "Close"});
    for (int i = 0; i < 3; ++i)
        framework::Application::Instance()->DoEvents(15);
    EXPECT_TRUE(script.Take().empty());
}

TEST_F(ControlTest, DestructorReportsAndGoesOn)
{
    OpenSession();
    inside.videoList = inside.soundList = inside.decompSeq = inside.displaySeq = framework::New<MemoryBlock>(4);
    script.Returns("SGDisposeDeviceList", -1);
    script.Returns("SGDisposeChannel", -2);
    canvas->Destructor();
    Expect({"SGDisposeDeviceList(12, 0)", "Error(-1)", "SGDisposeChannel(12, 21)", "Error(-2)",
            "SGDisposeDeviceList(12, 0)", "Error(-1)", "SGDisposeChannel(12, 22)", "Error(-2)",
            "Error(" + std::to_string(platform::badComponentInstance) + ")", "CDSequenceEnd(0)", "CDSequenceEnd(0)"});
    EXPECT_EQ(canvas->LastError, "Close Component err: " + framework::Str(platform::badComponentInstance));
    EXPECT_FALSE(VelmoraCanvas::SeqGrabbers->Lookup(1, nullptr));
}

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
