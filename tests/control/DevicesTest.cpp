#include "control/ControlTest.h"
#include "platform/memory/Handles.h"

#include <bit>

namespace velmora {
namespace {

using scripted::Arguments;

// Writes a record into a new handle by fields at their offsets.
class Record {
public:
    explicit Record(int32_t size) : handle(platform::NewHandle(size)), data(platform::Peek<int32_t>(handle)) {}
    Record& Short(int32_t at, int value) { return platform::Poke(data + at, static_cast<int16_t>(value)), *this; }
    Record& Long(int32_t at, int32_t value) { return platform::Poke(data + at, value), *this; }
    Record& Name(int32_t at, const std::string& name, const std::string& behind = "")
    {
        const std::string bytes = static_cast<char>(name.size()) + name + behind;
        for (size_t i = 0; i < bytes.size(); ++i)
            platform::Poke(data + at + static_cast<int32_t>(i), bytes[i]);
        return *this;
    }
    const int32_t handle;

private:
    const int32_t data;
};

class DevicesTest : public ControlTest {
protected:
    DevicesTest() { OpenSession(); }
};

TEST_F(DevicesTest, ListsAreReadAtTheirOffsets)
{
    const Record inputs = Record(8 + 2 * 76).Short(0, 2).Name(8, "S-Video").Name(84, "Tuner", "rest");
    const Record list = Record(8 + 4 * 80)
                            .Short(0, 4)
                            .Short(2, 1)
                            .Name(8, "Camera", "left over")
                            .Long(8 + 76, inputs.handle)
                            .Name(88, "Box")
                            .Long(88 + 68, 1)
                            .Name(168, "Card")
                            .Long(168 + 68, 3)
                            .Name(248, "Last");
    script.Writes("SGGetChannelDeviceList", {{2, list.handle}});
    EXPECT_EQ(canvas->VideoDeviceCount(), 4);
    EXPECT_EQ(canvas->VideoDeviceSelected(), 1);
    EXPECT_EQ(canvas->VideoDevice(0), String("\x06"
                                             "Camera2 -  \x07S-Video \x05Tuner"));
    EXPECT_EQ(canvas->VideoDevice(3), String("\x04Last0 - "));
    EXPECT_EQ(canvas->VideoDeviceInputCount(0), 0);
    EXPECT_EQ(canvas->SoundDeviceCount(), 4);
    EXPECT_EQ(canvas->SoundDevice(0), String("Camera"));
    for (const auto& [index, available] :
         {std::pair{-1, false}, {0, true}, {1, false}, {2, true}, {3, true}, {4, false}}) {
        EXPECT_EQ(canvas->VideoDeviceAvailable(index), available) << index;
        EXPECT_EQ(canvas->SoundDeviceAvailable(index), available) << index;
    }
    const std::string video = "SGGetChannelDeviceList(22, 4, @)", sound = "SGGetChannelDeviceList(21, 0, @)";
    ExpectAmong({video, video, video, video, video, sound, sound, "SGGetChannelDeviceList(22, 0, @)", sound});
    EXPECT_THROW(canvas->SoundDevice(1 << 30), framework::OutOfBoundsException);
    // The control keeps its newest list alone.
    EXPECT_EQ(inside.videoList->Long(0), list.handle);
}

TEST_F(DevicesTest, ListsThatCannotBeHad)
{
    script.Returns("SGGetChannelDeviceList", -9406);
    script.unnoted = {"SGGetChannelDeviceList", "SGGetChannelDeviceAndInputNames"};
    EXPECT_EQ(canvas->VideoDeviceCount(), -9406);
    EXPECT_EQ(canvas->SoundDeviceCount(), -9406);
    EXPECT_TRUE(canvas->VideoDevice(0).IsEmpty() && canvas->SoundDevice(0).IsEmpty());
    EXPECT_EQ(canvas->VideoDeviceInputCount(0), 0);
    EXPECT_TRUE(script.Take().empty());
    EXPECT_FALSE(canvas->VideoDeviceAvailable(0) || canvas->SoundDeviceAvailable(0));
    Expect({"Error(-9406)", "Error(-9406)"});
    script.answers["SGGetChannelDeviceAndInputNames"] = [](const Arguments& a) {
        framework::MemoryBlock::At(a[1])->PString(0, a[0] == scripted::kVideo ? "Camera" : "Microphone");
        return -1;
    };
    EXPECT_EQ(canvas->VideoDeviceName(), String("Camera"));
    EXPECT_EQ(canvas->SoundDeviceName(), String("Microphone"));
}

TEST_F(DevicesTest, SoundInput)
{
    script.Writes("SPBGetDeviceInfo", {{2, 3}});
    EXPECT_EQ(canvas->SoundInput(), 2);
    canvas->SoundInput(0);
    script.Returns("SPBGetDeviceInfo", -1);
    EXPECT_EQ(canvas->SoundInput(), -1);
    ExpectAmong({"SPBGetDeviceInfo(31, 'sour', @)", "SPBSetDeviceInfo(31, 'sour', 0x00000001)", "Error(-1)"});
    script.Returns("SGGetSoundInputDriver", 0);
    canvas->SoundInput(4);
    Expect({"SGGetSoundInputDriver(21)"});
}

TEST_F(DevicesTest, DialogsAreBracketed)
{
    const struct {
        std::function<void()> show;
        std::string operation, tag, channel, namedAfter;
    } cases[] = {
        {[&] { canvas->ShowVideoSettingsDialog(); }, "ShowVideoSettingsDialog", "SHOW", "22", ""},
        {[&] { canvas->ShowVideoSettingsDialogForName(); }, "ShowVideoSettingsDialog2", "SHOW2", "22", "22"},
        {[&] { canvas->ShowSoundSettingsDialogForName(); }, "ShowSoundSettingsDialog", "SHOW3", "21", "21"},
        {[&] { canvas->ShowSoundSettingsDialog(); }, "ShowSoundSettingsDialog", "SHOW4", "21", ""},
    };
    script.Returns("SGSettingsDialog", -128);
    for (const auto& c : cases)
        for (const int mode : {0, 1, 2, 3}) {
            const bool dataProc = (mode & 1) != 0, preview = (mode & 2) != 0;
            SCOPED_TRACE(::testing::Message() << c.tag << dataProc << preview);
            canvas->UseDataProc = dataProc;
            inside.VideoPreviewState = preview;
            inside.displaySeq = framework::New<MemoryBlock>(4);
            c.show();
            const std::string arrow = "> " + c.operation + " -->";
            Lines expected;
            const auto add = [&expected](const Lines& lines) {
                expected.insert(expected.end(), lines.begin(), lines.end());
            };
            add(dataProc ? Lines{"SGStop(12)", "> SGStop=0", arrow + "SGStop = 0"}
                         : Lines{"SGPause(12, 1)", arrow + "SGPause = 0"});
            add({"NewSGModalFilterUPP()", arrow + "seqGragModalFilterUPP = 92",
                 "SGSettingsDialog(12, " + c.channel + ", 0, 0, 0, 92, 0)", "> SGSettingsDialog = -128",
                 "DisposeSGModalFilterUPP(92)"});
            if (dataProc && c.channel == "22")
                add({"CDSequenceEnd(0)"});
            if (preview)
                add(dataProc ? Lines{"SGStartRecord(12)", "> " + c.tag + " SGRecord"}
                             : Lines{"SGPause(12, 0)", "> " + c.tag + " SGSettingsDialog SGPause = 0"});
            if (!c.namedAfter.empty())
                add({"SGGetChannelDeviceAndInputNames(" + c.namedAfter + ", @, @, @)"});
            Expect(expected);
        }
}

TEST_F(DevicesTest, SettingsAreReadAsBytes)
{
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

TEST_F(DevicesTest, SettingsAreRestoredAndChannelsFound)
{
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

// A bus of two devices: the first has two modes, of which the second is video; the second device is never reached.
class DeckTest : public DevicesTest {
protected:
    DeckTest()
    {
        deck = platform::RegisterComponent(
            {.type = platform::CodeOf("ihlr"), .subtype = platform::CodeOf("dv  ")}, "DV", [this] {
                script.Note("open");
                return std::shared_ptr<platform::ComponentObject>(new platform::ComponentObject, [this](auto* object) {
                    script.Note("close");
                    delete object;
                });
            });
        script.Writes("IDHGetDeviceList", {{1, 5}});
        script.Writes("IDHGetDeviceControl", {{1, 99}});
        script.Returns("QTCountChildrenOfType", 2);
        // Atoms are numbered by their path: device 1, its isoc 11, the modes 111 and 112, their types 1111 and 1121.
        script.answers["QTFindChildByIndex"] = [](const Arguments& a) { return a[1] * 10 + a[3]; };
        script.answers["QTCopyAtomDataToPtr"] = [this](const Arguments& a) {
            platform::Poke(a[4], platform::CodeOf(a[1] == videoType ? "vide" : "soun"));
            return 0;
        };
        script.answers["DeviceControlDoAVCTransaction"] = [this](const Arguments& a) {
            const auto parameters = framework::MemoryBlock::At(a[1]);
            EXPECT_EQ(parameters->Size(), 20);
            EXPECT_EQ(parameters->Long(4), 4);
            EXPECT_EQ(parameters->Ptr(8)->StringValue(0, 16), String(std::string(16, '\0')));
            EXPECT_EQ(parameters->Long(12), 16);
            EXPECT_EQ(parameters->Long(16), 0);
            frame = parameters->Ptr(0)->StringValue(0, 4).Bytes();
            return -36; // not looked at
        };
    }
    ~DeckTest() override { platform::UnregisterComponent(deck); }
    platform::Component deck = 0;
    int32_t videoType = 1121;
    std::string frame;
};

TEST_F(DeckTest, FramesOfTheCommands)
{
    using Command = void (VelmoraCanvas::*)();
    const std::pair<Command, const char*> cases[] = {
        {&VelmoraCanvas::DeviceControlPlay, "\xC3\x75"},
        {&VelmoraCanvas::DeviceControlFreeze, "\xC3\x7D"},
        {&VelmoraCanvas::DeviceControlNextFrame, "\xC3\x30"},
        {&VelmoraCanvas::DeviceControlPreviousFrame, "\xC3\x40"},
        {&VelmoraCanvas::DeviceControlSlowForward, "\xC3\x35"},
        {&VelmoraCanvas::DeviceControlSlowReverse, "\xC3\x45"},
        {&VelmoraCanvas::DeviceControlFastForwardPlay, "\xC3\x3E"},
        {&VelmoraCanvas::DeviceControlRewindPlay, "\xC3\x4E"},
        {&VelmoraCanvas::DeviceControlFastForward, "\xC4\x75"},
        {&VelmoraCanvas::DeviceControlRewind, "\xC4\x65"},
        {&VelmoraCanvas::DeviceControlStop, "\xC4\x60"},
        {&VelmoraCanvas::DeviceControlRecord, "\xC2\x75"},
    };
    for (const auto& [command, bytes] : cases) {
        ((*canvas).*command)();
        EXPECT_EQ(frame, std::string("\0\x20", 2) + bytes);
    }
    script.Take();
    canvas->DeviceControlAVCCommand(1, 2, 3, 260);
    EXPECT_EQ(frame, "\x01\x02\x03\x04");
    Expect({"open",
            "IDHGetDeviceList(session, @)",
            "QTCountChildrenOfType(5, 0, 'devc')",
            "QTFindChildByIndex(5, 0, 'devc', 1, 0)",
            "QTFindChildByIndex(5, 1, 'isoc', 1, 0)",
            "QTCountChildrenOfType(5, 11, 'mode')",
            "QTFindChildByIndex(5, 11, 'mode', 1, 0)",
            "QTFindChildByIndex(5, 111, 'av  ', 1, 0)",
            "QTLockContainer(5)",
            "QTCopyAtomDataToPtr(5, 1111, 1, 4, @, @)",
            "QTUnlockContainer(5)",
            "QTFindChildByIndex(5, 11, 'mode', 2, 0)",
            "QTFindChildByIndex(5, 112, 'av  ', 1, 0)",
            "QTLockContainer(5)",
            "QTCopyAtomDataToPtr(5, 1121, 1, 4, @, @)",
            "QTUnlockContainer(5)",
            "IDHSetDeviceConfiguration(session, 5, 112)",
            "IDHGetDeviceControl(session, @)",
            "DeviceControlDoAVCTransaction(99, @)",
            "close"});
}

TEST_F(DeckTest, Failures)
{
    const struct {
        const char* function;
        int32_t result;
        Lines errors;
        bool sent;
    } cases[] = {
        {"IDHGetDeviceControl", -4, {"Error(-4)"}, true},
        {"IDHSetDeviceConfiguration", -3, {"Error(-3)", "Error(-4)"}, true},
        {"QTCopyAtomDataToPtr", -2, Lines(4, "Error(-2)"), false}, // of each mode
        {"QTFindChildByIndex", 0, {}, false},
        {"QTCountChildrenOfType", 0, {"Error(0)"}, false},
        {"IDHGetDeviceList", -1, {"Error(-1)"}, false},
    };
    for (const auto& c : cases) { // from the last step to the first
        script.Returns(c.function, c.result);
        frame.clear();
        canvas->DeviceControlPlay();
        Lines noted = script.Take();
        EXPECT_EQ(noted.back(), "close");
        std::erase_if(noted, [](const std::string& line) { return !line.starts_with("Error"); });
        EXPECT_EQ(noted, c.errors) << c.function;
        EXPECT_EQ(!frame.empty(), c.sent) << c.function;
    }
    platform::UnregisterComponent(deck);
    canvas->DeviceControlPlay();
    Expect({"Error(" + std::to_string(platform::invalidComponentID) + ")"});
    // A question never gets as far as the platform.
    for (const auto question : {&VelmoraCanvas::DeviceIsLoading, &VelmoraCanvas::DeviceIsPlaying,
                                &VelmoraCanvas::DeviceIsRecording, &VelmoraCanvas::DeviceIsWinding})
        EXPECT_THROW(((*canvas).*question)(), framework::NilObjectException);
    EXPECT_TRUE(script.Take().empty());
}

class FeaturesTest : public DevicesTest {
protected:
    FeaturesTest()
    {
        script.Writes("VDIIDCGetFeaturesForSpecifier", {{2, 5}});
        script.Returns("QTFindChildByIndex", 6);
        script.Returns("QTFindChildByID", 7);
        script.answers["QTCopyAtomDataToPtr"] = [this](const Arguments& a) {
            const auto record = framework::MemoryBlock::At(a[4]);
            record->Long(0, static_cast<int32_t>(__builtin_bswap32(capabilities)));
            record->Short(4, minimum);
            record->Short(6, maximum);
            record->SingleValue(20, state);
            return copied;
        };
    }
    uint32_t capabilities = 4;
    int minimum = 2, maximum = 600;
    float state = 0.5F;
    int32_t copied = 0;
    static constexpr OSType gain = platform::CodeOf("gain");
};

const Lines fetch{"SGGetVideoDigitizerComponent(22)", "VDIIDCGetFeaturesForSpecifier(41, 'gain', @)",
                  "QTFindChildByIndex(5, 0, 'feat', 1, 0)", "QTFindChildByID(5, 6, 'fstg', 1, 0)",
                  "QTCopyAtomDataToPtr(5, 7, 1, 24, @, @)"};

TEST_F(FeaturesTest, ValuesAndLimits)
{
    EXPECT_EQ(canvas->IIDCFeatureMaximum(gain), 600);
    Expect(fetch);
    EXPECT_EQ(canvas->IIDCFeatureMinimum(gain), 2);
    EXPECT_EQ(canvas->IIDCFeatureValue(gain), 300);
    maximum = 40000;
    EXPECT_EQ(canvas->IIDCFeatureMaximum(gain), -25536);
    const std::pair<uint32_t, bool> cases[] = {{1, true},  {4, true},           {32, true}, {0xFFFFFFFF, true},
                                               {0, false}, {0xFFFFFFDA, false}, {2, false}};
    for (const auto& [flags, supported] : cases) {
        capabilities = flags;
        EXPECT_EQ(canvas->isIIDCFeatureSupported("", gain), supported) << flags;
        EXPECT_EQ(canvas->IIDCFeatureMinimum(gain), supported ? 2 : -1) << flags;
        EXPECT_EQ(canvas->IIDCFeatureValue(gain) == -1, !supported) << flags;
    }
}

TEST_F(FeaturesTest, WritingAFeature)
{
    std::string written;
    script.answers["QTSetAtomData"] = [&written](const Arguments& a) {
        written = framework::MemoryBlock::At(a[3])->StringValue(0, 24).Bytes();
        return 0;
    };
    script.Returns("VDIIDCSetFeatures", -1); // not reported
    script.Take();
    canvas->IIDCFeature(gain, 200);
    Lines expected = fetch;
    expected.insert(expected.end(),
                    {"QTFindChildByID(5, 6, 'fstg', 1, 0)", "QTSetAtomData(5, 7, 24, @)", "VDIIDCSetFeatures(41, 5)"});
    Expect(expected);
    const auto fraction = static_cast<float>(1.0 / 600 * 200);
    EXPECT_EQ(written.substr(16),
              std::string("\x25\0\0\0", 4) + std::string(reinterpret_cast<const char*>(&fraction), sizeof fraction));
    script.Returns("QTSetAtomData", -2);
    canvas->IIDCFeature(gain, 200);
    EXPECT_EQ(script.Take().back(), "Error(-2)");
    capabilities = 2;
    for (const int32_t result : {0, -3}) {
        copied = result;
        canvas->IIDCFeature(gain, 200);
        EXPECT_EQ(script.Take().back(), "Error(" + std::to_string(result) + ")");
    }
}

TEST_F(FeaturesTest, SettingsThatCannotBeFetched)
{
    const struct {
        const char* function;
        int32_t result;
        std::string last;
    } cases[] = {
        {"QTFindChildByIndex", 0, "QTFindChildByIndex(5, 0, 'feat', 1, 0)"}, // without a report
        {"VDIIDCGetFeaturesForSpecifier", -2201, "Error(-2201)"},
        {"SGGetVideoDigitizerComponent", -1, "Error(0)"},
    };
    for (const auto& c : cases) {
        script.Returns(c.function, c.result);
        EXPECT_EQ(canvas->IIDCFeatureMaximum(gain), -1);
        EXPECT_EQ(canvas->IIDCFeatureValue(gain), -1);
        EXPECT_FALSE(canvas->isIIDCFeatureSupported("", gain));
        script.Take();
        canvas->IIDCFeature(gain, 1);
        EXPECT_EQ(script.Take().back(), c.last);
    }
}

TEST_F(FeaturesTest, AnyKnownComponentCounts)
{
    script.Returns("SGGetVideoDigitizerComponent", -1);
    EXPECT_FALSE(canvas->isIIDC());
    script.Returns("SGGetVideoDigitizerComponent", 41);
    EXPECT_FALSE(canvas->isIIDC());
    script.unnoted = {"SGGetVideoDigitizerComponent"};
    ExpectAmong({"Error(0)", "Error(" + std::to_string(platform::invalidComponentID) + ")"});
    OfferSession();
    script.Returns("SGGetVideoDigitizerComponent", component);
    EXPECT_TRUE(canvas->isIIDC());
}

} // namespace
} // namespace velmora
