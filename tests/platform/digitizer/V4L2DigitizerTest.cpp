#include "platform/digitizer/V4L2Digitizer.h"
#include "SimulatedCamera.h"
#include "support/FrameCollector.h"

#include <functional>
#include <gtest/gtest.h>
#include <numeric>

using namespace platform;
using Camera = SimulatedCamera;

namespace {

constexpr FourCharCode kJpeg = CodeOf("jpeg");

// The beginning of a JPEG picture as far as its size, and a little behind it.
std::vector<uint8_t> JpegBytes(int width, int height)
{
    return {0xFF,
            0xD8,
            0xFF,
            0xDB,
            0x00,
            0x04,
            0x00,
            0x00,
            0xFF,
            0xC0,
            0x00,
            0x0B,
            0x08,
            static_cast<uint8_t>(height >> 8),
            static_cast<uint8_t>(height),
            static_cast<uint8_t>(width >> 8),
            static_cast<uint8_t>(width),
            0x01,
            0x01,
            0x11,
            0x00,
            0xFF,
            0xD9};
}

std::vector<uint8_t> Ramp(size_t size)
{
    std::vector<uint8_t> bytes(size);
    std::iota(bytes.begin(), bytes.end(), uint8_t{0});
    return bytes;
}

// Keeps the pixels of each frame, which the collector does not.
class PixelCollector : public FrameCollector {
public:
    void FrameArrived(const CapturedFrame& frame) override
    {
        last.assign(frame.picture.bytes.begin(), frame.picture.bytes.end());
        FrameCollector::FrameArrived(frame);
    }
    std::vector<uint8_t> last;
};

class V4L2DigitizerTest : public testing::Test {
protected:
    void SetUp() override { V4L2System::SetCurrent(cameras); }
    void TearDown() override { V4L2System::SetCurrent(nullptr); }

    void Open(const Camera& camera)
    {
        cameras->Plug(camera);
        digitizer = OpenDigitizer();
        ASSERT_EQ(digitizer->Name(), camera.card);
    }

    std::shared_ptr<SimulatedCameras> cameras = std::make_shared<SimulatedCameras>();
    std::unique_ptr<Digitizer> digitizer;
    PixelCollector frames;
};

TEST_F(V4L2DigitizerTest, ListsCapturingDevicesInTheOrderOfTheirNodesAndThePatternLast)
{
    auto first = Camera::Simple();
    first.node = 63;
    first.card = "Card";
    first.inputs = {"Tuner", "Composite"};
    auto second = Camera::Simple();
    second.node = 2;
    second.busy = true;
    auto output = Camera::Simple();
    output.node = 3;
    output.capabilities = V4L2_CAP_VIDEO_OUTPUT | V4L2_CAP_STREAMING;
    for (const auto& camera : {first, second, output})
        cameras->Plug(camera);
    const auto entries = ListDigitizers();
    ASSERT_EQ(entries.size(), 3U);
    EXPECT_EQ(entries[0].name, second.card);
    EXPECT_FALSE(entries[0].available);
    EXPECT_EQ(entries[1].name, "Card");
    EXPECT_TRUE(entries[1].available);
    EXPECT_EQ(entries[1].inputs, first.inputs);
    EXPECT_EQ(entries[2].identity, "test-pattern");
    EXPECT_EQ(OpenDigitizer(entries[1].identity)->Name(), "Card");
    EXPECT_EQ(OpenDigitizer("gone", "Card")->Name(), "Card");
    EXPECT_EQ(OpenDigitizer("gone", "gone")->Name(), second.card);
}

TEST_F(V4L2DigitizerTest, EnumeratesListsRangesAndDevicesThatCanDoNeither)
{
    struct Case {
        Camera::Format offered;
        std::vector<CaptureFormat> expected;
    };
    v4l2_frmsizeenum range{};
    range.type = V4L2_FRMSIZE_TYPE_STEPWISE;
    range.stepwise = {640, 1280, 16, 480, 960, 16};
    v4l2_frmivalenum rates{};
    rates.type = V4L2_FRMIVAL_TYPE_CONTINUOUS;
    rates.stepwise = {{1, 30}, {1, 24}, {1, 1}};
    const FourCharCode yuvs = kYuvsPixelFormat;
    const Case cases[] = {
        {{V4L2_PIX_FMT_MJPEG, {Camera::Discrete(800, 600)}, {Camera::Interval(1, 15), Camera::Interval(1001, 30000)}},
         {{kJpeg, 800, 600, 30000.0 / 1001}, {kJpeg, 800, 600, 15}}},
        {{V4L2_PIX_FMT_YUYV, {range}, {Camera::Interval(1, 30)}},
         {{yuvs, 640, 480, 30},
          {yuvs, 720, 480, 30},
          {yuvs, 720, 576, 30},
          {yuvs, 1024, 768, 30},
          {yuvs, 1280, 720, 30},
          {yuvs, 1280, 960, 30}}},
        {{V4L2_PIX_FMT_YUYV, {Camera::Discrete(320, 240)}, {rates}},
         {{yuvs, 320, 240, 30}, {yuvs, 320, 240, 29.97}, {yuvs, 320, 240, 25}, {yuvs, 320, 240, 24}}},
        {{V4L2_PIX_FMT_GREY, {Camera::Discrete(320, 240)}, {}}, {{kGreyPixelFormat, 320, 240, 12.5}}},
        {{V4L2_PIX_FMT_H264, {Camera::Discrete(320, 240)}, {Camera::Interval(1, 30)}}, {}},
        {{V4L2_PIX_FMT_YUYV, {Camera::Discrete(0, 240), Camera::Discrete(100000, 10)}, {Camera::Interval(0, 0)}}, {}},
    };
    for (const Case& one : cases) {
        Camera camera;
        camera.formats = {one.offered};
        camera.interval = {2, 25};
        cameras->Plug(camera);
        EXPECT_EQ(OpenV4L2Digitizer(cameras, "v4l2:simulated:Simulated Camera")->Formats(), one.expected);
    }
}

TEST_F(V4L2DigitizerTest, OffersTheUsualSizesOfADeviceThatCanOnlyTry)
{
    Camera camera;
    camera.formats = {{V4L2_PIX_FMT_YUYV, {}, {}}};
    Open(camera);
    const auto formats = digitizer->Formats();
    EXPECT_NE(std::ranges::find(formats, CaptureFormat{kYuvsPixelFormat, 640, 480, 30}), formats.end());
}

TEST(V4L2Formats, DefaultAndNearest)
{
    const FourCharCode yuvs = kYuvsPixelFormat;
    const std::vector<CaptureFormat> camera{{yuvs, 640, 480, 30},   {yuvs, 1280, 720, 10},  {kJpeg, 640, 480, 30},
                                            {kJpeg, 1280, 720, 60}, {kJpeg, 1280, 720, 30}, {kJpeg, 1920, 1080, 30}};
    EXPECT_EQ(DefaultFormat(camera), (CaptureFormat{kJpeg, 1280, 720, 30}));
    EXPECT_EQ(DefaultFormat({camera[0], camera[2]}), camera[0]);
    EXPECT_EQ(DefaultFormat({camera[5]}), camera[5]);
    EXPECT_EQ(DefaultFormat({}).format, 0U);
    const std::pair<CaptureFormat, CaptureFormat> wishes[] = {
        {{yuvs, 1280, 720, 30}, camera[1]},  {{kJpeg, 1280, 720, 50}, camera[3]}, {{0, 1300, 700, 30}, camera[4]},
        {{kJpeg, 9999, 9999, 1}, camera[5]}, {{0, 640, 480, 0}, camera[0]},       {{yuvs, 0, 480, 30}, {}},
        {{yuvs, 640, 480, -1}, {}},          {{yuvs, 640, 480, 0.0 / 0.0}, {}},
    };
    for (const auto& [wish, expected] : wishes)
        EXPECT_EQ(NearestFormat(camera, wish), expected) << wish.width << "x" << wish.height;
}

TEST_F(V4L2DigitizerTest, KeepsTheDevicesOwnFormatAndTakesTheNearest)
{
    auto camera = Camera::Simple(V4L2_PIX_FMT_UYVY, 320, 240);
    camera.formats.push_back({V4L2_PIX_FMT_MJPEG, {Camera::Discrete(1280, 720)}, {Camera::Interval(1, 30)}});
    Open(camera);
    EXPECT_EQ(digitizer->Format(), (CaptureFormat{k2vuyPixelFormat, 320, 240, 30}));
    EXPECT_EQ(digitizer->SetFormat({0, 1920, 1080, 30}), noErr);
    EXPECT_EQ(digitizer->Format(), (CaptureFormat{kJpeg, 1280, 720, 30}));
    EXPECT_EQ(digitizer->SetFormat({0, -1, 1080, 30}), deviceCantMeetRequest);
}

TEST_F(V4L2DigitizerTest, DeliversDriversStampsAndCountsAndTellsLossesBySequence)
{
    Open(Camera::Simple());
    ASSERT_EQ(digitizer->Start(frames), noErr);
    const auto bytes = Ramp(128);
    const int64_t stamp = MonotonicNow() / 1000 * 1000 - 20'000'000;
    ASSERT_TRUE(cameras->Emit(0, {bytes, 100, V4L2_BUF_FLAG_TIMESTAMP_MONOTONIC, stamp}));
    ASSERT_TRUE(cameras->Emit(0, {bytes, 103, V4L2_BUF_FLAG_TIMESTAMP_MONOTONIC, stamp + 1'000'000}));
    ASSERT_TRUE(cameras->Emit(0, {bytes, 104, V4L2_BUF_FLAG_ERROR}));
    ASSERT_TRUE(cameras->Emit(0, {Ramp(127), 105}));                                           // a byte is missing
    ASSERT_TRUE(cameras->Emit(0, {bytes, 106, V4L2_BUF_FLAG_TIMESTAMP_MONOTONIC, 1'000'000})); // a stamp of long ago
    ASSERT_TRUE(cameras->Emit(0, {bytes, 106})); // a driver that doesn't count
    ASSERT_TRUE(frames.WaitFor(4));
    digitizer->Stop();
    const auto seen = frames.Seen();
    ASSERT_EQ(seen.size(), 4U);
    const uint32_t sequences[] = {0, 3, 6, 7};
    for (size_t i = 0; i < 4; ++i)
        EXPECT_EQ(seen[i].sequence, sequences[i]);
    EXPECT_EQ(seen[0].captureTime, stamp);
    EXPECT_EQ(seen[1].captureTime, stamp + 1'000'000);
    EXPECT_GT(seen[2].captureTime, stamp + 20'000'000);
    EXPECT_EQ(frames.last, bytes);
    EXPECT_TRUE(cameras->IsIdle(0));
    EXPECT_EQ(cameras->Mapped(), 0U);
}

TEST_F(V4L2DigitizerTest, TakesThePaddingOffTheRowsOfEveryLayout)
{
    struct Case {
        uint32_t pixelFormat;
        uint32_t rowBytes;          // of the first plane
        std::vector<uint32_t> rows; // the bytes of each row in order, each followed by its padding
        std::vector<uint32_t> paddings;
    };
    const Case cases[] = {
        {V4L2_PIX_FMT_YUYV, 16, {16, 16, 16, 16}, {6, 6, 6, 6}},
        {V4L2_PIX_FMT_GREY, 8, {8, 8, 8, 8}, {6, 6, 6, 6}},
        {V4L2_PIX_FMT_NV12, 8, {8, 8, 8, 8, 8, 8}, {6, 6, 6, 6, 6, 6}},
        {V4L2_PIX_FMT_YUV420, 8, {8, 8, 8, 8, 4, 4, 4, 4}, {6, 6, 6, 6, 3, 3, 3, 3}},
    };
    for (const Case& one : cases) {
        std::vector<uint8_t> sent, expected;
        for (size_t row = 0; row < one.rows.size(); ++row) {
            for (uint32_t i = 0; i < one.rows[row]; ++i)
                expected.push_back(static_cast<uint8_t>(row * 20 + i));
            sent.insert(sent.end(), expected.end() - one.rows[row], expected.end());
            sent.insert(sent.end(), one.paddings[row], 255);
        }
        sent.resize(sent.size() - one.paddings.back());
        auto camera = Camera::Simple(one.pixelFormat, 8, 4);
        camera.padding = 6;
        Open(camera);
        ASSERT_EQ(digitizer->Start(frames), noErr);
        const size_t before = frames.Seen().size();
        ASSERT_TRUE(cameras->Emit(0, {sent}));
        ASSERT_TRUE(frames.WaitFor(before + 1));
        digitizer->Stop();
        EXPECT_EQ(frames.last, expected) << one.pixelFormat;
    }
}

TEST_F(V4L2DigitizerTest, JpegFramesCarryTheirOwnSizeAndBrokenOnesAreDropped)
{
    Open(Camera::Simple(V4L2_PIX_FMT_MJPEG, 640, 480));
    ASSERT_EQ(digitizer->Start(frames), noErr);
    auto padded = JpegBytes(320, 200);
    padded.resize(4096);
    auto cut = JpegBytes(640, 480);
    cut.resize(12);
    for (const auto& bytes : {Ramp(100), std::vector<uint8_t>{}, cut, JpegBytes(0, 480), JpegBytes(640, 20000), padded})
        ASSERT_TRUE(cameras->Emit(0, {bytes, 0}));
    ASSERT_TRUE(frames.WaitFor(1));
    digitizer->Stop();
    const auto seen = frames.Seen();
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_EQ(std::pair(seen[0].width, seen[0].height), std::pair(320, 200));
    EXPECT_EQ(seen[0].sequence, 5U);
    EXPECT_EQ(frames.last, padded);
}

TEST_F(V4L2DigitizerTest, FollowsADeviceThatChangesItsSize)
{
    for (const bool withEvent : {false, true}) {
        Open(Camera::Simple(V4L2_PIX_FMT_YUYV, 16, 8));
        PixelCollector changing;
        ASSERT_EQ(digitizer->Start(changing), noErr);
        ASSERT_TRUE(cameras->Emit(0, {Ramp(256), 0}));
        ASSERT_TRUE(changing.WaitFor(1));
        cameras->Alter(0, [](Camera& camera) { camera.now.width = camera.now.height = 8; });
        if (withEvent)
            cameras->SendSourceChange(0);
        while (changing.Seen().size() < 2)
            ASSERT_TRUE(cameras->Emit(0, {Ramp(128), 2}));
        digitizer->Stop();
        EXPECT_EQ(std::pair(changing.Seen()[1].width, changing.Seen()[1].height), std::pair(8, 8));
        EXPECT_EQ(digitizer->Format().width, 8);
        EXPECT_TRUE(changing.Failures().empty());
        digitizer.reset();
    }
}

TEST_F(V4L2DigitizerTest, AnyCallThatFailsAtTheStartGivesAResultAndLeavesNothingBehind)
{
    const unsigned long requests[] = {VIDIOC_S_FMT,           VIDIOC_REQBUFS, VIDIOC_QUERYBUF,
                                      SimulatedCameras::kMap, VIDIOC_QBUF,    VIDIOC_STREAMON};
    const std::pair<int, Result> errors[] = {{EIO, ioErr},
                                             {EINVAL, deviceCantMeetRequest},
                                             {ENOMEM, notEnoughMemoryToGrab},
                                             {EBUSY, noDeviceForChannel},
                                             {EPERM, permErr}};
    Open(Camera::Simple());
    for (const unsigned long request : requests)
        for (const auto& [error, result] : errors) {
            cameras->Fail(request, error, request == VIDIOC_QBUF ? 1 : 0, true);
            EXPECT_EQ(digitizer->Start(frames), result) << "request " << request << ", error " << error;
            cameras->FailNothing();
            digitizer->Stop();
            EXPECT_TRUE(cameras->IsIdle(0));
            EXPECT_EQ(cameras->Mapped(), 0U);
        }
    ASSERT_EQ(digitizer->Start(frames), noErr);
    ASSERT_TRUE(cameras->Emit(0, {Ramp(128)}));
    EXPECT_TRUE(frames.WaitFor(1));
    digitizer->Stop();
    EXPECT_TRUE(frames.Failures().empty());
}

TEST_F(V4L2DigitizerTest, AFailureInMidRunIsToldOnceAndTheDeviceIsTakenUpAgain)
{
    struct Case {
        const char* name;
        std::function<void(SimulatedCameras&)> harm;
        std::function<void(SimulatedCameras&)> mend;
        Result told;
        bool showsWithTheNextFrame;
    };
    auto elsewhere = Camera::Simple();
    elsewhere.node = 5;
    elsewhere.busInfo = "usb-7";
    const Case cases[] = {
        {"unplugged", [](auto& all) { all.Unplug(0); }, [](auto& all) { all.Plug(Camera::Simple()); },
         noDeviceForChannel, false},
        {"unplugged, back in another place", [](auto& all) { all.Unplug(0); }, [&](auto& all) { all.Plug(elsewhere); },
         noDeviceForChannel, false},
        {"taking a frame fails", [](auto& all) { all.Fail(VIDIOC_DQBUF, EIO); }, [](auto&) {}, ioErr, true},
        {"giving a buffer back fails", [](auto& all) { all.Fail(VIDIOC_QBUF, ENODEV); }, [](auto&) {},
         noDeviceForChannel, true},
        {"fails, and then another process has it",
         [](auto& all) {
             all.Fail(VIDIOC_REQBUFS, EBUSY, 1, true);
             all.Fail(VIDIOC_DQBUF, EIO);
         },
         [](auto& all) { all.FailNothing(); }, ioErr, true},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.name);
        Open(Camera::Simple());
        PixelCollector run;
        ASSERT_EQ(digitizer->Start(run), noErr);
        ASSERT_TRUE(cameras->Emit(0, {Ramp(128), 7}));
        ASSERT_TRUE(run.WaitFor(1));
        one.harm(*cameras);
        if (one.showsWithTheNextFrame) {
            ASSERT_TRUE(cameras->Emit(0, {Ramp(128), 8}));
        }
        ASSERT_TRUE(run.WaitForFailure());
        one.mend(*cameras);
        const int node = std::string(one.name).ends_with("another place") ? 5 : 0;
        const size_t before = run.Seen().size();
        ASSERT_TRUE(cameras->Emit(node, {Ramp(128), 0}));
        ASSERT_TRUE(run.WaitFor(before + 1));
        digitizer->Stop();
        EXPECT_EQ(run.Failures(), std::vector<Result>{one.told});
        EXPECT_EQ(run.Seen().back().sequence, before);
        digitizer.reset();
        cameras->Unplug(node);
    }
}

TEST_F(V4L2DigitizerTest, ATwinIsNeverTakenForADeviceThatWent)
{
    auto twin = Camera::Simple();
    twin.node = 1;
    twin.busInfo = "usb-2";
    cameras->Plug(twin);
    Open(Camera::Simple());
    const auto entries = ListDigitizers();
    EXPECT_NE(entries[0].identity, entries[1].identity);
    ASSERT_EQ(digitizer->Start(frames), noErr);
    cameras->Unplug(0);
    ASSERT_TRUE(frames.WaitForFailure());
    EXPECT_EQ(digitizer->Start(frames), noDeviceForChannel);
    EXPECT_TRUE(cameras->IsIdle(1));
    digitizer->Stop();
}

TEST_F(V4L2DigitizerTest, ADeviceThatIsAbsentAtTheStartIsTakenUpWithWhatWasSet)
{
    auto camera = Camera::Simple();
    camera.serial = "Maker_Model_0815";
    camera.controls = {Camera::IntegerControl(V4L2_CID_BRIGHTNESS, "Brightness", 0, 100, 1, 50)};
    Open(camera);
    EXPECT_EQ(digitizer->Identity(), "v4l2:Maker_Model_0815");
    EXPECT_EQ(digitizer->SetControl(V4L2_CID_BRIGHTNESS, 80), noErr);
    cameras->Unplug(0);
    EXPECT_EQ(digitizer->Start(frames), noDeviceForChannel);
    EXPECT_EQ(digitizer->SetControl(V4L2_CID_BRIGHTNESS, 10), noDeviceForChannel);
    camera.busInfo = "usb-9";
    camera.node = 4;
    cameras->Plug(camera);
    ASSERT_TRUE(cameras->Emit(4, {Ramp(128)}));
    EXPECT_TRUE(frames.WaitFor(1));
    digitizer->Stop();
    EXPECT_TRUE(frames.Failures().empty());
    EXPECT_EQ(cameras->At(4).controls[0].value, 80);
}

TEST_F(V4L2DigitizerTest, StopsADeviceThatDeliversNothing)
{
    Open(Camera::Simple());
    ASSERT_EQ(digitizer->Start(frames), noErr);
    digitizer->Stop();
    EXPECT_TRUE(frames.Seen().empty());
    EXPECT_TRUE(cameras->IsIdle(0));
}

TEST_F(V4L2DigitizerTest, AChangeOfFormatWhileItRunsGoesOnWithTheCount)
{
    auto camera = Camera::Simple();
    camera.formats[0].sizes.push_back(Camera::Discrete(8, 4));
    Open(camera);
    ASSERT_EQ(digitizer->Start(frames), noErr);
    ASSERT_TRUE(cameras->Emit(0, {Ramp(128), 0}));
    ASSERT_TRUE(frames.WaitFor(1));
    ASSERT_EQ(digitizer->SetFormat({kYuvsPixelFormat, 8, 4, 30}), noErr);
    ASSERT_TRUE(cameras->Emit(0, {Ramp(64), 0}));
    ASSERT_TRUE(frames.WaitFor(2));
    digitizer->Stop();
    EXPECT_EQ(frames.Seen()[1].sequence, 1U);
    EXPECT_EQ(frames.Seen()[1].width, 8);
}

TEST_F(V4L2DigitizerTest, TheSixValuesScaleOverTheDevicesOwnRanges)
{
    auto camera = Camera::Simple();
    camera.controls = {Camera::IntegerControl(V4L2_CID_BRIGHTNESS, "Brightness", -64, 64, 1, 0),
                       Camera::IntegerControl(V4L2_CID_CONTRAST, "Contrast", 0, 100, 25, 50),
                       Camera::IntegerControl(V4L2_CID_SATURATION, "Saturation", 5, 5, 1, 5),
                       Camera::IntegerControl(V4L2_CID_HUE, "Hue", -2000000000, 2000000000, 1, 0),
                       Camera::IntegerControl(V4L2_CID_GAIN, "Gain", 0, 255, 1, 9)};
    Open(camera);
    struct Case {
        AnalogControl control;
        uint16_t written;
        size_t index;
        int32_t device;
    };
    const Case cases[] = {
        {AnalogControl::Brightness, 0, 0, -64},     {AnalogControl::Brightness, 65535, 0, 64},
        {AnalogControl::Brightness, 32768, 0, 0},   {AnalogControl::Contrast, 20000, 1, 25},
        {AnalogControl::Contrast, 60000, 1, 100},   {AnalogControl::Hue, 0, 3, -2000000000},
        {AnalogControl::Hue, 65535, 3, 2000000000}, {AnalogControl::WhiteLevel, 257, 4, 1},
    };
    for (const Case& one : cases) {
        ASSERT_EQ(digitizer->SetAnalog(one.control, one.written), noErr);
        EXPECT_EQ(cameras->At(0).controls[one.index].value, one.device);
        uint16_t read = 0, again = 0;
        ASSERT_EQ(digitizer->GetAnalog(one.control, read), noErr);
        ASSERT_EQ(digitizer->SetAnalog(one.control, read), noErr);
        ASSERT_EQ(digitizer->GetAnalog(one.control, again), noErr);
        EXPECT_EQ(read, again);
        EXPECT_EQ(cameras->At(0).controls[one.index].value, one.device);
    }
    uint16_t value = 0;
    for (const auto missing : {AnalogControl::Sharpness, AnalogControl::Saturation}) {
        EXPECT_EQ(digitizer->GetAnalog(missing, value), digiUnimpErr);
        EXPECT_EQ(digitizer->SetAnalog(missing, value), digiUnimpErr);
    }
}

TEST_F(V4L2DigitizerTest, OffersEveryKindOfControl)
{
    auto menu = Camera::IntegerControl(V4L2_CID_POWER_LINE_FREQUENCY, "Power Line", 0, 3, 0, 1);
    menu.query.type = V4L2_CTRL_TYPE_MENU;
    menu.choices = {{0, "Off"}, {1, "50 Hz"}, {3, "Auto"}};
    auto flag = Camera::IntegerControl(V4L2_CID_HFLIP, "Mirror", 0, 1, 1, 0);
    flag.query.type = V4L2_CTRL_TYPE_BOOLEAN;
    flag.query.flags = V4L2_CTRL_FLAG_READ_ONLY;
    auto button = Camera::IntegerControl(V4L2_CID_DO_WHITE_BALANCE, "White Balance Now", 0, 0, 0, 0);
    button.query.type = V4L2_CTRL_TYPE_BUTTON;
    auto text = Camera::IntegerControl(V4L2_CID_EXPOSURE, "Text", 0, 1, 1, 0);
    text.query.type = V4L2_CTRL_TYPE_STRING;
    auto idle = Camera::IntegerControl(V4L2_CID_GAIN, "Gain", 1, 9, 2, 3);
    idle.query.flags = V4L2_CTRL_FLAG_INACTIVE;
    auto camera = Camera::Simple();
    camera.controls = {button, text, idle, flag, menu};
    Open(camera);
    const auto controls = digitizer->Controls();
    ASSERT_EQ(controls.size(), 4U);
    EXPECT_EQ(controls[0].kind, ImageControl::Kind::Button);
    EXPECT_TRUE(controls[1].inactive);
    EXPECT_EQ(controls[1].value, 3);
    EXPECT_TRUE(controls[2].readOnly);
    EXPECT_EQ(controls[2].kind, ImageControl::Kind::Boolean);
    const std::vector<std::pair<int64_t, std::string>> choices{{0, "Off"}, {1, "50 Hz"}, {3, "Auto"}};
    EXPECT_EQ(controls[3].choices, choices);

    EXPECT_EQ(digitizer->SetControl(V4L2_CID_POWER_LINE_FREQUENCY, 3), noErr);
    EXPECT_EQ(cameras->At(0).controls[4].value, 3);
    EXPECT_EQ(digitizer->SetControl(V4L2_CID_POWER_LINE_FREQUENCY, 4), paramErr);
    EXPECT_EQ(digitizer->SetControl(V4L2_CID_HFLIP, 1), permErr);
    EXPECT_EQ(digitizer->SetControl(V4L2_CID_EXPOSURE, 1), digiUnimpErr);
    EXPECT_EQ(digitizer->SetControl(V4L2_CID_DO_WHITE_BALANCE, 1), noErr);
}

TEST_F(V4L2DigitizerTest, InputsAndStandards)
{
    auto camera = Camera::Simple();
    camera.inputs = {"Composite", "S-Video"};
    v4l2_standard pal{}, ntsc{};
    pal.id = V4L2_STD_PAL;
    ntsc.id = V4L2_STD_NTSC;
    std::copy_n("PAL", 3, pal.name);
    std::copy_n("NTSC", 4, ntsc.name);
    camera.standards = {pal, ntsc};
    camera.standard = V4L2_STD_PAL;
    camera.formats[0].intervals.clear();
    Open(camera);
    EXPECT_EQ(digitizer->Formats()[0].frameRate, 25);
    ASSERT_EQ(digitizer->Start(frames), noErr);
    EXPECT_EQ(digitizer->SelectInput(1), noErr);
    EXPECT_EQ(digitizer->Input(), 1);
    EXPECT_EQ(digitizer->SelectInput(2), paramErr);
    EXPECT_EQ(digitizer->Standards(), (std::vector<std::string>{"PAL", "NTSC"}));
    EXPECT_EQ(digitizer->SelectStandard(1), noErr);
    EXPECT_EQ(digitizer->Standard(), 1);
    EXPECT_EQ(digitizer->Formats()[0].frameRate, 29.97);
    EXPECT_EQ(cameras->At(0).standard, V4L2_STD_NTSC);
    ASSERT_TRUE(cameras->Emit(0, {Ramp(128)}));
    EXPECT_TRUE(frames.WaitFor(1));
    digitizer->Stop();
}

} // namespace
