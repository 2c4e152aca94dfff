// SPDX-License-Identifier: MIT
#include "control/ControlTest.h"

namespace velmora {
namespace {

TEST_F(ControlTest, VideoPreviewOnAndOff)
{
    const struct {
        bool dataProc, whileRecording, value;
        Lines expected;
    } cases[] = {
        {false, true, true, {"SGPause(12, 1)", "SGSetChannelUsage(22, 7)", "SGStartPreview(12)"}},
        {false, false, true, {"SGPause(12, 1)", "SGSetChannelUsage(22, 3)", "SGStartPreview(12)"}},
        {false, true, false, {"SGPause(12, 1)", "SGSetChannelUsage(22, 5)", "SGStop(12)", "> SGStop=0"}},
        {false, false, false, {"SGPause(12, 1)", "SGSetChannelUsage(22, 1)", "SGStop(12)", "> SGStop=0"}},
        {true, true, true, {"CDSequenceEnd(0)", "SGStartRecord(12)"}},
        {true, true, false, {"SGStop(12)", "> SGStop=0"}},
    };
    OpenSession();
    for (const auto& c : cases) {
        canvas->UseDataProc = c.dataProc;
        canvas->PreviewWhileRecording(c.whileRecording);
        const Lines changed = script.Take();
        EXPECT_EQ(changed.front() + changed.back(), "SGPause(12, 1)SGPause(12, 0)");
        inside.displaySeq = framework::New<MemoryBlock>(4);
        canvas->VideoPreview(c.value);
        Expect(c.expected);
        EXPECT_EQ(inside.VideoPreviewState, c.value);
    }
}

TEST_F(ControlTest, EnablingChannels)
{
    OpenSession();
    for (const bool video : {true, false})
        for (const bool dataProc : {true, false}) {
            SCOPED_TRACE(::testing::Message() << video << dataProc);
            const auto enable = [&](bool value) { video ? canvas->VideoEnabled(value) : canvas->SoundEnabled(value); };
            const std::string number = video ? "22" : "21", kind = video ? "Video" : "Sound";
            canvas->UseDataProc = dataProc;
            enable(false);
            enable(true);
            Lines expected{"SGDisposeChannel(12, " + number + ")",
                           std::string("SGNewChannel(12, ") + (video ? "'vide'" : "'soun'") + ", @)",
                           "> New " + kind + "Channel err: 0",
                           "SGSetChannelBounds(" + number + ", [14 20 494 660])",
                           "> SGSetChannelBounds = 0",
                           "SGSetChannelUsage(" + number + (dataProc ? ", 1)" : ", 7)"),
                           std::string(dataProc ? "> UseDataProc " : "> ") + "SGSetChannelUsage sg" + kind +
                               "Channel2 = 0"};
            if (video) // sound leaves the session alone
                expected.push_back(dataProc ? "SGStartRecord(12)" : "SGStartPreview(12)");
            Expect(expected);
        }
}

} // namespace
} // namespace velmora
