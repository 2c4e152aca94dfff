// SPDX-License-Identifier: MIT
// Cameras as they are out there: each of these habits comes from reports of users, and has its simulated driver.
#include "SimulatedCamera.h"
#include "platform/clock/SuspendedTime.h"
#include "platform/digitizer/CaptureStamps.h"
#include "platform/digitizer/v4l2/V4L2Camera.h"
#include "platform/digitizer/v4l2/V4L2Controls.h"
#include "platform/digitizer/v4l2/V4L2Pictures.h"
#include "platform/drawing/PixelFormat.h"
#include "support/Await.h"

#include <sstream>

using namespace platform;
using Camera = SimulatedCamera;

namespace {

using CameraHabits = V4L2Test;

TEST_F(CameraHabits, TheListHoldsWhatCanBeUsedAndTriesNothingOut)
{
    auto infrared = Camera::Simple(V4L2_PIX_FMT_GREY);
    infrared.card = "Infrared: Infra"; // as drivers do that fill their field with the name twice
    auto pipeline = Camera::Simple();
    pipeline.capabilities |= V4L2_CAP_IO_MC;
    auto useless = Camera::Simple(V4L2_PIX_FMT_SBGGR8);
    auto busy = Camera::Simple();
    busy.busy = true;
    auto locked = Camera::Simple();
    locked.card = "Locked: Locked";
    locked.openError = EACCES;
    auto output = Camera::Simple();
    output.capabilities = V4L2_CAP_VIDEO_OUTPUT | V4L2_CAP_STREAMING;
    auto loopback = Camera::Simple();
    loopback.card = "Virtual";
    loopback.driver = "v4l2 loopback";
    int node = 63;
    for (Camera camera : {loopback, output, locked, busy, useless, pipeline, infrared}) {
        camera.node = node--;
        camera.busInfo += std::to_string(node);
        cameras->Plug(camera);
    }
    std::string names;
    for (const DigitizerEntry& entry : ListDigitizers())
        names += entry.name + (entry.available ? ", " : " (" + entry.reason + "), ");
    EXPECT_EQ(names, "Infrared, Simulated Camera, Locked (Locked may not be opened: this account is not in the group "
                     "\"video\".), Virtual, Test Pattern, ");
    EXPECT_EQ(cameras->Calls(VIDIOC_REQBUFS) + cameras->Calls(VIDIOC_S_FMT), 0);
    EXPECT_EQ(OpenDigitizer()->Name(), "Virtual") << "the first that is free and has colour";
    EXPECT_EQ(OpenDigitizer("gone", "gone")->Name(), "Virtual");
    EXPECT_EQ(OpenDigitizer("gone", "Infrared")->Name(), "Infrared") << "back under another identity";
    EXPECT_EQ(cameras->Calls(VIDIOC_REQBUFS), 0);
    EXPECT_FALSE(ListDigitizers()[1].available) << "known since it was tried";
}

TEST_F(CameraHabits, TheListIsKeptUntilTheSystemReportsAChange)
{
    Start(Camera::Simple());
    const int opened = cameras->Calls(SimulatedCameras::kOpen);
    for (int i = 0; i < 10; ++i)
        ListDigitizers();
    EXPECT_EQ(cameras->Calls(SimulatedCameras::kOpen), opened);
    auto other = Camera::Simple();
    other.node = 1;
    other.busInfo = "usb-2";
    cameras->Plug(other);
    EXPECT_EQ(ListDigitizers().size(), 3U);
    EXPECT_EQ(cameras->Calls(SimulatedCameras::kOpen), opened + 1) << "the camera that runs is not opened again";
}

TEST_F(CameraHabits, ABusWithoutBandwidthGetsACheaperFormat)
{
    auto camera = Camera::Simple();
    camera.formats[0].sizes = {Camera::Discrete(1920, 1080), Camera::Discrete(640, 480)};
    camera.now.width = 1920;
    camera.now.height = 1080;
    camera.bufferSize = 2 * 1920 * 1080;
    camera.peculiarity = [](Camera& self, unsigned long request, void*) -> std::optional<int> {
        return request == VIDIOC_STREAMON && self.now.width > 640 ? std::optional(ENOSPC) : std::nullopt;
    };
    Open(camera);
    EXPECT_EQ(digitizer->Format().width, 1920);
    EXPECT_EQ(digitizer->Start(frames), noErr);
    ASSERT_TRUE(cameras->Emit(0, {{1, 2, 3}, 1}));
    ASSERT_TRUE(frames.WaitForDamaged(1)); // it has started by now, however busy the machine
    EXPECT_EQ(digitizer->Format().width, 640);
    EXPECT_EQ(digitizer->Reason(), "The USB bus has no bandwidth left: 1920 × 1080 at 30 frames a second is not "
                                   "possible. The camera delivers 640 × 480 at 30 frames a second instead.");
}

// How long a camera may be silent: long before its first frame, and for five frames of a slow one.
TEST_F(CameraHabits, SilenceIsAllowedByTheRateAndAtTheStart)
{
    cameras->Plug(Camera::Simple());
    int error = 0;
    const V4L2Camera camera(V4L2Device::Open(cameras, 0, error));
    const std::tuple<bool, double, int64_t> cases[] = {
        {true, 30, 4000}, {false, 30, 1500}, {false, 2, 2500}, {true, 0.5, 10'000}, {false, 0, 1500}};
    for (const auto& [first, rate, milliseconds] : cases)
        EXPECT_EQ(camera.SilenceAllowed(first, rate), milliseconds * kNanosecondsPerMillisecond) << rate;
}

TEST_F(CameraHabits, OnlyDamagedFramesAreAnOutage)
{
    Start(Camera::Simple());
    std::atomic<bool> isOver = false;
    std::thread sender([&] {
        for (uint32_t i = 0; !isOver; ++i) {
            cameras->Emit(0, {{1, 2, 3}, i});
            std::this_thread::sleep_for(std::chrono::milliseconds(30)); // the camera's own pace
        }
    });
    EXPECT_TRUE(frames.WaitForFailure());
    isOver = true;
    sender.join();
    EXPECT_EQ(frames.Failures(), std::vector<Result>{ioErr});
    EXPECT_EQ(digitizer->Reason(), "Simulated Camera sends no pictures.");
}

// A camera that drops values while its automatic switch is on, as it is when it was just plugged in.
TEST_F(CameraHabits, SettingsComeBackInTheOrderInWhichTheCameraTakesThem)
{
    auto camera = Camera::Simple();
    camera.controls[V4L2_CID_FOCUS_ABSOLUTE] = {0, 250, 5, 0}; // before its switch in the order of numbers
    camera.controls[V4L2_CID_FOCUS_AUTO] = {0, 1, 1, 1};
    camera.peculiarity = [](Camera& self, unsigned long request, void* argument) -> std::optional<int> {
        const auto& control = *static_cast<v4l2_control*>(argument);
        const bool isDropped = request == VIDIOC_S_CTRL && control.id == V4L2_CID_FOCUS_ABSOLUTE &&
                               self.controls[V4L2_CID_FOCUS_AUTO].value == 1;
        return isDropped ? std::optional(0) : std::nullopt;
    };
    Open(camera);
    EXPECT_EQ(digitizer->SetFeature(CodeOf("fcus"), 85), noErr);
    EXPECT_EQ(cameras->At(0).controls[V4L2_CID_FOCUS_ABSOLUTE].value, 85);
    ASSERT_EQ(digitizer->Start(frames), noErr);
    cameras->Unplug(0);
    ASSERT_TRUE(frames.WaitForFailure());
    cameras->Plug(camera);
    ASSERT_TRUE(cameras->Emit(0, {std::vector<uint8_t>(128)}));
    EXPECT_EQ(cameras->At(0).controls[V4L2_CID_FOCUS_ABSOLUTE].value, 85);
    EXPECT_EQ(cameras->At(0).controls[V4L2_CID_FOCUS_AUTO].value, 0);
}

// A source that is set to something else in mid-run, by its signal or by another program, is started again.
TEST_F(CameraHabits, AFormatThatChangesUnderARunIsFollowed)
{
    std::atomic<bool> changes = false;
    auto camera = Camera::Simple();
    camera.peculiarity = [&changes](Camera& self, unsigned long request, void*) -> std::optional<int> {
        if (request == VIDIOC_G_FMT && changes.exchange(false))
            self.now.height = 2;
        return std::nullopt;
    };
    Start(camera);
    ASSERT_TRUE(Deliver(1));
    changes = true;
    ASSERT_TRUE(cameras->Emit(0, {std::vector<uint8_t>(64), 2}));
    EXPECT_TRUE(Await([&] { return cameras->Calls(VIDIOC_STREAMON) == 2; }));
    ASSERT_TRUE(Deliver(3, 64));
    EXPECT_EQ(frames.Seen()[1].height, 2);
    digitizer->Stop();
}

TEST_F(CameraHabits, AControlThatHangsHoldsNobodyUp)
{
    auto camera = Camera::Simple();
    camera.controls[V4L2_CID_BRIGHTNESS] = {0, 100, 1, 50};
    Open(camera);
    ASSERT_EQ(digitizer->Controls().size(), 1U);
    ASSERT_EQ(digitizer->SetControl(V4L2_CID_BRIGHTNESS, 60), noErr);
    cameras->hangControls = true;
    const int64_t start = MonotonicNow();
    EXPECT_EQ(digitizer->Controls().size(), 1U);
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(digitizer->SetControl(V4L2_CID_BRIGHTNESS, i), noErr);
    EXPECT_LT(MonotonicNow() - start, kNanosecondsPerSecond);
    ASSERT_EQ(digitizer->Start(frames), noErr);
    ASSERT_TRUE(Deliver(0));
}

TEST_F(CameraHabits, ControlsAreOfEachKindForDriversOfTheExtendedCalls)
{
    constexpr int64_t large = int64_t{1} << 40;
    auto camera = Camera::Simple();
    camera.takesExtendedCalls = true;
    camera.controls = {{1, {-large, large, 1, large - 1, V4L2_CTRL_TYPE_INTEGER64}},
                       {2, {-9, 9, 1, -3, V4L2_CTRL_TYPE_INTEGER64}}, // small, and of 64 bits all the same
                       {3, {0, 2, 1, 2, V4L2_CTRL_TYPE_INTEGER_MENU}},
                       {4, {0, 0, 1, 0, V4L2_CTRL_TYPE_BUTTON, V4L2_CTRL_FLAG_WRITE_ONLY}},
                       {5, {0, 9, 1, 0, V4L2_CTRL_TYPE_STRING, V4L2_CTRL_FLAG_HAS_PAYLOAD}},
                       {6, {0, 9, 1, 4}}};
    // A control whose range changes by itself.
    camera.peculiarity = [](Camera& self, unsigned long, void*) -> std::optional<int> {
        self.controls[6].maximum = self.controls[3].value == 0 ? 99 : 9;
        return std::nullopt;
    };
    cameras->Plug(camera);
    int error = 0;
    V4L2Controls controls(V4L2Device::Open(cameras, 0, error));
    const auto read = controls.Read();
    std::map<uint32_t, int64_t> values;
    for (const ImageControl& control : read)
        values[control.identity] = control.value;
    EXPECT_EQ(values, (std::map<uint32_t, int64_t>{{1, large - 1}, {2, -3}, {3, 2}, {4, 0}, {6, 4}}));
    EXPECT_EQ(read[2].choices, (decltype(read[2].choices){{0, "0"}, {2, "50"}}));
    EXPECT_EQ(read[3].kind, ImageControl::Kind::Button);

    const std::tuple<uint32_t, int64_t, Result> writes[] = {
        {1, -large, noErr}, {2, -9, noErr},           {3, 0, noErr},
        {4, 1, noErr},      {1, 2 * large, paramErr}, {5, 0, digiUnimpErr}};
    for (const auto& [identity, value, result] : writes) {
        EXPECT_EQ(controls.Write(identity, value), result) << identity;
        EXPECT_TRUE(result != noErr || cameras->At(0).controls[identity].value == value) << identity;
    }
    v4l2_event event{};
    event.u.ctrl.changes = V4L2_EVENT_CTRL_CH_RANGE;
    controls.Changed(event);
    EXPECT_EQ(controls.Read().back().maximum, 99);
}

// A camera that is silent after the machine was suspended is started again within two seconds, without a report. The
// clocks are the test's: the monotonic one goes on as the thread looks at the device.
TEST_F(CameraHabits, ACameraIsBackWithinTwoSecondsOfASuspension)
{
    static std::atomic<int64_t> now, suspended;
    now = 1'000 * kNanosecondsPerSecond;
    suspended = 0;
    SetMonotonicClock([] { return now.load(); });
    SetSuspendedTime([] { return suspended.load(); });
    Start(Camera::Simple());
    ASSERT_TRUE(Deliver(7));
    const int starts = cameras->Calls(VIDIOC_STREAMON);
    suspended = 3'600 * kNanosecondsPerSecond;
    for (int step = 0; step < 7; ++step) {
        ASSERT_TRUE(Await([&, polls = cameras->Calls(SimulatedCameras::kPoll)] {
            return cameras->Calls(SimulatedCameras::kPoll) > polls + 1;
        }));
        now += 250 * kNanosecondsPerMillisecond;
    }
    EXPECT_TRUE(Await([&] { return cameras->Calls(VIDIOC_STREAMON) > starts; }));
    ASSERT_TRUE(Deliver(0));
    digitizer->Stop();
    EXPECT_EQ(frames.Seen()[1].sequence, 2U) << "the gap is counted";
    EXPECT_TRUE(frames.Failures().empty());
    SetMonotonicClock(nullptr);
    SetSuspendedTime(nullptr);
}

TEST(CaptureStamps, OneBadStampIsEstimatedAndTheNextBelieved)
{
    constexpr int64_t ms = 1'000'000;
    CaptureStamps stamps(100);
    const std::tuple<std::optional<int64_t>, int64_t, int64_t> frames[] = {
        {1000 * ms, 1045 * ms, 1000 * ms}, {1010 * ms, 1055 * ms, 1010 * ms},
        {3 * ms, 1065 * ms, 1020 * ms},    {1030 * ms, 1075 * ms, 1030 * ms}, // arrival would be behind the next stamp
        {1030 * ms, 1085 * ms, 1040 * ms}, {1030 * ms, 1095 * ms, 1095 * ms}, // it stands still
        {9999 * ms, 1105 * ms, 1105 * ms}, {1070 * ms, 1115 * ms, 1105 * ms + 1},
        {1120 * ms, 1125 * ms, 1120 * ms}, {std::nullopt, 1130 * ms, 1130 * ms},
    };
    for (const auto& [stamp, now, expected] : frames)
        EXPECT_EQ(stamps.Next(stamp, now), expected) << now / ms;
}

// Bytes as they are written in a table: numbers with blanks between them.
std::vector<uint8_t> BytesOf(const char* text)
{
    std::istringstream numbers(text);
    std::vector<uint8_t> bytes;
    for (int number = 0; numbers >> number;)
        bytes.push_back(static_cast<uint8_t>(number));
    return bytes;
}

// A picture of 2 by 4 pixels in each layout of the kernel's, and how it is handed on.
TEST(V4L2Pictures, LayoutsAndFields)
{
    struct Case {
        uint32_t pixelFormat;
        uint32_t field;
        uint32_t stride;
        const char* bytes;
        FourCharCode format;
        const char* expected;
    };
    constexpr uint32_t frame = V4L2_FIELD_NONE;
    const char* const rows = "1 2 3 4 5 6 7 8";
    const Case cases[] = {
        {V4L2_PIX_FMT_GREY, V4L2_FIELD_SEQ_TB, 2, "1 2 5 6 3 4 7 8", kGreyPixelFormat, rows},
        {V4L2_PIX_FMT_GREY, V4L2_FIELD_SEQ_BT, 2, "3 4 7 8 1 2 5 6", kGreyPixelFormat, rows},
        {V4L2_PIX_FMT_GREY, V4L2_FIELD_TOP, 2, "1 2 5 6", kGreyPixelFormat, "1 2 1 2 5 6 5 6"},
        {V4L2_PIX_FMT_GREY, frame, 3, "1 2 0 3 4 0 5 6 0 7 8", kGreyPixelFormat, rows}, // padded, as the next two
        {V4L2_PIX_FMT_NV12, frame, 4, "1 2 0 0 3 4 0 0 5 6 0 0 7 8 0 0 11 21 0 0 12 22", kNV12PixelFormat,
         "1 2 3 4 5 6 7 8 11 21 12 22"},
        {V4L2_PIX_FMT_YUV420, frame, 4, "1 2 0 0 3 4 0 0 5 6 0 0 7 8 0 0 11 0 12 0 21 0 22", kY420PixelFormat,
         "1 2 3 4 5 6 7 8 11 12 21 22"},
        {V4L2_PIX_FMT_Y16, frame, 4, "9 1 9 2 9 3 9 4 9 5 9 6 9 7 9 8", kGreyPixelFormat, rows},
        {V4L2_PIX_FMT_Y10, frame, 4, "4 0 8 0 12 0 16 0 20 0 24 0 28 0 255 3", kGreyPixelFormat, "1 2 3 4 5 6 7 255"},
        {V4L2_PIX_FMT_YVYU, frame, 4, "1 8 2 9 1 8 2 9 1 8 2 9 1 8 2 9", kYuvsPixelFormat,
         "1 9 2 8 1 9 2 8 1 9 2 8 1 9 2 8"},
        {V4L2_PIX_FMT_VYUY, frame, 4, "8 1 9 2 8 1 9 2 8 1 9 2 8 1 9 2", k2vuyPixelFormat,
         "9 1 8 2 9 1 8 2 9 1 8 2 9 1 8 2"},
        {V4L2_PIX_FMT_NV16, frame, 2, "1 2 3 4 5 6 7 8 11 12 13 14 15 16 17 18", k2vuyPixelFormat,
         "11 1 12 2 13 3 14 4 15 5 16 6 17 7 18 8"},
        {V4L2_PIX_FMT_NV21, frame, 2, "1 2 3 4 5 6 7 8 21 11 22 12", kNV12PixelFormat, "1 2 3 4 5 6 7 8 11 21 12 22"},
        {V4L2_PIX_FMT_YVU420, frame, 2, "1 2 3 4 5 6 7 8 21 22 11 12", kY420PixelFormat, "1 2 3 4 5 6 7 8 11 12 21 22"},
        {V4L2_PIX_FMT_XRGB32, V4L2_FIELD_TOP, 8, "0 3 2 1 0 6 5 4 0 3 2 1 0 6 5 4", kPixelFormat32,
         "1 2 3 255 4 5 6 255 1 2 3 255 4 5 6 255 1 2 3 255 4 5 6 255 1 2 3 255 4 5 6 255"},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.pixelFormat);
        V4L2Layout layout{.pixelFormat = one.pixelFormat,
                          .width = 2,
                          .height = one.field == V4L2_FIELD_TOP ? 2U : 4U,
                          .field = one.field};
        layout.strides[0] = one.stride;
        V4L2Pictures pictures(layout);
        RawFrame picture;
        const auto bytes = BytesOf(one.bytes);
        const std::array memory{std::span<const uint8_t>(bytes)};
        EXPECT_EQ(pictures.Read(std::array{memory[0].first(1)}, 0, picture), V4L2Pictures::Found::Damaged);
        ASSERT_EQ(pictures.Read(memory, 0, picture), V4L2Pictures::Found::Picture);
        EXPECT_EQ(picture.format, one.format);
        EXPECT_EQ(picture.height, 4);
        EXPECT_EQ(std::vector(picture.bytes.begin(), picture.bytes.end()), BytesOf(one.expected));
    }
}

// Fields that come in buffers of their own are put together, the top one of a frame first.
TEST(V4L2Pictures, FieldsOfTheirOwnBuffersBecomeFrames)
{
    V4L2Layout layout{.pixelFormat = V4L2_PIX_FMT_GREY, .width = 2, .height = 2, .field = V4L2_FIELD_ALTERNATE};
    layout.strides[0] = 3;
    V4L2Pictures pictures(layout);
    RawFrame picture;
    auto found = V4L2Pictures::Found::Damaged;
    for (const auto& [field, text] : {std::pair(V4L2_FIELD_BOTTOM, "9 9 0 9 9 0"),
                                      {V4L2_FIELD_BOTTOM, "3 4 0 7 8 0"},
                                      {V4L2_FIELD_TOP, "1 2 0 5 6"}}) {
        const auto bytes = BytesOf(text);
        found = pictures.Read(std::array{std::span<const uint8_t>(bytes)}, field, picture);
    }
    ASSERT_EQ(found, V4L2Pictures::Found::Picture);
    EXPECT_EQ(std::vector(picture.bytes.begin(), picture.bytes.end()), BytesOf("1 2 3 4 5 6 7 8"));
}

} // namespace
