// SPDX-License-Identifier: MIT
#include "control/ControlTest.h"

namespace velmora {
namespace {

const Lines buildFirst{"SGGetChannelSampleDescription(22, @)",
                       "DecompressSequenceBeginS(@, @, @, 16, @, 0, 0, 0, 0, 0, 0, 768, -1)"};
const Lines buildSecond{"RectMatrix(@, [0 0 240 320], [14 20 494 660])", "MakeImageDescriptionForPixMap(@, @)",
                        "DecompressSequenceBeginS(@, @, @, 307200, @, 0, 0, @, 0, 0, 0, 768, -1)"};
const Lines show{"DecompressSequenceFrameWhen(81, @, 16, 0, @, 0, 0)", "PaintActive",
                 "DecompressSequenceFrameWhen(82, @, 307200, 0, @, 0, 0)"};

class DataProcTest : public ControlTest {
protected:
    DataProcTest()
    {
        OpenSession();
        script.unnoted = {"SGGetChannelInfo"};
        canvas->PaintActive = [this](Graphics& g) {
            EXPECT_EQ(&g, &inside.decomppicture->Graphics());
            script.Note("PaintActive");
        };
    }
    int32_t Frame(int32_t time, int16_t writeType = 0)
    {
        return inside.Deliver(scripted::kVideo, buffer.Get(), 16, time, writeType);
    }
    platform::OwnedBlock buffer{16};
};

TEST_F(DataProcTest, SequencesAreBuiltOnceAndReused)
{
    Frame(0);
    Expect(buildFirst + buildSecond + show);
    const int64_t before = platform::BytesInUse();
    Frame(20);
    Expect(show);
    canvas->Resize();
    Frame(40);
    Expect(Lines{"CDSequenceEnd(82)", "CDSequenceEnd(81)"} + buildFirst + buildSecond + show);
    EXPECT_EQ(platform::BytesInUse(), before) << "handles are disposed";
}

TEST_F(DataProcTest, TransformsAreAppliedInOrderAtTheNextFrame)
{
    // The control's rectangle as `Fixed`: left 1310720, top 917504, width 41943040, height 31457280.
    const Lines rotate{"RotateMatrix(@, 11796480, 1310720, 917504)", "TranslateMatrix(@, 41943040, 31457280)"};
    const Lines horizontal{"ScaleMatrix(@, 0xFFFF0000, 0x00010000, 1310720, 0)", "TranslateMatrix(@, 41943040, 0)"};
    const Lines vertical{"ScaleMatrix(@, 0x00010000, 0xFFFF0000, 0, 917504)", "TranslateMatrix(@, 0, 31457280)"};
    const struct {
        std::function<void()> change;
        Lines steps;
    } cases[] = {
        {[&] { canvas->VideoFlipVertical(true); }, vertical},
        {[&] { canvas->VideoFlipHorizontal(true); }, horizontal + vertical},
        {[&] { canvas->VideoRotate(true, 180); }, rotate + horizontal + vertical},
        {[&] { canvas->VideoRotate(false, 180); }, horizontal + vertical}, // the angle alone rotates nothing
    };
    Frame(0);
    for (const auto& c : cases) {
        script.Take();
        c.change();
        EXPECT_TRUE(script.calls.empty());
        Frame(20);
        // The old sequence is dropped, not ended.
        Lines rebuilt = buildSecond;
        rebuilt.insert(rebuilt.begin() + 1, c.steps.begin(), c.steps.end());
        Expect(rebuilt + show);
        Frame(40);
        Expect(show);
    }
}

TEST_F(DataProcTest, DurationsGoWithTheVideo)
{
    std::vector<int32_t> durations;
    script.answers["AddMediaSample"] = [&durations](const auto& a) { return durations.push_back(a[4]), 0; };
    inside.isRecording = true;
    Frame(1000);
    Frame(1005, 1);                                            // no frame
    inside.Deliver(scripted::kVideo, 0, 16, 1010);             // nor this
    inside.Deliver(scripted::kSound, buffer.Get(), 16, 77777); // of duration 1
    Frame(1020);
    inside.isRecording = false; // frames are timed while nothing is recorded
    Frame(1100);
    inside.isRecording = true;
    Frame(1600);
    Frame(1580);
    Frame(std::numeric_limits<int32_t>::min());
    EXPECT_EQ(durations, (std::vector<int32_t>{100, 1, 20, 500, -20, static_cast<int32_t>(2147483648U - 1580)}));
}

TEST_F(DataProcTest, Failures)
{
    const struct {
        const char* function;
        Lines first, second;
    } cases[] = {
        {"SGGetChannelSampleDescription", {buildFirst[0], "> 2"}, {buildFirst[0], "> 2"}},
        // The next frame continues with a first sequence that has no reference.
        {"DecompressSequenceBeginS", buildFirst + Lines{"> 3: -8"}, buildSecond},
    };
    for (const auto& c : cases) {
        script.Returns(c.function, -8);
        EXPECT_EQ(Frame(0), 0);
        Expect(c.first);
        EXPECT_EQ(Frame(20), 0);
        Expect(c.second);
        scripted::Reset();
        script.unnoted = {"SGGetChannelInfo"};
    }
}

} // namespace
} // namespace velmora
