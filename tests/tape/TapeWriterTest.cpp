// SPDX-License-Identifier: MIT
// A tape as its frames come, into files that other people's programs judge. `VELMORA_TAPE_SECONDS` makes it longer;
// what happens on it keeps its places.
#include "tape/TapeWriter.h"
#include "support/DvTape.h"

#include <gtest/gtest.h>

using namespace velmora;
using namespace platform;
using test::OutputOf;

namespace {

constexpr TapeTime kMay = 1'084'370'400;  // 2004-05-12 14:00:00
constexpr TapeTime kJune = 1'086'082'200; // 2004-06-01 09:30:00
constexpr TapeTime kEve = 946'684'795;    // 1999-12-31 23:59:55

// Three recordings, the last of another system and without a timecode after its first second; frames that were lost
// and concealed.
class SimulatedTape {
public:
    SimulatedTape()
    {
        const char* const wanted = std::getenv("VELMORA_TAPE_SECONDS");
        part = (wanted == nullptr ? 12 : std::atoi(wanted)) / 3;
    }

    int Count() const { return part * (25 + 25 + 30); }
    int Part() const { return part; } ///< seconds of one recording

    uint32_t LostBefore(int n) const { return n == part * 10 ? 3 : n == part * 25 + 60 ? 1 : 0; }

    std::vector<uint8_t> Frame(int n) const
    {
        const bool isPal = n < part * 50;
        const int inSystem = isPal ? n : n - part * 50;
        auto frame = (isPal ? pal : ntsc).frames[static_cast<size_t>(inSystem % 25)];
        std::optional<TapeTimecode> timecode;
        if (isPal || inSystem < 30)
            timecode = TimecodeOf(
                isPal ? 90'000 + n + (n >= part * 10 ? 3 : 0) + (n >= part * 25 + 60 ? 1 : 0) : inSystem, isPal);
        const int inPart = isPal ? n % (part * 25) : inSystem;
        const TapeTime recorded = (isPal ? n < part * 25 ? kMay : kJune : kEve) + inPart / (isPal ? 25 : 30);
        test::WritePacks(frame, timecode, recorded, n == 20 || n == 21 ? 7 : 0);
        return frame;
    }

private:
    static TapeTimecode TimecodeOf(int number, bool isPal)
    {
        const int rate = isPal ? 25 : 30;
        return {number / rate / 3600, number / rate / 60 % 60, number / rate % 60, number % rate, !isPal};
    }

    int part;
    test::Tape pal{true, 1}, ntsc{false, 1};
};

std::string Line(std::string text)
{
    std::ranges::replace(text, '\n', ' ');
    return text;
}

TEST(TapeWriter, ATapeBecomesMoviesWithTimecodeDatesAndAReport)
{
    const SimulatedTape tape;
    const int part = tape.Part();
    const test::TemporaryFolder folder;
    TapeWriter writer({.movieName = [&](int number, TapeTime) { return folder / (std::to_string(number) + ".mov"); },
                       .splitRecordings = true,
                       .dvFile = folder / "tape.dv",
                       .replace = true});
    for (int n = 0; n < tape.Count(); ++n)
        ASSERT_TRUE(writer.Add(tape.Frame(n), n != 5, tape.LostBefore(n))) << writer.Problem();
    ASSERT_TRUE(writer.Finish()) << writer.Problem();

    // The plain stream, byte for byte.
    std::ifstream dv(folder / "tape.dv", std::ios::binary);
    std::vector<uint8_t> read;
    for (int n = 0; n < tape.Count(); ++n) {
        const auto sent = tape.Frame(n);
        read.resize(sent.size());
        dv.read(reinterpret_cast<char*>(read.data()), static_cast<long>(read.size()));
        ASSERT_TRUE(read == sent) << n;
    }
    EXPECT_EQ(dv.peek(), EOF);

    const struct {
        int frames;
        int length;
        const char* codec;
        const char* timecode;
        const char* date;
        const char* firstCue;
    } movies[] = {
        {part * 25, part * 25 + 3, "dvcp", "01:00:00:00", "2004-05-12T14:00:00", "2004-05-12 14:00:00"},
        {part * 25, part * 25 + 1, "dvcp", nullptr, "2004-06-01T09:30:00", "2004-06-01 09:30:00"},
        {part * 30, part * 30, "dvc ", "00:00:00;00", "1999-12-31T23:59:55", "1999-12-31 23:59:55"},
    };
    ASSERT_EQ(writer.Files().size(), std::size(movies));
    for (size_t i = 0; i < std::size(movies); ++i) {
        const TapeFileReport& file = writer.Files()[i];
        const auto& movie = movies[i];
        SCOPED_TRACE(TextOf(file));
        EXPECT_EQ(file.length, movie.length);
        EXPECT_EQ(test::ProbeOf("-select_streams v -show_entries stream=codec_tag_string,nb_frames", file.path),
                  std::string(movie.codec) + "," + std::to_string(movie.frames) + "\n");
        const std::string timecode = movie.timecode != nullptr ? movie.timecode : TextOf(*file.firstTimecode);
        EXPECT_EQ(Line(test::ProbeOf("-select_streams v -show_entries stream_tags=timecode", file.path)),
                  timecode + " ");
        EXPECT_EQ(test::ProbeOf("-show_entries format_tags=date", file.path), std::string(movie.date) + "\n");
        const auto lengths = test::ProbeOf("-select_streams a -show_entries stream=duration", file.path);
        EXPECT_NEAR(std::stod(lengths), file.Seconds(), 0.005) << "sound";
        const auto subtitles = test::ReadFile(folder / (std::to_string(i + 1) + ".srt"));
        const std::string text(subtitles.begin(), subtitles.end());
        EXPECT_EQ(text.substr(0, 32), "1\n00:00:00,000 --> 00:00:01," + std::string(i == 2 ? "001\n" : "000\n"));
        EXPECT_EQ(text.substr(32, 19), movie.firstCue);
        EXPECT_EQ(std::ranges::count(text, '>'), part);
        if (part < 60) {
            // The decoder sees the concealed frames as well.
            const auto errors = OutputOf("ffmpeg -v error -xerror -i '" + file.path + "' -f null -");
            EXPECT_EQ(std::ranges::count(errors, '\n'), i == 0 ? 2 : 0) << errors;
        }
    }
    EXPECT_EQ(writer.Files()[2].withoutTimecode, part * 30 - 30);

    using Kind = TapeFault::Kind;
    const auto faultsOf = [&](size_t i) {
        std::string text;
        for (const TapeFault& fault : writer.Files()[i].faults)
            text += std::to_string(static_cast<int>(fault.kind)) + "@" + std::to_string(fault.frame) + "+" +
                    std::to_string(fault.frames) + "/" + std::to_string(fault.blocks) + " ";
        return text;
    };
    static_assert(static_cast<int>(Kind::Lost) == 0 && static_cast<int>(Kind::Concealed) == 2);
    EXPECT_EQ(faultsOf(0), "1@5+1/0 2@20+2/14 0@" + std::to_string(part * 10) + "+3/0 ");
    EXPECT_EQ(faultsOf(1), "0@60+1/0 ");
    EXPECT_EQ(faultsOf(2), "");
}

TEST(TapeWriter, WhatCannotBeWrittenIsSaid)
{
    TapeWriter nowhere({.movieName = [](int, TapeTime) { return "/nonexistent/a.mov"; }});
    const test::Tape tape(true, 0.2);
    EXPECT_TRUE(nowhere.Add({}, true, 0)) << "no frame is a lost one";
    EXPECT_FALSE(nowhere.Add(tape.frames[0], true, 0));
    EXPECT_FALSE(nowhere.Finish());
    EXPECT_EQ(nowhere.Problem(), "can't write /nonexistent/a.mov: there is no such folder");
    EXPECT_EQ(TapeWriter({.dvFile = "/nonexistent/a.dv"}).Problem(),
              "can't write /nonexistent/a.dv: there is no such folder");
}

// What no tape holds, and what damage makes of the rest.
TEST(DvPacks, NothingIsReadOutOfNoise)
{
    std::vector<uint8_t> frame(kDvPalFrameSize);
    for (const uint8_t filling : {0x00, 0x13, 0x62, 0x63, 0xAA, 0xFF}) {
        std::ranges::fill(frame, filling);
        const DvFrameData data = ReadDvFrameData(frame);
        EXPECT_EQ(data.timecode.has_value(), filling == 0x13) << int{filling};
        EXPECT_FALSE(data.recorded.has_value());
    }
    EXPECT_FALSE(ReadDvFrameData(std::span(frame).first(100)).timecode);
    EXPECT_EQ(FrameNumberOf({0, 10, 0, 0, true}, false), 17'982);
    EXPECT_EQ(FrameNumberOf({0, 1, 0, 2, true}, false), 1'800);
}

} // namespace
