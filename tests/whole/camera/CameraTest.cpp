// The V4L2 digitizer against a real camera at a real server, seen through the server's V4L2 interface. Started by
// with_pipewire.sh and pw-v4l2; VELMORA_TEST_CAMERA names the camera's program.
#include "support/FrameCollector.h"

#include "platform/compression/FrameDecoder.h"
#include "platform/digitizer/FrameGrid.h"
#include "platform/digitizer/V4L2Digitizer.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>

using namespace platform;

namespace {

// A process of the test camera's program, ended with its owner. The camera itself must not be given the V4L2 interface.
class CameraProcess {
public:
    explicit CameraProcess(std::vector<std::string> arguments)
    {
        int ends[2];
        EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
        arguments.insert(arguments.begin(), {"env", "-u", "LD_PRELOAD", std::getenv("VELMORA_TEST_CAMERA")});
        std::vector<char*> pointers;
        for (auto& argument : arguments)
            pointers.push_back(argument.data());
        pointers.push_back(nullptr);
        EXPECT_EQ(posix_spawnp(&process, "env", &actions, nullptr, pointers.data(), environ), 0);
        posix_spawn_file_actions_destroy(&actions);
        close(ends[1]);
        char line[8]{};
        EXPECT_GT(read(ends[0], line, sizeof(line) - 1), 0) << "the camera did not come up";
        close(ends[0]);
    }
    CameraProcess(const CameraProcess&) = delete;
    CameraProcess& operator=(const CameraProcess&) = delete;
    ~CameraProcess()
    {
        kill(process, SIGKILL);
        waitpid(process, nullptr, 0);
    }

private:
    pid_t process = -1;
};

constexpr const char* kName = "Camera of the Test";

// The camera is found a moment after its program says that it is there.
std::unique_ptr<Digitizer> OpenCamera()
{
    const int64_t end = MonotonicNow() + 5'000'000'000;
    auto digitizer = OpenDigitizer({}, kName);
    while (digitizer->Name() != kName && MonotonicNow() < end)
        digitizer = OpenDigitizer({}, kName);
    return digitizer;
}

void ExpectEachFrameOnce(const std::vector<SeenFrame>& frames)
{
    int64_t unread = 0;
    for (size_t i = 0; i < frames.size(); ++i) {
        unread += frames[i].number ? 0 : 1;
        if (i == 0 || !frames[i].number || !frames[i - 1].number)
            continue;
        EXPECT_EQ(*frames[i].number, *frames[i - 1].number + 1) << "at frame " << i;
        EXPECT_EQ(frames[i].sequence, frames[i - 1].sequence + 1) << "at frame " << i;
        EXPECT_GT(frames[i].captureTime, frames[i - 1].captureTime) << "at frame " << i;
    }
    EXPECT_EQ(unread, 0);
}

struct Case {
    const char* size;
    const char* format;
    CaptureFormat expected;
    size_t leastBytes;
};

class ThreeHundredFrames : public testing::TestWithParam<Case> {};

TEST_P(ThreeHundredFrames, ComeOnceEachAndInOrder)
{
    const Case& one = GetParam();
    const CameraProcess camera(
        {"--name", kName, "--size", one.size, "--format", one.format, "--frame-bytes", "200000"});
    const auto digitizer = OpenCamera();
    ASSERT_EQ(digitizer->Name(), kName);
    EXPECT_EQ(digitizer->Format(), one.expected);
    FrameCollector frames;
    ASSERT_EQ(digitizer->Start(frames), noErr);
    ASSERT_TRUE(frames.WaitFor(300));
    digitizer->Stop();
    ExpectEachFrameOnce(frames.Seen());
    EXPECT_EQ(frames.Seen().front().width, one.expected.width);
    EXPECT_GT(frames.Seen().front().bytes, one.leastBytes);
    EXPECT_TRUE(frames.Failures().empty());
}

INSTANTIATE_TEST_SUITE_P(Formats, ThreeHundredFrames,
                         testing::Values(Case{"640x480", "yuyv", {CodeOf("yuvs"), 640, 480, 30}, 614399},
                                         Case{"1280x720", "mjpeg", {CodeOf("jpeg"), 1280, 720, 30}, 150000}),
                         [](const auto& instance) { return std::string(instance.param.format); });

TEST(Camera, IsTakenUpAgainAfterItsProcessWasKilled)
{
    auto camera = std::make_unique<CameraProcess>(std::vector<std::string>{"--name", kName});
    const auto digitizer = OpenCamera();
    FrameCollector frames;
    ASSERT_EQ(digitizer->Start(frames), noErr);
    ASSERT_TRUE(frames.WaitFor(30));
    camera.reset();
    ASSERT_TRUE(frames.WaitForFailure());
    camera = std::make_unique<CameraProcess>(std::vector<std::string>{"--name", kName});
    const int64_t back = MonotonicNow();
    const size_t before = frames.Seen().size();
    ASSERT_TRUE(frames.WaitFor(before + 30));
    digitizer->Stop();
    EXPECT_EQ(frames.Failures().size(), 1U);
    // A figure for the log: a machine under load may be slower than the two seconds of a machine at rest.
    std::printf("first frame %.0f ms after the camera's return\n",
                static_cast<double>(frames.Seen()[before].arrival - back) / 1e6);
}

TEST(Camera, StartsAgainAfterAStopAndInAnotherSize)
{
    const CameraProcess camera({"--name", kName, "--size", "640x480", "--size", "1280x720"});
    const auto digitizer = OpenCamera();
    ASSERT_EQ(digitizer->Formats().size(), 2U);
    uint32_t last = 0;
    for (const auto& [width, height] : {std::pair(640, 480), std::pair(640, 480), std::pair(1280, 720)}) {
        FrameCollector frames;
        ASSERT_EQ(digitizer->SetFormat({CodeOf("yuvs"), width, height, 30}), noErr);
        ASSERT_EQ(digitizer->Start(frames), noErr);
        ASSERT_TRUE(frames.WaitFor(15)) << width << "x" << height;
        digitizer->Stop();
        ExpectEachFrameOnce(frames.Seen());
        EXPECT_EQ(frames.Seen().back().width, width);
        EXPECT_GE(*frames.Seen().front().number, last);
        last = *frames.Seen().back().number;
    }
}

TEST(Camera, ThatDeliversNothingIsStoppedAtOnce)
{
    const CameraProcess camera({"--name", kName, "--silent"});
    const auto digitizer = OpenCamera();
    ASSERT_EQ(digitizer->Name(), kName);
    FrameCollector frames;
    ASSERT_EQ(digitizer->Start(frames), noErr);
    ASSERT_TRUE(frames.WaitForFailure());
    digitizer->Stop();
    EXPECT_TRUE(frames.Seen().empty());
    EXPECT_EQ(frames.Failures(), std::vector<Result>{ioErr});
}

} // namespace
