// SPDX-License-Identifier: MIT
#include "SimulatedCamera.h"
#include "platform/digitizer/FormatChoice.h"
#include "platform/digitizer/VideoDigitizer.h"
#include "platform/digitizer/v4l2/V4L2List.h"

#include <numeric>

using namespace platform;
using Camera = SimulatedCamera;

namespace {

constexpr FourCharCode kJpeg = CodeOf("jpeg");

// The headers of a JPEG picture, without Huffman tables of its own.
std::vector<uint8_t> JpegBytes(int width, int height)
{
    std::vector<uint8_t> bytes{0xFF, 0xD8, 0xFF, 0xDB, 0, 4,    0, 0,    0xFF, 0xC0, 0, 11, 8,    0,
                               0,    0,    0,    1,    1, 0x11, 0, 0xFF, 0xDA, 0,    2, 1,  0xFF, 0xD9};
    bytes[13] = static_cast<uint8_t>(height >> 8);
    bytes[14] = static_cast<uint8_t>(height);
    bytes[15] = static_cast<uint8_t>(width >> 8);
    bytes[16] = static_cast<uint8_t>(width);
    return bytes;
}

std::vector<uint8_t> Ramp(size_t size)
{
    std::vector<uint8_t> bytes(size);
    std::iota(bytes.begin(), bytes.end(), uint8_t{0});
    return bytes;
}

using V4L2DigitizerTest = V4L2Test;

TEST_F(V4L2DigitizerTest, EnumeratesListsRangesAndDevicesThatCanDoNeither)
{
    struct Case {
        Camera::Format offered;
        std::vector<CaptureFormat> expected;
    };
    v4l2_frmsizeenum range{};
    range.type = V4L2_FRMSIZE_TYPE_STEPWISE;
    range.stepwise = {640, 1280, 16, 480, 960, 16};
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
        {{V4L2_PIX_FMT_GREY, {Camera::Discrete(320, 240)}, {}}, {{kGreyPixelFormat, 320, 240, 12.5}}},
        {{V4L2_PIX_FMT_SBGGR8, {Camera::Discrete(320, 240)}, {Camera::Interval(1, 30)}}, {}},
        {{V4L2_PIX_FMT_YUYV, {Camera::Discrete(0, 240), Camera::Discrete(100000, 10)}, {Camera::Interval(0, 0)}}, {}},
    };
    for (const Case& one : cases) {
        Camera camera;
        camera.formats = {one.offered};
        camera.interval = {2, 25};
        cameras->Plug(camera);
        const auto opened = OpenV4L2Digitizer(cameras, "v4l2:simulated:Simulated Camera");
        EXPECT_EQ(opened ? opened->Formats() : std::vector<CaptureFormat>(), one.expected);
    }
}

// A device that can't list sizes and takes none of those that are tried has the one that it is set to, in each format.
TEST_F(V4L2DigitizerTest, OffersTheSizeThatItIsSetToWhereItTakesNoOther)
{
    auto camera = Camera::Simple(V4L2_PIX_FMT_GREY, 350, 280);
    camera.formats = {{V4L2_PIX_FMT_YUYV, {}, {}}};
    camera.peculiarity = [](Camera&, unsigned long request, void* argument) {
        if (request != VIDIOC_TRY_FMT)
            return std::optional<int>();
        auto& tried = static_cast<v4l2_format*>(argument)->fmt.pix;
        tried.width = 350;
        tried.height = 280;
        return std::optional(0);
    };
    Open(camera);
    ASSERT_EQ(digitizer->Formats().size(), 1U);
    EXPECT_EQ(digitizer->Formats()[0].width, 350);
}

TEST(FormatChoice, FirstNearestAndCheaper)
{
    const FourCharCode yuvs = kYuvsPixelFormat;
    const std::vector<CaptureFormat> camera{{yuvs, 640, 480, 30},   {yuvs, 1280, 720, 10},  {kJpeg, 640, 480, 30},
                                            {kJpeg, 1280, 720, 60}, {kJpeg, 1280, 720, 30}, {kJpeg, 1920, 1080, 30}};
    const std::vector<CaptureFormat> fast{{kJpeg, 1280, 720, 30}, {yuvs, 1280, 720, 25}, {kGreyPixelFormat, 9, 9, 30}};
    const CaptureFormat h264{CodeOf("avc1"), 1280, 720, 60};
    const std::tuple<std::vector<CaptureFormat>, CaptureFormat, CaptureFormat> firsts[] = {
        {camera, {}, camera[4]},
        {camera, camera[1], camera[4]}, // its own setting is slow
        {camera, camera[0], camera[0]}, // its own setting is kept
        {camera, {kJpeg, 640, 480, 23}, camera[4]},
        {camera, {yuvs, 800, 600, 30}, camera[4]}, // not on offer
        {{h264, camera[0]}, h264, camera[0]},
        {{h264}, {}, h264}, // there is nothing else
        {{camera[0], camera[2]}, {}, camera[0]},
        {fast, {}, fast[1]}, // raw is fast enough
        {{camera[1], {yuvs, 1920, 1080, 5}}, {}, camera[1]},
        {{}, {}, {}},
    };
    for (const auto& [offered, own, expected] : firsts)
        EXPECT_EQ(FirstFormat(offered, own), expected) << own.width << " " << own.frameRate;
    const std::pair<CaptureFormat, CaptureFormat> wishes[] = {
        {{yuvs, 1280, 720, 30}, camera[1]},  {{kJpeg, 1280, 720, 50}, camera[3]}, {{0, 1300, 700, 30}, camera[4]},
        {{kJpeg, 9999, 9999, 1}, camera[5]}, {{0, 640, 480, 0}, camera[0]},       {{yuvs, 0, 480, 30}, {}},
        {{yuvs, 640, 480, -1}, {}},          {{yuvs, 640, 480, 0.0 / 0.0}, {}},
    };
    for (const auto& [wish, expected] : wishes)
        EXPECT_EQ(NearestFormat(camera, wish), expected) << wish.width << "x" << wish.height;
    EXPECT_EQ(NearestFormat({h264, camera[0]}, {0, 1280, 720, 60}), camera[0]) << "H.264 has to be asked for";
    EXPECT_EQ(NearestFormat({h264, camera[0]}, {h264.format, 640, 480, 60}), camera[0]) << "the size comes first";
    EXPECT_EQ(NearestFormat({h264, camera[4]}, h264), h264);
    EXPECT_EQ(CheaperFormats(camera, camera[0]), std::vector{camera[2]});
    EXPECT_EQ(CheaperFormats(camera, camera[3]), (std::vector{camera[4], camera[2]}));
    EXPECT_EQ(CheaperFormats(fast, fast[1]), std::vector<CaptureFormat>{});
}

TEST_F(V4L2DigitizerTest, DeliversDriversStampsAndCountsAndTellsLossesBySequence)
{
    auto camera = Camera::Simple();
    camera.padding = 6;
    camera.reported = {V4L2_COLORSPACE_REC709, V4L2_YCBCR_ENC_601, V4L2_QUANTIZATION_FULL_RANGE};
    Start(camera);
    const auto bytes = Ramp(152);
    const int64_t stamp = MonotonicNow() / 1000 * 1000 - 20'000'000;
    ASSERT_TRUE(cameras->Emit(0, {bytes, 100, V4L2_BUF_FLAG_TIMESTAMP_MONOTONIC, stamp}));
    ASSERT_TRUE(cameras->Emit(0, {bytes, 103, V4L2_BUF_FLAG_TIMESTAMP_MONOTONIC, stamp + 1'000'000}));
    ASSERT_TRUE(cameras->Emit(0, {bytes, 104, V4L2_BUF_FLAG_ERROR}));
    ASSERT_TRUE(cameras->Emit(0, {Ramp(145), 105}));                                           // a byte is missing
    ASSERT_TRUE(cameras->Emit(0, {bytes, 106, V4L2_BUF_FLAG_TIMESTAMP_MONOTONIC, 1'000'000})); // a stamp of long ago
    ASSERT_TRUE(cameras->Emit(0, {bytes, 106})); // a driver that doesn't count
    ASSERT_TRUE(frames.WaitFor(4));
    EXPECT_TRUE(frames.WaitForDamaged(2));
    digitizer->Stop();
    const auto seen = frames.Seen();
    ASSERT_EQ(seen.size(), 4U);
    const uint32_t sequences[] = {0, 3, 6, 7};
    for (size_t i = 0; i < 4; ++i)
        EXPECT_EQ(seen[i].sequence, sequences[i]);
    EXPECT_EQ(seen[0].captureTime, stamp);
    EXPECT_EQ(seen[1].captureTime, stamp + 1'000'000);
    EXPECT_GT(seen[2].captureTime, stamp + 20'000'000);
    EXPECT_EQ(seen[0].colors, (VideoColors{.primaries = 1, .transfer = 1, .matrix = 6, .isFullRange = true}));
    const auto last = frames.Last();
    ASSERT_EQ(last.size(), 4 * 32U);
    for (size_t i = 0; i < last.size(); ++i)
        ASSERT_EQ(last[i], bytes[i / 32 * 38 + i % 32]) << "without the padding of its row";
    EXPECT_TRUE(cameras->IsIdle(0));
}

TEST_F(V4L2DigitizerTest, JpegFramesCarryTheirOwnSizeAndBrokenOnesAreDropped)
{
    Start(Camera::Simple(V4L2_PIX_FMT_MJPEG, 640, 480));
    auto padded = JpegBytes(320, 200);
    padded.resize(4096);
    padded.insert(padded.begin(), {1, 2, 3}); // bytes in front of the picture
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
    const auto last = frames.Last();
    EXPECT_EQ(std::vector(last.begin(), last.begin() + 2), (std::vector<uint8_t>{0xFF, 0xD8}));
    EXPECT_EQ(last.size(), padded.size() - 3 + 432) << "the standard Huffman tables";
}

TEST_F(V4L2DigitizerTest, AnyCallThatFailsAtTheStartGivesAResultAndLeavesNothingBehind)
{
    const unsigned long requests[] = {VIDIOC_S_FMT,           VIDIOC_REQBUFS, VIDIOC_QUERYBUF,
                                      SimulatedCameras::kMap, VIDIOC_QBUF,    VIDIOC_STREAMON};
    const std::pair<int, Result> errors[] = {{EIO, noDeviceForChannel},
                                             {EINVAL, deviceCantMeetRequest},
                                             {ENOMEM, notEnoughMemoryToGrab},
                                             {EBUSY, noDeviceForChannel},
                                             {EPERM, permErr}};
    Open(Camera::Simple());
    for (const unsigned long request : requests)
        for (const auto& [error, result] : errors) {
            cameras->Fail(request, error, request == VIDIOC_QBUF ? 1 : 0);
            EXPECT_EQ(digitizer->Start(frames), result) << "request " << request << ", error " << error;
            cameras->FailNothing();
            digitizer->Stop();
            EXPECT_TRUE(cameras->IsIdle(0));
        }
    ASSERT_EQ(digitizer->Start(frames), noErr);
    ASSERT_TRUE(Deliver(0));
    digitizer->Stop();
    EXPECT_TRUE(frames.Failures().empty());
}

TEST_F(V4L2DigitizerTest, ADeviceThatFailsAndIsThenInUseIsTakenUpAgain)
{
    Start(Camera::Simple());
    ASSERT_TRUE(Deliver(7));
    cameras->Fail(VIDIOC_REQBUFS, EBUSY, 1);
    cameras->Fail(VIDIOC_DQBUF, EIO);
    ASSERT_TRUE(cameras->Emit(0, {Ramp(128), 8}));
    ASSERT_TRUE(frames.WaitForFailure());
    cameras->FailNothing();
    ASSERT_TRUE(Deliver(0));
    digitizer->Stop();
    EXPECT_EQ(frames.Failures(), std::vector<Result>{ioErr});
    EXPECT_EQ(frames.Seen()[1].sequence, 2U) << "a gap of one";
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

TEST_F(V4L2DigitizerTest, TheSixValuesScaleOverTheDevicesOwnRanges)
{
    auto camera = Camera::Simple();
    camera.controls[V4L2_CID_BRIGHTNESS] = {-64, 64, 1, 0};
    camera.controls[V4L2_CID_CONTRAST] = {0, 100, 25, 50};
    camera.controls[V4L2_CID_HUE] = {-2000000000, 2000000000, 1, 0};
    Open(camera);
    const ComponentInstance instance = OpenDigitizerInstance(std::move(digitizer));
    const OwnedBlock value(4);
    using Call = Result (*)(ComponentInstance, Address);
    const std::tuple<Call, Call, uint16_t, uint32_t, int32_t> cases[] = {
        {VDSetBrightness, VDGetBrightness, 0, V4L2_CID_BRIGHTNESS, -64},
        {VDSetBrightness, VDGetBrightness, 65535, V4L2_CID_BRIGHTNESS, 64},
        {VDSetBrightness, VDGetBrightness, 32767, V4L2_CID_BRIGHTNESS, 0},
        {VDSetContrast, VDGetContrast, 20000, V4L2_CID_CONTRAST, 25},
        {VDSetHue, VDGetHue, 0, V4L2_CID_HUE, -2000000000},
        {VDSetHue, VDGetHue, 65535, V4L2_CID_HUE, 2000000000}};
    for (const auto& [set, get, written, identity, expected] : cases) {
        Poke(value.Get(), written);
        ASSERT_EQ(set(instance, value.Get()), noErr);
        EXPECT_EQ(cameras->At(0).controls[identity].value, expected);
        // What was read can be written back without a change.
        ASSERT_EQ(get(instance, value.Get()), noErr);
        ASSERT_EQ(set(instance, value.Get()), noErr);
        EXPECT_EQ(cameras->At(0).controls[identity].value, expected);
    }
    EXPECT_EQ(VDSetHue(instance, 0), paramErr);
    EXPECT_EQ(VDGetSharpness(instance, value.Get()), noErr);
    EXPECT_EQ(Peek<int16_t>(value.Get()), -1);
    EXPECT_EQ(VDSetWhiteLevelValue(instance, value.Get()), digiUnimpErr);
    EXPECT_EQ(VDGetImageDescription(instance, 12345), nilHandleErr);
    EXPECT_EQ(CloseComponent(instance), noErr);
    EXPECT_EQ(VDGetBrightness(instance, value.Get()), badComponentInstance);
}

} // namespace
