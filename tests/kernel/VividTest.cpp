// SPDX-License-Identifier: MIT
// The V4L2 code with the kernel's virtual video driver instead of simulated drivers, at small sizes and rates, since
// the machine is emulated. The driver's own controls cause the faults.
#include "platform/digitizer/v4l2/V4L2Camera.h"
#include "platform/digitizer/v4l2/V4L2List.h"
#include "platform/drawing/PixelFormat.h"
#include "support/Await.h"
#include "support/FrameCollector.h"

#include <gtest/gtest.h>
#include <iostream>
#include <set>
#include <unistd.h>

using namespace platform;

namespace {

constexpr CaptureFormat kSmall{kYuvsPixelFormat, 320, 180, 10};
enum Input { Webcam, Television, SVideo, HDMI };

std::shared_ptr<V4L2System> Kernel()
{
    return V4L2System::Current();
}

/// The driver's present nodes: first the one with all kinds of inputs, then the one with several planes.
std::vector<int> Nodes()
{
    std::vector<int> nodes;
    int error = 0;
    for (const int node : Kernel()->Nodes())
        if (V4L2Device::Open(Kernel(), node, error))
            nodes.push_back(node);
    return nodes;
}

/// A node beside the program that uses it.
class Driver {
public:
    explicit Driver(int node) : camera(V4L2Device::Open(Kernel(), node, error)) {}

    std::vector<ImageControl> Controls() { return camera.ReadControls(); }
    ImageControl Control(const std::string& name)
    {
        const auto all = Controls();
        const auto found = std::ranges::find(all, name, &ImageControl::name);
        EXPECT_NE(found, all.end()) << name;
        return found == all.end() ? ImageControl() : *found;
    }
    void Set(const std::string& name, int64_t value)
    {
        EXPECT_EQ(camera.WriteControl(Control(name).identity, value), noErr) << name;
    }

private:
    int error = 0;
    V4L2Camera camera;
};

class Vivid : public testing::Test {
protected:
    void SetUp() override
    {
        alarm(240); // the limit of a case, in the guest's time
        ASSERT_EQ(Nodes().size(), 2U);
        driver.emplace(Nodes()[0]);
        entries = ListV4L2Digitizers(Kernel());
        ASSERT_EQ(entries.size(), 2U);
        digitizer = OpenV4L2Digitizer(Kernel(), entries[0].identity);
        ASSERT_EQ(digitizer->SetFormat(kSmall), noErr);
    }
    void TearDown() override
    {
        digitizer->Stop();
        digitizer->SelectInput(Webcam);
        alarm(0);
    }

    /// Starts the device and waits for some frames.
    void Run(size_t frames = 3)
    {
        ASSERT_EQ(digitizer->Start(frames_), noErr) << digitizer->Reason();
        ASSERT_TRUE(frames_.WaitFor(frames_.Seen().size() + frames));
    }
    bool MoreFrames(size_t frames = 3) { return frames_.WaitFor(frames_.Seen().size() + frames); }

    std::optional<Driver> driver;
    std::vector<DigitizerEntry> entries;
    std::unique_ptr<Digitizer> digitizer;
    FrameCollector frames_;
};

/// The middle of each of the eight bars in a picture: red, green, blue.
std::vector<std::array<int, 3>> BarsIn(const RawFrame& picture)
{
    std::vector<uint8_t> pixels(static_cast<size_t>(picture.width) * static_cast<size_t>(picture.height) * 4);
    const auto decoder = FrameDecoder::Create(DescriptionOfPassThrough(picture.format, picture.width, picture.height));
    PortPixels target{pixels.data(), picture.width * 4, picture.width, picture.height};
    if (!decoder || decoder->Decode(picture.bytes, target) != noErr)
        return {};
    std::vector<std::array<int, 3>> bars;
    for (int32_t bar = 0; bar < 8; ++bar) {
        const auto column = static_cast<size_t>(picture.width * (2 * bar + 1) / 16);
        const uint8_t* pixel =
            &pixels[(static_cast<size_t>(picture.height / 2) * static_cast<size_t>(picture.width) + column) * 4];
        bars.push_back({pixel[2], pixel[1], pixel[0]});
    }
    return bars;
}

/// What differs most from the driver's bars: white, yellow, cyan, green, magenta, red, blue, black, all of them full.
int WorstOfBars(const std::vector<std::array<int, 3>>& bars, bool grey)
{
    int worst = bars.size() == 8 ? 0 : 255;
    for (size_t bar = 0; bar < bars.size(); ++bar) {
        const int red = bar & 2 ? 0 : 255, green = bar & 4 ? 0 : 255, blue = bar & 1 ? 0 : 255;
        const std::array<int, 3> expected{red, green, blue};
        const int luma = (213 * red + 715 * green + 72 * blue) / 1000; // as the driver weighs it: Rec. 709
        for (size_t i = 0; i < 3; ++i)
            worst = std::max(worst, std::abs(bars[bar][i] - (grey ? luma : expected[i])));
    }
    return worst;
}

/// Captures one picture of a device in a pixel format of the kernel and checks its colours.
int WorstOfFormat(const std::shared_ptr<V4L2Device>& device, uint32_t pixelFormat, FourCharCode format)
{
    CaptureFormat wanted = kSmall;
    wanted.format = format;
    int error = 0;
    const auto stream = V4L2Stream::Begin(device, {{wanted, pixelFormat}}, wanted, true, error);
    EXPECT_EQ(error, 0);
    if (!stream)
        return 255;
    CapturedFrame frame;
    pollfd ready{device->Descriptor(), POLLIN, 0};
    if (poll(&ready, 1, 20'000) != 1 || stream->Take(frame) != Taken::Frame)
        return 255;
    return WorstOfBars(BarsIn(frame.picture), format == kGreyPixelFormat);
}

} // namespace

TEST_F(Vivid, ShowsTheSameBarsInEachPixelFormat)
{
    size_t seen = 0;
    for (const int node : Nodes()) {
        Driver(node).Set("Test Pattern", 1); // 100% bars
        Driver(node).Set("OSD Text Mode", 2);
        int error = 0;
        const auto device = V4L2Device::Open(Kernel(), node, error);
        v4l2_fmtdesc entry{};
        entry.type = device->BufferType();
        for (; device->Ioctl(VIDIOC_ENUM_FMT, entry) == 0; ++entry.index) {
            const FourCharCode format = FormatOfPixelFormat(entry.pixelformat);
            if (format == 0)
                continue;
            const std::string name(reinterpret_cast<const char*>(&entry.pixelformat), 4);
            const int worst = WorstOfFormat(device, entry.pixelformat, format);
            std::cout << name << (device->IsMultiPlanar() ? " (planes): " : ": ") << worst << " off\n";
            EXPECT_LE(worst, 8) << name;
            ++seen;
        }
    }
    EXPECT_GE(seen, 40U);
}

TEST_F(Vivid, HasInputsWithTheirStandardsAndSignals)
{
    std::vector<std::string> inputs = digitizer->Inputs();
    for (std::string& name : inputs)
        name.resize(name.rfind(' ')); // the numbers differ from kernel to kernel
    EXPECT_EQ(inputs, (std::vector<std::string>{"Webcam", "TV", "S-Video", "HDMI"}));
    for (const int input : {Television, SVideo}) {
        ASSERT_EQ(digitizer->SelectInput(input), noErr);
        EXPECT_EQ(digitizer->Input(), input);
        const auto standards = digitizer->Standards();
        EXPECT_GT(standards.size(), 10U);
        for (size_t i = 0; i < standards.size(); ++i) {
            EXPECT_EQ(digitizer->SelectStandard(static_cast<int>(i)), noErr) << standards[i];
            EXPECT_EQ(digitizer->Standard(), static_cast<int>(i)) << standards[i];
        }
        for (const auto& [name, height] : {std::pair("NTSC", 480), std::pair("PAL", 576)}) {
            const auto place = std::ranges::find(standards, name) - standards.begin();
            EXPECT_EQ(digitizer->SelectStandard(static_cast<int>(place)), noErr);
            ASSERT_EQ(digitizer->SetFormat({kYuvsPixelFormat, 720, height, 0}), noErr);
            Run(2);
            EXPECT_EQ(frames_.Seen().back().height, height) << name;
            digitizer->Stop();
        }
    }
    ASSERT_EQ(digitizer->SelectInput(HDMI), noErr);
    EXPECT_TRUE(digitizer->Standards().empty());
    for (const auto& [mode, reason] :
         {std::pair(1, "vivid has no signal."), std::pair(2, "vivid gets a signal that it can't follow."),
          std::pair(3, "vivid gets a signal that it can't follow."), std::pair(0, "")}) {
        driver->Set("DV Timings Signal Mode", mode);
        ASSERT_EQ(digitizer->Start(frames_), noErr);
        EXPECT_TRUE(Await([&, expected = reason] { return digitizer->Reason() == expected; })) << digitizer->Reason();
        digitizer->Stop();
    }
    Run(2);
}

TEST_F(Vivid, HasControlsOfAllKinds)
{
    using Kind = ImageControl::Kind;
    for (const auto& [name, kind] : {std::pair("Boolean", Kind::Boolean), std::pair("Integer 32 Bits", Kind::Integer),
                                     std::pair("Integer 64 Bits", Kind::Integer), std::pair("Menu", Kind::Menu),
                                     std::pair("Integer Menu", Kind::Menu), std::pair("Button", Kind::Button),
                                     std::pair("Brightness", Kind::Integer)}) {
        const auto all = digitizer->Controls();
        const auto control = std::ranges::find(all, name, &ImageControl::name);
        ASSERT_NE(control, all.end()) << name;
        EXPECT_EQ(control->kind, kind) << name;
        EXPECT_EQ(control->choices.empty(), kind != Kind::Menu) << name;
        std::vector<int64_t> values{control->minimum, control->maximum, control->deviceDefault};
        if (kind == Kind::Menu)
            values = {control->choices.front().first, control->choices.back().first};
        for (const int64_t value : values) {
            EXPECT_EQ(digitizer->SetControl(control->identity, value), noErr) << name << " " << value;
            EXPECT_TRUE(kind == Kind::Button || driver->Control(name).value == value) << name << " " << value;
        }
    }
    for (const ImageControl& control : digitizer->Controls())
        for (const char* other : {"String", "Bitmask", "U32 1 Element Array", "Area"})
            EXPECT_NE(control.name, other);
    // Changes by another program, with and without frames arriving.
    const auto gain = [this] {
        const auto all = digitizer->Controls();
        return *std::ranges::find(all, "Gain", &ImageControl::name);
    };
    for (const bool runs : {false, true}) {
        if (runs)
            Run();
        for (const bool automatic : {false, true}) {
            driver->Set("Gain, Automatic", automatic);
            EXPECT_TRUE(Await([&] { return gain().inactive == automatic; })) << automatic;
        }
    }
}

TEST_F(Vivid, CountsLostAndDamagedFrames)
{
    driver->Set("Percentage of Dropped Buffers", 50);
    Run(10);
    const auto seen = frames_.Seen();
    EXPECT_GT(seen.back().sequence - seen.front().sequence, seen.size() - 1);
    driver->Set("Percentage of Dropped Buffers", 0);
    driver->Set("Inject V4L2_BUF_FLAG_ERROR", 0);
    EXPECT_TRUE(frames_.WaitForDamaged(1));
    EXPECT_TRUE(MoreFrames());
    driver->Set("Inject Fatal Streaming Error", 0);
    EXPECT_TRUE(frames_.WaitForFailure());
    EXPECT_TRUE(MoreFrames());
    EXPECT_EQ(frames_.Failures().size(), 1U);
}

TEST_F(Vivid, IsToldToBeInUse)
{
    Run();
    const auto second = OpenV4L2Digitizer(Kernel(), entries[0].identity);
    FrameCollector none;
    EXPECT_EQ(second->Start(none), noDeviceForChannel);
    EXPECT_EQ(second->Reason(), "vivid is in use by another program.");
    digitizer->Stop();
    EXPECT_TRUE(none.WaitFor(1));
    second->Stop();
}

TEST_F(Vivid, ChangesItsFormatWhileItRuns)
{
    for (const DigitizerEntry& entry : entries) {
        digitizer = OpenV4L2Digitizer(Kernel(), entry.identity);
        ASSERT_EQ(digitizer->Start(frames_), noErr) << digitizer->Reason();
        std::set<FourCharCode> seen;
        for (CaptureFormat format : digitizer->Formats()) {
            if (!seen.insert(format.format).second)
                continue;
            format.width = kSmall.width;
            format.height = kSmall.height;
            EXPECT_EQ(digitizer->SetFormat(format), noErr);
            EXPECT_TRUE(MoreFrames()) << TextOf(format.format) << ": " << digitizer->Reason();
        }
    }
    EXPECT_TRUE(frames_.Failures().empty());
}
