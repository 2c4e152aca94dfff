// SPDX-License-Identifier: MIT
// A camcorder on the real FireWire libraries through the whole product into a movie. `VELMORA_TAPE_SECONDS` makes the
// tape as long as wanted; its events keep their places in it.
#include "camcorder/CanvasWindow.h"
#include "support/DvTape.h"
#include "support/SimulatedFireWire.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace velmora;
using test::OutputOf;

namespace {

constexpr uint64_t kGuid = 0x0080450000005678;
constexpr int64_t kTurn = 20'000'000;

int64_t TapeSeconds()
{
    const char* wanted = std::getenv("VELMORA_TAPE_SECONDS");
    return wanted == nullptr ? 20 : std::atoi(wanted);
}

struct Manner {
    const char* name;
    bool pal;
    bool direct; ///< the grabber writes the movie by itself
};

class FireWireTape : public testing::TestWithParam<Manner>,
                     protected test::FireWireMachine,
                     protected test::CamcorderControl {
protected:
    FireWireTape() : CamcorderControl(&test::SimulatedFireWire::Clock) {}
    ~FireWireTape() override { End(); }

    void PlayFor(int64_t nanoseconds)
    {
        for (const int64_t end = bus.Now() + nanoseconds; bus.Now() < end;) {
            bus.Advance(kTurn);
            for (int i = 0; i < 3; ++i)
                canvas().Idle();
        }
    }

    // Seconds by which the sound is behind the picture at a frame of the movie, by the places of both on the tape.
    static double Lateness(const std::string& movie, const test::Tape& tape, size_t seen, double period)
    {
        const std::string first = movie + ".first";
        OutputOf("ffmpeg -v error -y -i " + movie + " -map 0:v:0 -c copy -frames:v 1 -f rawvideo " + first);
        const auto frame = std::ranges::find(tape.frames, test::ReadFile(first)) - tape.frames.begin();
        const auto length = static_cast<double>(tape.frames.size()) * period;
        const double seenOnTape = std::fmod((static_cast<double>(frame) + static_cast<double>(seen)) * period, length);

        const auto sound =
            test::SoundOf(movie, "-ss " + std::to_string(static_cast<double>(seen) * period) + " -t 0.2");
        const auto heard = std::ranges::search(tape.heard, sound).begin();
        EXPECT_FALSE(sound.empty() || heard == tape.heard.end());
        return seenOnTape - static_cast<double>(heard - tape.heard.begin()) / 2 / 48'000;
    }
};

TEST_P(FireWireTape, AMovieIsAtOneRateAndInStepThroughBusResets)
{
    const bool pal = GetParam().pal;
    const double period = pal ? 0.04 : 1001 / 30000.0;
    test::Tape tape(pal, 10);
    // Five frames of NTSC hold a whole number of samples: a loop of them is in step for ever.
    tape.frames.resize(tape.frames.size() / 5 * 5);
    bus.eventDelay = 250'000'000;
    bus.localMayBeOpened = false;
    auto node = test::MakeCamcorder(kGuid);
    node.tape = &tape.frames;
    bus.Plug(node);
    bus.Advance(platform::kNanosecondsPerSecond);
    canvas().UseDataProc = !GetParam().direct;
    canvas().Initialize();
    while (bus.Receivers() == 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    bus.receiversExpected = 1;
    PlayFor(platform::kNanosecondsPerSecond);
    const std::string movie = folder.path / "tape.mov";
    Record(movie);
    const int64_t part = TapeSeconds() * platform::kNanosecondsPerSecond / 6;
    PlayFor(part);
    bus.Reset();
    PlayFor(part);
    for (int i = 0; i < 2; ++i) {
        bus.Plug(test::MakeDisk(7));
        PlayFor(part);
        bus.Unplug(7);
        PlayFor(part);
    }
    const auto lost = canvas().VideoCounts().lost;
    canvas().Stop();
    bus.receiversExpected = 0;
    EXPECT_EQ(lost, 0U);
    EXPECT_EQ(errors, std::vector<int32_t>());

    EXPECT_EQ(OutputOf("mediainfo '--Inform=Video;%FrameRate_Mode%' " + movie), "CFR\n");
    const auto frames = static_cast<size_t>(std::stoul(OutputOf("mediainfo '--Inform=Video;%FrameCount%' " + movie)));
    const double atFirst = Lateness(movie, tape, 30, period);
    const double atLast = Lateness(movie, tape, frames - 30, period);
    std::printf("%zu frames, sound behind by %.2f ms at first and %.2f ms at last\n", frames, atFirst * 1000,
                atLast * 1000);
    EXPECT_LT(std::abs(atLast), 0.005);
    EXPECT_LT(std::abs(atLast - atFirst), 0.001);
    canvas().Destructor();
    EXPECT_EQ(bus.Handles(), 0U);
    EXPECT_TRUE(bus.HasEmptyBooks());
}

INSTANTIATE_TEST_SUITE_P(, FireWireTape,
                         testing::Values(Manner{"Pal", true, false}, Manner{"Ntsc", false, false},
                                         Manner{"NtscDirect", false, true}),
                         [](const auto& manner) { return manner.param.name; });

} // namespace
