#include "control/ControlTest.h"
#include "platform/memory/Handles.h"

namespace velmora {
namespace {

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
    for (const bool dataProc : {true, false})
        for (const bool preview : {true, false}) {
            SCOPED_TRACE(::testing::Message() << dataProc << preview);
            canvas->UseDataProc = dataProc;
            canvas->EnableSound = canvas->EnableVideo = false; // plays no part in the set-up
            inside.VideoPreviewState = preview;
            canvas->Initialize();
            Lines expected{"> *******************************", "> OpenComponent noErr: session",
                           "SGInitialize(session)", "> SGInitialize=0", "SGSetGWorld(session, @, 0)"};
            const auto add = [&expected](const Lines& lines) {
                expected.insert(expected.end(), lines.begin(), lines.end());
            };
            if (dataProc)
                add({"SGSetDataRef(session, 0, 0, 32)", "> SGSetDataRef=0"});
            add({"> err dataRef=0"});
            add(SetUpLines(dataProc));
            if (preview)
                add({dataProc ? "SGStartRecord(session)" : "SGStartPreview(session)"});
            if (dataProc)
                add({"SGStop(session)", "> SGStop=0", "NewSGDataUPP()", "SGSetDataProc(session, 91, 1)",
                     "SGStartRecord(session)"});
            add({"SGGetSrcVideoBounds(22, @)", "SGGetSrcVideoBounds(22, @)", "> SGGetSrcVideoBounds err =0"});
            Expect(expected);
            EXPECT_EQ(inside.videoRecordWidth, 640);
            // In direct mode the wrapper of the window has its sides crossed.
            EXPECT_EQ(inside.GWorld->top, dataProc ? 0 : 20);
            EXPECT_EQ(inside.GWorld->left, dataProc ? 0 : 14);
            EXPECT_GT(inside.pollTimer->ref, 0);
        }
}

TEST_F(ControlTest, InitializeFailures)
{
    const struct {
        const char* function;
        std::string last;
        bool world;
        int32_t width;
    } cases[] = {
        {"OpenDefaultComponent", "> OpenComponent err: 0", false, 0},
        {"SGInitialize", "> SGInitialize=-5", false, 0},
        {"SGSetGWorld", "SGSetGWorld(session, @, 0)", true, 0},
        {"SGSetDataRef", "> SGGetSrcVideoBounds err =0", true, 640},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.function);
        scripted::Reset();
        script.Returns(c.function, -5);
        inside.GWorld = nullptr;
        inside.pollTimer->ref = -1;
        canvas->Initialize();
        if (component == 0)
            OfferSession();
        EXPECT_EQ(script.Take().back(), c.last);
        EXPECT_EQ(static_cast<bool>(inside.GWorld), c.world);
        EXPECT_EQ(inside.videoRecordWidth, c.width);
        EXPECT_GT(inside.pollTimer->ref, 0) << "the poll timer runs after a failure too";
    }
}

TEST_F(ControlTest, ChannelSetUpFailures)
{
    const struct {
        const char* function;
        int32_t result;
        const char* refusedType; // for `SGNewChannel`
        bool dataProc;
        Lines among;
        int32_t video;
    } cases[] = {
        {"SGNewChannel", -9, "soun", true, {"> New SoundChannel err: -9", "> New SoundChannel err: -9"}, 22},
        {"SGNewChannel", -9, "vide", true, {"> New VideoChannel err: -9"}, -1},
        {"SGNewChannel", 0, "vide", true, {"> New VideoChannel err: 0", "> Invalid Channel err: 0"}, 0},
        {"SGGetSoundInputDriver", 0, "", true, {"> Get Sound Input Driver err: 0"}, 22},
        {"SGSetAdditionalSoundRates", -3, "", true, {"> ***** SGSetAdditionalSoundRates=-3"}, 22},
        {"SGSetSoundInputParameters", -4, "", true, {"> ***** SGSetSoundInputParameters=-4"}, 22},
        {"SGSetChannelBounds", -8, "", true, {"> SetChannelUsage err: -8"}, 22},
        {"SGSetChannelUsage",
         -7,
         "",
         true,
         {"> UseDataProc SetChannelUsage sgSoundChannel sgSoundChannel err: -7",
          "> UseDataProc SetChannelUsage sgVideoChannel2 err: -7"},
         22},
        {"SGSetChannelUsage",
         -7,
         "",
         false,
         {"> SetChannelUsage sgSoundChannel sgSoundChannel err: -7", "> SetChannelUsage sgVideoChannel2 err: -7"},
         22},
    };
    OpenSession();
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::Message() << c.function << c.refusedType << c.dataProc);
        scripted::Reset();
        if (*c.refusedType == 0)
            script.Returns(c.function, c.result);
        else
            script.answers["SGNewChannel"] = [&c](const auto& a) {
                const bool refused = static_cast<uint32_t>(a[1]) == platform::CodeOf(c.refusedType);
                platform::Poke(a[2], refused ? 0 : scripted::kVideo);
                return refused ? c.result : 0;
            };
        canvas->UseDataProc = c.dataProc;
        inside.CreateChannels();
        Lines expected = c.among;
        if (c.video > 0) // whatever else failed, the session starts
            expected.push_back(c.dataProc ? "SGStartRecord(12)" : "SGStartPreview(12)");
        EXPECT_EQ(script.calls.back(), expected.back());
        ExpectAmong(expected);
        EXPECT_EQ(inside.sgVideoChannel, c.video);
    }
}

TEST_F(ControlTest, AdditionalRatesAreHandedOverAndGivenBack)
{
    OpenSession();
    std::vector<int32_t> rates;
    int32_t handle = 0;
    script.answers["SGSetAdditionalSoundRates"] = [&](const auto& arguments) {
        handle = arguments[1];
        for (int32_t at = 0; at < platform::GetHandleSize(handle); at += 4)
            rates.push_back(platform::Peek<int32_t>(platform::Peek<int32_t>(handle) + at) / 65536);
        return -1;
    };
    inside.CreateChannels();
    EXPECT_EQ(rates, (std::vector<int32_t>{8000, 11025, 16000, 22050, 32000}));
    EXPECT_EQ(platform::GetHandleSize(handle), 0);
}

TEST_F(ControlTest, CodesAsNumbers)
{
    const std::pair<String, int32_t> cases[] = {
        {"barg", 1650553447},
        {"raw ", 1918990112},
        {"soun", 1936684398},
        {"raw", -1},
        {"", -1},
        {"abcde", -1},
        {String("\xFF\x01\x02\x03", framework::kEncodingNone), std::numeric_limits<int32_t>::min()}};
    for (const auto& [code, number] : cases)
        EXPECT_EQ(VelmoraCanvas::OSTypeToLong(code), number) << code.Bytes();
}

TEST_F(ControlTest, ConstructorTakesAKeyAndTriesAPreview)
{
    auto second = framework::New<VelmoraCanvas>(), third = framework::New<VelmoraCanvas>();
    second->Constructor(second);
    Expect({"SGPause(0, 1)", "SGSetChannelUsage(0, 7)", "SGStartPreview(0)"});
    EXPECT_EQ(second->BlueScreenCaption, String("No Active Device"));
    EXPECT_EQ(VelmoraCanvas::SeqGrabbers->Lookup(2, nullptr), second);
    // The key is the count plus one, so a third control takes the place of the living second.
    canvas->Destructor();
    third->Constructor(third);
    EXPECT_EQ(VelmoraCanvas::SeqGrabbers->Lookup(2, nullptr), third);
    for (const auto& control : {second, third})
        VelmoraCanvasInspector{* control}.pollTimer = nullptr;
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

    // A sequence that doesn't end keeps the control's key.
    VelmoraCanvas::SeqGrabbers->Value(1, canvas);
    inside.decompSeq = framework::New<MemoryBlock>(4);
    script.Returns("CDSequenceEnd", -3);
    canvas->Destructor();
    EXPECT_EQ(script.Take().back(), "> error destorying decompseq");
    EXPECT_TRUE(inside.decompSeq && VelmoraCanvas::SeqGrabbers->Lookup(1, nullptr));
}

} // namespace
} // namespace velmora
