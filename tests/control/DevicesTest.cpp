// SPDX-License-Identifier: MIT
#include "control/ControlTest.h"
#include "platform/memory/Handles.h"

namespace velmora {
namespace {

using scripted::Arguments;

TEST_F(ControlTest, ListsAreReadAtTheirOffsets)
{
    OpenSession();
    const int32_t inputsHandle = platform::NewHandleClear(8 + 2 * 76),
                  listHandle = platform::NewHandleClear(8 + 3 * 80);
    const auto inputs = framework::MemoryBlock::At(platform::Peek<int32_t>(inputsHandle));
    inputs->Short(0, 2);
    inputs->PString(8, "S-Video");
    inputs->PString(84, "Tuner");
    const auto list = framework::MemoryBlock::At(platform::Peek<int32_t>(listHandle));
    list->Short(0, 3);
    list->Short(2, 1);
    list->PString(8, "Camera");
    list->Long(8 + 76, inputsHandle);
    list->PString(88, "Box");
    list->Long(88 + 68, 1);
    list->Long(168 + 68, 3);
    script.Writes("SGGetChannelDeviceList", {{2, listHandle}});
    EXPECT_EQ(canvas->VideoDeviceCount(), 3);
    EXPECT_EQ(canvas->VideoDeviceSelected(), 1);
    EXPECT_EQ(canvas->VideoDevice(0), String("\x06"
                                             "Camera2 -  \x07S-Video \x05Tuner"));
    EXPECT_EQ(canvas->VideoDevice(1), String("\x03"
                                             "Box0 - "));
    EXPECT_EQ(canvas->SoundDevice(0), String("Camera"));
    for (const auto& [index, available] : {std::pair{-1, false}, {0, true}, {1, false}, {2, true}, {3, false}}) {
        EXPECT_EQ(canvas->VideoDeviceAvailable(index), available) << index;
        EXPECT_EQ(canvas->SoundDeviceAvailable(index), available) << index;
    }
    ExpectAmong({"SGGetChannelDeviceList(22, 4, @)", "SGGetChannelDeviceList(21, 0, @)",
                 "SGGetChannelDeviceList(22, 0, @)", "SGGetChannelDeviceList(21, 0, @)"});
    EXPECT_THROW(canvas->SoundDevice(1 << 30), framework::OutOfBoundsException);
}

TEST_F(ControlTest, ListsThatCannotBeHad)
{
    OpenSession();
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
    script.answers["SGSetChannelDevice"] = [](const Arguments& a) {
        return framework::MemoryBlock::At(a[1])->PString(0) == "Other" ? a[0] : 0;
    };
    EXPECT_EQ(canvas->ChooseVideoDevice("Other"), scripted::kVideo);
    EXPECT_EQ(canvas->ChooseSoundDevice("Other"), scripted::kSound);
}

TEST_F(ControlTest, DialogsAreBracketed)
{
    OpenSession();
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
            Lines expected = dataProc ? Lines{"SGStop(12)", "> SGStop=0", arrow + "SGStop = 0"}
                                      : Lines{"SGPause(12, 1)", arrow + "SGPause = 0"};
            expected = expected + Lines{"NewSGModalFilterUPP()", arrow + "seqGragModalFilterUPP = 92",
                                        "SGSettingsDialog(12, " + c.channel + ", 0, 0, 0, 92, 0)",
                                        "> SGSettingsDialog = -128", "DisposeSGModalFilterUPP(92)"};
            if (dataProc && c.channel == "22")
                expected.push_back("CDSequenceEnd(0)");
            if (preview && dataProc)
                expected = expected + Lines{"SGStartRecord(12)", "> " + c.tag + " SGRecord"};
            else if (preview)
                expected = expected + Lines{"SGPause(12, 0)", "> " + c.tag + " SGSettingsDialog SGPause = 0"};
            if (!c.namedAfter.empty())
                expected.push_back("SGGetChannelDeviceAndInputNames(" + c.namedAfter + ", @, @, @)");
            Expect(expected);
        }
}

// A bus of two devices: the first has two modes, of which the second is video; the second device is never reached.
TEST_F(ControlTest, DeckCommandsAndTheirFailures)
{
    OpenSession();
    std::string frame;
    const platform::Component deck = platform::RegisterComponent(
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
    script.answers["QTCopyAtomDataToPtr"] = [](const Arguments& a) {
        platform::Poke(a[4], platform::CodeOf(a[1] == 1121 ? "vide" : "soun"));
        return 0;
    };
    script.answers["DeviceControlDoAVCTransaction"] = [&frame](const Arguments& a) {
        const auto parameters = framework::MemoryBlock::At(a[1]);
        EXPECT_TRUE(parameters->Long(4) == 4 && parameters->Long(12) == 16 && parameters->Long(16) == 0);
        frame = parameters->Ptr(0)->StringValue(0, 4).Bytes();
        return -36; // not looked at
    };
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
    ExpectAmong({"open", "IDHGetDeviceList(session, @)", "QTCountChildrenOfType(5, 0, 'devc')",
                 "QTFindChildByIndex(5, 0, 'devc', 1, 0)", "QTFindChildByIndex(5, 1, 'isoc', 1, 0)",
                 "QTCountChildrenOfType(5, 11, 'mode')", "QTFindChildByIndex(5, 11, 'mode', 2, 0)",
                 "QTFindChildByIndex(5, 112, 'av  ', 1, 0)", "QTLockContainer(5)",
                 "QTCopyAtomDataToPtr(5, 1121, 1, 4, @, @)", "QTUnlockContainer(5)",
                 "IDHSetDeviceConfiguration(session, 5, 112)", "IDHGetDeviceControl(session, @)",
                 "DeviceControlDoAVCTransaction(99, @)", "close"});
    const struct {
        const char* function;
        int32_t result;
        Lines errors;
        bool sent;
    } failures[] = {
        {"IDHGetDeviceControl", -4, {"Error(-4)"}, true},
        {"IDHSetDeviceConfiguration", -3, {"Error(-3)", "Error(-4)"}, true},
        {"QTCopyAtomDataToPtr", -2, Lines(4, "Error(-2)"), false}, // of each mode
        {"QTFindChildByIndex", 0, {}, false},
        {"QTCountChildrenOfType", 0, {"Error(0)"}, false},
        {"IDHGetDeviceList", -1, {"Error(-1)"}, false},
    };
    for (const auto& c : failures) { // from the last step to the first
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
    canvas->DeviceControlPlay(); // a platform without the component
    Expect({"Error(-3000)"});
    EXPECT_THROW(canvas->DeviceIsRecording(), framework::NilObjectException);
}

TEST_F(ControlTest, FeaturesAreReadAndWritten)
{
    OpenSession();
    uint32_t capabilities = 4;
    script.Writes("VDIIDCGetFeaturesForSpecifier", {{2, 5}});
    script.Returns("QTFindChildByIndex", 6);
    script.Returns("QTFindChildByID", 7);
    script.answers["QTCopyAtomDataToPtr"] = [&](const Arguments& a) {
        const auto record = framework::MemoryBlock::At(a[4]);
        record->Long(0, static_cast<int32_t>(__builtin_bswap32(capabilities)));
        record->Short(4, 2);
        record->Short(6, 600);
        record->SingleValue(20, 0.5F);
        return 0;
    };
    std::string written;
    script.answers["QTSetAtomData"] = [&written](const Arguments& a) {
        return written = framework::MemoryBlock::At(a[3])->StringValue(0, 24).Bytes(), -2;
    };
    constexpr OSType gain = platform::CodeOf("gain");
    EXPECT_EQ(canvas->IIDCFeatureMaximum(gain), 600);
    EXPECT_EQ(canvas->IIDCFeatureValue(gain), 300);
    canvas->IIDCFeature(gain, 200);
    ExpectAmong({"SGGetVideoDigitizerComponent(22)", "VDIIDCGetFeaturesForSpecifier(41, 'gain', @)",
                 "QTFindChildByIndex(5, 0, 'feat', 1, 0)", "QTFindChildByID(5, 6, 'fstg', 1, 0)",
                 "QTCopyAtomDataToPtr(5, 7, 1, 24, @, @)", "QTSetAtomData(5, 7, 24, @)", "Error(-2)"});
    const auto fraction = static_cast<float>(1.0 / 600 * 200);
    EXPECT_EQ(written.substr(16),
              std::string("\x25\0\0\0", 4) + std::string(reinterpret_cast<const char*>(&fraction), sizeof fraction));
    for (const auto& [flags, supported] : {std::pair{1U, true}, {4U, true}, {32U, true}, {0U, false}, {2U, false}}) {
        capabilities = flags;
        EXPECT_EQ(canvas->isIIDCFeatureSupported("", gain), supported) << flags;
        EXPECT_EQ(canvas->IIDCFeatureMinimum(gain), supported ? 2 : -1) << flags;
    }
}

} // namespace
} // namespace velmora
