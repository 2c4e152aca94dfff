// SPDX-License-Identifier: MIT
// A camcorder on a simulated bus through the whole product: the real control in a real window, over the real platform.
// The test holds the clock and plays a tape; other people's programs judge the movie.
#include "camcorder/CanvasWindow.h"
#include "framework/PortImage.h"
#include "platform/digitizer/dv/DvFrame.h"
#include "platform/dv/IsochronousDataHandler.h"
#include "support/DvTape.h"
#include "support/SimulatedDeck.h"

#include <gtest/gtest.h>

using namespace velmora;
using test::OutputOf;
using test::Tape;

namespace {

std::atomic<int64_t> handClock{platform::kNanosecondsPerSecond};

class CamcorderTest : public testing::Test, protected test::DeckMachine, protected test::CamcorderControl {
protected:
    CamcorderTest() : CamcorderControl([] { return handClock.load(); }) {}
    ~CamcorderTest() override { End(); }

    /// A frame's time goes by, at whose end the frame is there.
    void Play(std::span<const uint8_t> frame, bool complete = true)
    {
        const int64_t begin = handClock;
        handClock += frame.size() == platform::kDvPalFrameSize ? 40'000'000 : 33'366'667;
        const auto delivered = canvas().VideoCounts().delivered;
        Stream().DvFrameArrived(frame, complete, begin);
        for (int i = 0; i < 5; ++i)
            canvas().Idle();
        // A whole frame is handed over as soon as its picture is decoded, for which the hand clock does not go on.
        const bool isWhole = frame.size() == platform::kDvPalFrameSize || frame.size() == platform::kDvNtscFrameSize;
        while (isWhole && canvas().VideoCounts().delivered == delivered)
            canvas().Idle();
    }

    /// Opens the session. Nobody chooses a compressor: a tape is recorded as it comes.
    void Open()
    {
        canvas().Initialize();
        EXPECT_EQ(canvas().VideoDeviceName(), String("Deck"));
        EXPECT_EQ(errors, std::vector<int32_t>());
    }
};

using Bytes = std::vector<uint8_t>;

void Append(Bytes& bytes, std::span<const Bytes> frames)
{
    for (const Bytes& frame : frames)
        bytes.insert(bytes.end(), frame.begin(), frame.end());
}

// A frame of a tape as another decoder shows it, at the size of an image.
QImage Decoded(const Tape& tape, int frame, QSize size)
{
    const std::string out = tape.path + ".bgr0";
    EXPECT_EQ(OutputOf("ffmpeg -v error -y -i " + tape.path + " -vf 'select=eq(n\\," + std::to_string(frame) +
                       "),scale=" + std::to_string(size.width()) + ":" + std::to_string(size.height()) +
                       "' -frames:v 1 -f rawvideo -pix_fmt bgr0 " + out),
              "");
    const auto bytes = test::ReadFile(out);
    return QImage(bytes.data(), size.width(), size.height(), QImage::Format_RGB32).copy();
}

// Mean difference of two pictures of one size, of the values 0 to 255.
double Difference(const QImage& a, const QImage& b)
{
    double sum = 0;
    for (int y = 0; y < a.height(); ++y)
        for (int x = 0; x < a.width() * 4; ++x)
            sum += x % 4 == 3 ? 0 : std::abs(a.constScanLine(y)[x] - b.constScanLine(y)[x]);
    return sum / (3.0 * a.width() * a.height());
}

// At the end of the process nothing keeps sending, even if the control's session was never released.
TEST_F(CamcorderTest, StopsSendingAtTheEndOfTheProcess)
{
    Open();
    Stream();
    platform::EndPlatform();
    EXPECT_EQ(bus->streaming, nullptr);
}

TEST_F(CamcorderTest, ARecordingLivesThroughWhatTapesAndCablesDo)
{
    const Tape ntsc(false), pal(true);
    Open();
    const std::string movie = ntsc.folder.path / "bad.mov";
    Play(ntsc.frames[0]);
    Record(movie);
    for (size_t i = 1; i < 10; ++i)
        Play(ntsc.frames[i]);
    const auto lost = canvas().VideoCounts().lost;
    Play(std::span(ntsc.frames[10]).first(60'000), false);
    Play({});
    Play(ntsc.frames[12], false);
    EXPECT_EQ(canvas().VideoCounts().lost, lost + 2);
    EXPECT_EQ(canvas().Status().incomplete, 1U);
    EXPECT_EQ(errors, std::vector<int32_t>());

    bus->isPlugged = false;
    Stream().DvStreamFailed(platform::noDeviceForChannel);
    for (; errors.empty(); canvas().Idle())
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_EQ(errors.size(), 1U);
    bus->isPlugged = true;
    for (size_t i = 13; i < 20; ++i)
        Play(ntsc.frames[i]);
    // The tape continues with a recording in the other television system.
    for (size_t i = 0; i < 5; ++i) {
        Play(pal.frames[i]);
        canvas().Resize();
    }
    // Fields exchanged make a difference of 2 and more, a picture turned over one of 17.
    EXPECT_LT(Difference(canvas().GrabPicture(0, 0)->Image(), Decoded(pal, 4, {720, 576})), 1.5);
    Play(ntsc.frames[20]);
    EXPECT_LT(Difference(canvas().GrabPicture(0, 0)->Image(), Decoded(ntsc, 20, {720, 480})), 1.5);
    canvas().Stop();

    Bytes expected;
    Append(expected, std::span(ntsc.frames).subspan(1, 9));
    Append(expected, std::span(ntsc.frames).subspan(12, 8));
    const Bytes samples = test::StreamBytes(movie, "v", "rawvideo");
    ASSERT_GT(samples.size(), expected.size());
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), samples.begin()));
    const Bytes file = test::ReadFile(movie);
    for (const Bytes& other : std::span(pal.frames).first(5))
        EXPECT_NE(std::search(file.begin(), file.end(), other.begin(), other.end()), file.end());
    // The other system's frames lie under a description of their own, which not every reader follows.
    EXPECT_EQ(test::ProbeOf("-select_streams v -show_entries stream=nb_frames", movie), "23\n");
    EXPECT_EQ(test::DecodingErrorsOf(movie), "");
}

// The bytes of each command belong to the control's own test, decks' answers to that of the transaction.
TEST_F(CamcorderTest, ACommandMovesTheDeckOrReportsThatThereIsNone)
{
    auto& deck = bus->decks[kGuid];
    canvas().DeviceControlFreeze();
    platform::FinishDeviceCommands();
    EXPECT_EQ(std::pair(deck.transport, deck.operand), std::pair(uint8_t{0xC3}, uint8_t{0x7D}));
    bus->decks.clear();
    canvas().DeviceControlPlay();
    platform::SetBusProvider([] { return nullptr; }); // as without permission
    canvas().DeviceControlPlay();
    EXPECT_EQ(errors, (std::vector<int32_t>{0, 0}));
}

} // namespace
