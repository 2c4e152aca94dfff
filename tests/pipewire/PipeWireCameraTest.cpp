// SPDX-License-Identifier: MIT
// Cameras of a PipeWire server that are no V4L2 nodes: a server of the test's own, cameras that are processes of their
// own, and both killed while they deliver.
#include "support/Await.h"
#include "support/ChildProcess.h"
#include "support/Files.h"
#include "support/FrameCollector.h"
#include "support/IdleShare.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <sched.h>
#include <sstream>
#include <sys/resource.h>

using namespace platform;
using test::ChildProcess;
using test::Quoted;

namespace {

constexpr const char* kIdentity = "pipewire:Test Camera";

bool IsListed()
{
    const auto entries = ListDigitizers();
    return std::ranges::find(entries, kIdentity, &DigitizerEntry::identity) != entries.end();
}

// What gives clients of older versions real-time threads. The program asks for it by itself; this test's environment
// does not.
bool HasRealTimeConfiguration()
{
    return std::filesystem::exists("/usr/share/pipewire/client-rt.conf");
}

// The camera of the test before may still be listed for a moment: opened then, it would have gone.
std::unique_ptr<ChildProcess> StartCamera(const std::string& options)
{
    EXPECT_TRUE(Await([] { return !IsListed(); }));
    const std::string environment = HasRealTimeConfiguration() ? "env PIPEWIRE_CONFIG_NAME=client-rt.conf " : "";
    return std::make_unique<ChildProcess>(environment +
                                          Quoted(std::string(getenv("VELMORA_PROGRAMS")) + "/test_camera") + options);
}

std::unique_ptr<Digitizer> OpenCamera()
{
    EXPECT_TRUE(Await(IsListed));
    auto camera = OpenDigitizer(kIdentity);
    EXPECT_EQ(camera->Identity(), kIdentity);
    return camera;
}

int RealTimeThreads()
{
    int count = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task"))
        count += sched_getscheduler(std::stoi(task.path().filename())) != SCHED_OTHER;
    return count;
}

bool MayHaveRealTimeThreads()
{
    rlimit limit{};
    return geteuid() == 0 || (getrlimit(RLIMIT_RTPRIO, &limit) == 0 && limit.rlim_cur > 0);
}

// The numbers of the frames that the camera handed over, by its log. It leaves one out when all its buffers are with
// the receiver.
std::vector<uint32_t> FramesMade(const std::string& log)
{
    std::ifstream file(log);
    std::vector<uint32_t> numbers;
    for (std::string line; std::getline(file, line);)
        if (std::istringstream words(line); line.starts_with("made")) {
            words.ignore(4);
            words >> numbers.emplace_back();
        }
    return numbers;
}

// The frames are those that the camera made, in their order, with the times on the grid at which they were made. Those
// left out are counted. A camera that got no processor for some periods makes no frames for them.
void ExpectFramesMade(const std::vector<SeenFrame>& seen, const std::vector<uint32_t>& made, bool hadTime)
{
    int64_t skipped = 0;
    auto next = made.begin();
    for (size_t i = 0; i < seen.size(); ++i, ++next) {
        ASSERT_TRUE(seen[i].number) << i;
        next = std::find(next, made.end(), *seen[i].number);
        ASSERT_NE(next, made.end()) << "frame " << i;
        const uint32_t after = *seen[i].number - *seen[0].number;
        EXPECT_EQ(seen[i].sequence - seen[0].sequence, after) << "frame " << i;
        const auto time = static_cast<double>(seen[i].captureTime - seen[0].captureTime);
        const int64_t periods = std::llround(time * 30 / 1e9);
        EXPECT_NEAR(time, static_cast<double>(periods) * (1e9 / 30), 2e3) << "frame " << i;
        EXPECT_GE(periods - after, skipped) << "frame " << i;
        skipped = periods - after;
    }
    EXPECT_TRUE(!hadTime || skipped == 0) << skipped;
}

TEST(PipeWireCamera, EveryFrameInBothFormats)
{
    const test::TemporaryFolder folder;
    const std::string log = folder / "frames";
    const auto process = StartCamera(" --size 640x480 --size 1280x720 --format yuyv --format mjpeg --log " + log);
    const auto camera = OpenCamera();
    EXPECT_EQ(camera->Formats().size(), 4U);
    const CaptureFormat formats[] = {{CodeOf("jpeg"), 1280, 720, 30}, {kYuvsPixelFormat, 640, 480, 30}};
    for (const CaptureFormat& format : formats) {
        FrameCollector frames;
        const IdleShare idle;
        ASSERT_EQ(camera->SetFormat(format), noErr);
        ASSERT_EQ(camera->Start(frames), noErr) << camera->Reason();
        ASSERT_TRUE(frames.WaitFor(300));
        camera->Stop();
        auto seen = frames.Seen();
        seen.resize(300);
        EXPECT_EQ(seen[0].format, format.format);
        EXPECT_EQ(seen[0].width, format.width);
        const bool hadTime = idle.HadTime();
        ExpectFramesMade(seen, FramesMade(log), hadTime);
        EXPECT_TRUE(!hadTime || *seen[299].number - *seen[0].number == 299);
    }
}

TEST(PipeWireCamera, TakesFramesOnARealTimeThread)
{
    if (!MayHaveRealTimeThreads() || !HasRealTimeConfiguration())
        GTEST_SKIP() << "this user or this version of the server's clients has no real-time threads";
    const auto process = StartCamera(" --size 640x480");
    const auto camera = OpenCamera();
    const int before = RealTimeThreads();
    FrameCollector frames;
    ASSERT_EQ(camera->Start(frames), noErr) << camera->Reason();
    ASSERT_TRUE(frames.WaitFor(1));
    EXPECT_GT(RealTimeThreads(), before);
    camera->Stop();
}

TEST(PipeWireCamera, ComesBackAfterTheServer)
{
    auto process = StartCamera(" --size 640x480");
    const auto camera = OpenCamera();
    FrameCollector frames;
    ASSERT_EQ(camera->Start(frames), noErr) << camera->Reason();
    ASSERT_TRUE(frames.WaitFor(10));
    for (const char* server : {"WIREPLUMBER_PID", "PIPEWIRE_PID"})
        kill(std::stoi(getenv(server)), SIGKILL);
    ASSERT_TRUE(frames.WaitForFailure());
    process.reset();
    const ChildProcess server("pipewire");
    ASSERT_TRUE(Await([] { return system("pw-cli info 0 >/dev/null 2>&1") == 0; }));
    const ChildProcess manager("wireplumber");
    process = StartCamera(" --size 640x480");
    ASSERT_TRUE(Await(IsListed));
    const size_t before = frames.Seen().size();
    // Told once for the whole outage. On a busy machine the camera itself may pause again later.
    ASSERT_TRUE(frames.WaitFor(before + 30));
    EXPECT_EQ(frames.Seen()[before].failures, 1U);
    camera->Stop();
}

} // namespace
