#include "platform/digitizer/DvDigitizer.h"
#include "platform/digitizer/DvFrame.h"
#include "support/SimulatedDeck.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

using namespace platform;

namespace {

constexpr uint64_t kGuid = 0x0011223344556677;

std::vector<uint8_t> ReadFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// A second of DV with a different tone on each channel, and what another decoder hears in it.
struct Tape {
    std::vector<std::vector<uint8_t>> frames;
    std::vector<int16_t> heard;

    explicit Tape(bool pal)
    {
        const auto folder = std::filesystem::temp_directory_path() / "velmora-dv-test";
        std::filesystem::create_directories(folder);
        const std::string stream = folder / (pal ? "pal.dv" : "ntsc.dv");
        const std::string sound = stream + ".pcm";
        const std::string make =
            "ffmpeg -v error -y -f lavfi -i testsrc=size=" +
            std::string(pal ? "720x576:rate=25" : "720x480:rate=30000/1001") +
            " -f lavfi -i 'aevalsrc=0.5*sin(2*PI*440*t)|0.3*sin(2*PI*1000*t):s=48000' -t 1 -target " +
            (pal ? "pal" : "ntsc") + "-dv -f dv " + stream + " && ffmpeg -v error -y -i " + stream + " -f s16le " +
            sound;
        if (std::system(make.c_str()) != 0)
            return;
        const auto bytes = ReadFile(stream);
        const size_t size = pal ? kDvPalFrameSize : kDvNtscFrameSize;
        for (size_t start = 0; start + size <= bytes.size(); start += size)
            frames.emplace_back(bytes.begin() + static_cast<long>(start),
                                bytes.begin() + static_cast<long>(start + size));
        const auto pcm = ReadFile(sound);
        heard.resize(pcm.size() / 2);
        std::memcpy(heard.data(), pcm.data(), heard.size() * 2);
    }
};

struct Collector : FrameSink, SoundSink {
    void FrameArrived(const CapturedFrame& frame) override
    {
        frames.emplace_back(frame.picture.bytes.begin(), frame.picture.bytes.end());
        last = frame;
    }
    void CaptureFailed(Result result) override { failure = result; }
    void SoundArrived(const CapturedSound& arrived) override
    {
        const auto* samples = reinterpret_cast<const int16_t*>(arrived.bytes.data());
        sound.insert(sound.end(), samples, samples + arrived.bytes.size() / 2);
        soundTime = arrived.captureTime;
    }
    void SoundFailed(Result result) override { failure = result; }

    std::vector<std::vector<uint8_t>> frames;
    std::vector<int16_t> sound;
    CapturedFrame last;
    int64_t soundTime = 0;
    std::atomic<Result> failure{noErr};
};

class DvDigitizerTest : public testing::Test {
protected:
    void SetUp() override
    {
        bus->decks[kGuid];
        SetBusProvider([this] { return bus; });
    }
    void TearDown() override { SetBusProvider({}); }

    DvStreamSink& WaitForStream() const
    {
        while (bus->streaming == nullptr)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return *bus->streaming;
    }

    std::shared_ptr<test::SimulatedBus> bus = std::make_shared<test::SimulatedBus>();
    Collector collector;
};

TEST_F(DvDigitizerTest, PictureAndSoundComeThroughUntouchedAndInStep)
{
    ASSERT_EQ(ListDvDigitizers().size(), 1U);
    const auto identity = ListDvSoundSources().front().identity;
    for (const bool pal : {false, true}) {
        const Tape tape(pal);
        ASSERT_GE(tape.frames.size(), 25U);
        collector.frames.clear();
        collector.sound.clear();
        const auto camera = OpenDvDigitizer(identity);
        const auto sound = OpenDvSoundSource(identity);
        ASSERT_TRUE(camera && sound);
        camera->Start(collector);
        sound->Start(collector);
        DvStreamSink& stream = WaitForStream();
        for (size_t i = 0; i < tape.frames.size(); ++i) {
            stream.DvFrameArrived(tape.frames[i], true, static_cast<int64_t>(1000 + i));
            EXPECT_EQ(collector.last.captureTime, collector.soundTime);
        }
        EXPECT_EQ(collector.frames, tape.frames);
        EXPECT_EQ(collector.sound, tape.heard);
        EXPECT_EQ(TextOf(collector.last.picture.format), pal ? "dvcp" : "dvc ");
        EXPECT_EQ(camera->Format().height, pal ? 576 : 480);
        EXPECT_EQ(collector.last.sequence, tape.frames.size());
        camera->Stop();
        sound->Stop();
        EXPECT_EQ(bus->streaming, nullptr);
    }
}

TEST_F(DvDigitizerTest, BadFramesAreCountedAndACamcorderComesBack)
{
    const Tape tape(false);
    ASSERT_GE(tape.frames.size(), 2U);
    const auto camera = OpenDvDigitizer("dv:0011223344556677");
    ASSERT_TRUE(camera);
    camera->Start(collector);
    DvStreamSink& stream = WaitForStream();
    const auto& frame = tape.frames[0];
    stream.DvFrameArrived(frame, true, 1);
    stream.DvFrameArrived(std::span(frame).first(60'000), false, 2);
    stream.DvFrameArrived({}, false, 3);
    stream.DvFrameArrived(tape.frames[1], false, 4);
    EXPECT_EQ(collector.frames.size(), 2U);
    EXPECT_EQ(collector.last.sequence, 4U);

    stream.DvStreamFailed(ioErr);
    EXPECT_EQ(collector.failure, ioErr);
    while (bus->streaming != nullptr)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    WaitForStream().DvFrameArrived(frame, true, 5);
    EXPECT_EQ(collector.frames.size(), 3U);
    camera->Stop();
}

TEST(DvFrame, NoiseIsRefusedOrSilent)
{
    DvSound sound;
    EXPECT_FALSE(ReadDvFrame({}));
    std::vector<uint8_t> frame(kDvNtscFrameSize, 0xFF);
    EXPECT_FALSE(ReadDvFrame(frame));
    frame[0] = 0x1F;
    frame[1] = 0x07;
    EXPECT_FALSE(ReadDvFrame(frame)); // says PAL in a frame of the other size
    frame[3] = 0;
    EXPECT_TRUE(ReadDvFrame(frame));
    EXPECT_FALSE(ExtractDvSound(frame, sound));
    EXPECT_TRUE(sound.samples.empty());
    // Every sound pack there can be, in a frame of noise.
    for (unsigned seed = 0; seed < 2000; ++seed) {
        for (size_t i = 6 * 80; i < frame.size(); ++i)
            frame[i] = static_cast<uint8_t>(i * (seed + 3) >> (seed % 7));
        frame[6 * 80 + 3] = 0x50;
        frame[6 * 80 + 4] = static_cast<uint8_t>(seed);
        frame[6 * 80 + 7] = static_cast<uint8_t>(seed >> 3);
        const bool hasSound = ExtractDvSound(frame, sound);
        EXPECT_EQ(hasSound, sound.samples.size() >= 2 * 1053U);
    }
}

} // namespace
