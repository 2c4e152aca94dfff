// SPDX-License-Identifier: MIT
#include "platform/digitizer/iidc/IIDCDigitizer.h"
#include "platform/atoms/AtomContainers.h"
#include "platform/digitizer/VideoDigitizer.h"
#include "platform/digitizer/iidc/IIDCFrames.h"
#include "support/FrameCollector.h"
#include "support/SimulatedIIDCCamera.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace platform;

namespace {

using Coding = IIDCCoding;
using Bytes = std::vector<uint8_t>;

struct IIDCDigitizer : testing::Test {
    IIDCDigitizer()
    {
        SetIIDCBusProvider([this] { return bus; });
    }
    ~IIDCDigitizer() override { SetIIDCBusProvider({}); }
    static std::unique_ptr<Digitizer> Open() { return OpenDigitizer("iidc:0814436100003da7"); }

    std::shared_ptr<test::SimulatedIIDCCamera> bus = std::make_shared<test::SimulatedIIDCCamera>();
    test::SimulatedIIDCCamera& camera = *bus;
    FrameCollector collector;
    const Bytes picture = Bytes(640 * 480 * 2, 100);
};

TEST(IIDCFrames, EveryCodingDecodesToItsColours)
{
    // The YUV values are those of red, white, black and blue in the full range.
    const struct {
        Coding coding;
        Bytes bytes;         ///< four pixels of one row, which all rows repeat, or the row below as well
        Bytes first, second; ///< blue, green, red of the pixel at the left and the next but one
    } cases[] = {
        {Coding::Yuv422, {85, 76, 255, 76, 128, 255, 128, 0}, {0, 0, 254}, {255, 255, 255}},
        {Coding::Yuv411, {85, 76, 76, 255, 76, 76}, {0, 0, 254}, {0, 0, 254}},
        {Coding::Yuv444, {85, 76, 255, 85, 76, 255, 255, 29, 107, 255, 29, 107}, {0, 0, 254}, {254, 0, 0}},
        {Coding::Rgb8, {10, 20, 30, 0, 0, 0, 255, 0, 7, 0, 0, 0}, {30, 20, 10}, {7, 0, 255}},
        {Coding::Mono8, {40, 0, 250, 0}, {40, 40, 40}, {250, 250, 250}},
        {Coding::Mono16, {8, 0, 0, 0, 0xFF, 0xFF, 0, 0}, {128, 128, 128}, {255, 255, 255}},
        {Coding::Raw8, {100, 200, 100, 200, 50, 100, 50, 100}, {50, 100, 200}, {50, 100, 200}},
    };
    for (const auto& [coding, bytes, first, second] : cases) {
        Bytes rows;
        for (int i = 0; i < 4; ++i)
            rows.insert(rows.end(), bytes.begin(), bytes.end());
        IIDCFrame frame{rows, coding, 4, coding == Coding::Raw8 ? 8 : 4, 12, IIDCFilter::GRBG};
        Bytes converted;
        const auto read = ReadIIDCFrame(frame, converted);
        ASSERT_TRUE(read && read->format == FormatOfCoding(coding));
        FrameReader reader;
        const auto pixels = reader.As32(reader.Read(*read).value());
        for (size_t i = 0; i < 3; ++i) {
            EXPECT_NEAR(pixels->pixels[i], first[i], 3) << i << " in " << static_cast<int>(coding);
            EXPECT_NEAR(pixels->pixels[8 + i], second[i], 3) << i << " in " << static_cast<int>(coding);
        }
        frame.bytes = frame.bytes.first(frame.bytes.size() - 1);
        EXPECT_FALSE(ReadIIDCFrame(frame, converted));
    }
}

TEST_F(IIDCDigitizer, OffersModesAndCountsWhatIsLost)
{
    camera.modes = {{1, Coding::Yuv411, 640, 480, {15, 30}},
                    {2, Coding::Yuv422, 640, 480, {7.5, 15}},
                    {3, Coding::Mono8, 1024, 768, {15}}};
    const auto device = Open();
    ASSERT_EQ(device->Name(), "Simulated Camera");
    std::string formats;
    for (const CaptureFormat& format : device->Formats())
        formats += TextOf(format.format) + std::to_string(format.width) + "@" + std::to_string(format.frameRate) + " ";
    EXPECT_EQ(formats, "2vuy640@30.000000 2vuy640@15.000000 2vuy640@7.500000 grey1024@15.000000 ");
    ASSERT_EQ(device->Start(collector), noErr);
    ASSERT_EQ(device->SetFormat({0, 650, 480, 14}), noErr);
    EXPECT_EQ(camera.startedMode.number, 2U) << "the better of the two codings with that rate";
    EXPECT_EQ(camera.startedRate, 15);
    const int64_t stamp = MonotonicNow() - 7;
    for (auto& frame : {test::SimulatedIIDCCamera::Frame{picture, 1, false, noErr, stamp},
                        {picture, 2, true},
                        {{1, 2}, 3},
                        {picture, 5}})
        camera.Emit(frame);
    ASSERT_TRUE(collector.WaitFor(2));
    EXPECT_EQ(collector.Seen()[0].captureTime, stamp);
    EXPECT_EQ(collector.Seen()[1].sequence - collector.Seen()[0].sequence, 4U);
    device->Stop();
    EXPECT_FALSE(camera.transmitting);
    camera.startResult = deviceCantMeetRequest;
    EXPECT_EQ(device->Start(collector), deviceCantMeetRequest);
}

TEST_F(IIDCDigitizer, ACameraThatFailsOrIsResetIsTakenUpAgain)
{
    const FourCharCode gain = CodeOf("gain");
    auto& state = camera.features[IIDCFeature::Gain] = {.maximum = 100};
    const auto device = Open();
    device->SetFeature(gain, 60);
    ASSERT_EQ(device->Start(collector), noErr);
    camera.Emit({picture, 1});
    ASSERT_TRUE(collector.WaitFor(1));
    ASSERT_TRUE(camera.Emit({{}, 2, false, ioErr}));
    ASSERT_TRUE(collector.WaitForFailure());
    CameraFeature feature;
    EXPECT_LT(device->GetFeature(gain, feature), noErr);
    EXPECT_LT(device->SetFeature(gain, 70), noErr);
    state.value = 10; // as it was made
    camera.Plug(true);
    ASSERT_TRUE(camera.Emit({picture, 1}, 2));
    ASSERT_TRUE(collector.WaitFor(2));
    EXPECT_EQ(state.value, 60U);
    camera.Plug(true); // a reset of the bus: no failure, only a gap
    ASSERT_TRUE(camera.Emit({picture, 1}, 3));
    ASSERT_TRUE(collector.WaitFor(3));
    EXPECT_EQ(collector.Failures(), std::vector<Result>{ioErr});
    EXPECT_EQ(collector.Seen()[2].sequence - collector.Seen()[1].sequence, 2U);
}

TEST_F(IIDCDigitizer, FeaturesAreImageControlsAndAnalogValues)
{
    camera.features[IIDCFeature::Brightness] = {.minimum = 10, .maximum = 210, .value = 60};
    // An automatic feature is the camera's own business until its mode is changed.
    auto& shutter = camera.features[IIDCFeature::Shutter] = {.maximum = 99, .value = 40, .isManual = false};
    shutter.canBeAutomatic = shutter.canBeOff = true;
    const auto device = Open();
    uint16_t value = 0;
    EXPECT_EQ(device->GetAnalog(AnalogControl::Brightness, value), noErr);
    EXPECT_EQ(value, 16384);
    EXPECT_EQ(device->SetAnalog(AnalogControl::Brightness, 65535), noErr);
    EXPECT_EQ(camera.features[IIDCFeature::Brightness].value, 210U);
    EXPECT_EQ(device->GetAnalog(AnalogControl::Hue, value), digiUnimpErr);
    const auto controls = device->Controls();
    ASSERT_EQ(controls.size(), 3U);
    EXPECT_EQ(controls[0].name, "Brightness");
    EXPECT_EQ(controls[1].choices.size(), 3U);
    for (const int64_t mode : {1, 0, 2}) {
        EXPECT_EQ(device->SetControl(controls[1].identity, mode), noErr);
        EXPECT_EQ(device->Controls()[1].value, mode);
        EXPECT_EQ(device->Controls()[2].inactive, mode != 1);
    }
    EXPECT_EQ(device->SetControl(controls[1].identity, 7), paramErr);
    // What is put back as it was leaves absolute control alone.
    shutter.isManual = shutter.absoluteControl = true;
    EXPECT_EQ(device->SetControl(controls[1].identity, 1), noErr);
    EXPECT_TRUE(shutter.absoluteControl);
}

TEST_F(IIDCDigitizer, FeaturesGoThroughContainersBothWays)
{
    struct Case {
        IIDCFeatureState state;
        float written; ///< as a fraction
        int16_t minimum, maximum;
        double told; ///< the record's fraction of its maximum
        uint32_t after;
        Result result;
    };
    const IIDCFeatureState absolute{0, 200, 9, true, true, true, true, -5, 15, 5};
    const Case cases[] = {
        {{0, 4095, 7}, 1, 0, 4095, 7, 4095, noErr},
        {{16, 512, 100, true, false}, 0, 16, 512, 100, 16, noErr},
        {{0, 0, 0}, NAN, 0, 0, 0, 0, paramErr},
        {{0, 65535, 30000}, 0.5F, 0, 21845, 10000, 32768, noErr},
        {absolute, 0.25F, 0, 200, 100, 50, noErr},
        {{0, 200, 9, false, false}, 0.25F, 0, 200, 9, 9, permErr},
        {{0, UINT32_MAX, UINT32_MAX}, 0, 0, 32766, 32766, 0, noErr},
    };
    const OwnedBlock record(24);
    const Address data = record.Get();
    for (auto [before, written, minimum, maximum, told, after, result] : cases) {
        auto& state = camera.features[IIDCFeature::WhiteBalanceV] = before;
        const ComponentInstance instance = OpenDigitizerInstance(Open());
        ASSERT_EQ(VDIIDCGetFeaturesForSpecifier(instance, CodeOf("whbv"), data), noErr);
        const auto container = Peek<AtomContainer>(data);
        const Atom feature = QTFindChildByIndex(container, 0, CodeOf("feat"), 1, 0);
        const Atom settings = QTFindChildByID(container, feature, CodeOf("fstg"), 1, 0);
        ASSERT_EQ(QTCopyAtomDataToPtr(container, settings, 0, 24, data, 0), noErr);
        EXPECT_EQ(__builtin_bswap32(Peek<uint32_t>(data)), before.canBeManual ? 37U : 0U);
        EXPECT_EQ(Peek<int16_t>(data + 4), minimum);
        EXPECT_EQ(Peek<int16_t>(data + 6), maximum);
        EXPECT_EQ(Peek<float>(data + 8), before.absoluteMinimum);
        EXPECT_EQ(Peek<float>(data + 12), before.absoluteMaximum);
        EXPECT_EQ(std::trunc(static_cast<double>(Peek<float>(data + 20)) * maximum), told);
        Poke(data + 20, written);
        QTSetAtomData(container, settings, 24, data);
        EXPECT_EQ(VDIIDCSetFeatures(instance, container), result);
        EXPECT_EQ(state.value, after);
        EXPECT_EQ(state.isManual, before.canBeManual);
        EXPECT_FALSE(state.absoluteControl);
        CloseComponent(instance);
    }
    const ComponentInstance instance = OpenDigitizerInstance(Open());
    EXPECT_EQ(VDIIDCGetFeaturesForSpecifier(instance, CodeOf("eden"), data), digiUnimpErr);
    EXPECT_EQ(VDIIDCGetFeaturesForSpecifier(instance, CodeOf("zoom"), data), digiUnimpErr);
    CloseComponent(instance);
}

} // namespace
