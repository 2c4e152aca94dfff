// SPDX-License-Identifier: MIT
#include "platform/digitizer/dv/DvDigitizer.h"
#include "platform/digitizer/dv/DvFrame.h"
#include "support/DvTape.h"
#include "support/FrameCollector.h"
#include "support/SimulatedDeck.h"

#include <gtest/gtest.h>

#include <array>
#include <tuple>

using namespace platform;
using test::Tape;

namespace {

struct Collector : SoundSink {
    void SoundArrived(const CapturedSound& arrived) override
    {
        const auto* samples = reinterpret_cast<const int16_t*>(arrived.bytes.data());
        sound.insert(sound.end(), samples, samples + arrived.bytes.size() / 2);
    }
    void SoundFailed(Result) override {}

    std::vector<int16_t> sound;
};

struct DvDigitizerTest : testing::Test, test::DeckMachine {
    Collector collector;
};

// Makes the sound of a frame 12 bits and 32 kHz on two pairs of channels. Each three bytes hold the next code and its
// complement, whose value is the complement of the code's.
void WriteTwelveBitSound(std::vector<uint8_t>& frame, int& code)
{
    for (size_t block = 6; block < frame.size() / 80; ++block) {
        if (block % 150 < 6 || (block % 150 - 6) % 16 != 0)
            continue;
        uint8_t* bytes = &frame[block * 80];
        if (bytes[3] == 0x50) { // the pack that tells the format
            bytes[4] = static_cast<uint8_t>((bytes[4] & 0xC0) | 14);
            bytes[6] &= 0xE0;
            bytes[7] = static_cast<uint8_t>((bytes[7] & 0xC0) | 2 << 3 | 1);
        }
        for (size_t at = 8; at < 80; at += 3) {
            code = (code + 1) % 0x7FF; // all but the code of a lost sample
            const int other = 0xFFF - code;
            bytes[at] = static_cast<uint8_t>(code >> 4);
            bytes[at + 1] = static_cast<uint8_t>(other >> 4);
            bytes[at + 2] = static_cast<uint8_t>((code & 15) << 4 | (other & 15));
        }
    }
}

TEST_F(DvDigitizerTest, TwelveBitSoundIsThatOfAnotherDecoder)
{
    for (const bool pal : {false, true}) {
        Tape tape(pal, 0.2);
        ASSERT_GE(tape.frames.size(), 5U);
        // Every code somewhere, and every place another one.
        const auto source = OpenDvSoundSource(ListDvSoundSources().front().identity);
        source->Start(collector);
        collector.sound.clear();
        std::ofstream file(tape.path, std::ios::binary);
        int code = 0;
        for (auto& frame : tape.frames) {
            WriteTwelveBitSound(frame, code);
            file.write(reinterpret_cast<const char*>(frame.data()), static_cast<long>(frame.size()));
            Stream().DvFrameArrived(frame, true, 0);
        }
        file.close();
        EXPECT_GE(collector.sound.size(), tape.frames.size() * 2 * 1067);
        EXPECT_EQ(collector.sound, test::SoundOf(tape.path));
        EXPECT_EQ(source->Format().sampleRate, 32'000);
        source->Stop();
    }
}

TEST_F(DvDigitizerTest, PictureSoundAndASecondPictureStopIndependently)
{
    const std::string identity = ListDvDigitizers().front().identity;
    const auto first = OpenDvDigitizer(identity);
    const auto second = OpenDvDigitizer(identity);
    const auto source = OpenDvSoundSource(identity);
    const Tape tape(true, 0.2);
    FrameCollector frames;
    FrameCollector others;
    ASSERT_EQ(first->Start(frames), noErr);
    ASSERT_EQ(source->Start(collector), noErr);
    const auto send = [&] {
        const auto before = std::tuple(frames.Seen().size(), others.Seen().size(), collector.sound.size());
        Stream().DvFrameArrived(tape.frames[0], true, MonotonicNow());
        return std::array{frames.Seen().size() > std::get<0>(before), others.Seen().size() > std::get<1>(before),
                          collector.sound.size() > std::get<2>(before)};
    };
    EXPECT_EQ(send(), (std::array{true, false, true}));
    ASSERT_EQ(second->Start(others), noErr);
    EXPECT_EQ(send(), (std::array{false, true, true})) << "the second takes the picture over";
    first->Stop();
    EXPECT_EQ(send(), (std::array{false, true, true}));
    source->Stop();
    EXPECT_EQ(send(), (std::array{false, true, false}));
    ASSERT_EQ(source->Start(collector), noErr);
    second->Stop();
    EXPECT_EQ(send(), (std::array{false, false, true}));
    source->Stop();
    EXPECT_EQ(bus->streaming, nullptr);
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
