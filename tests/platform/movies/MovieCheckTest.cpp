// SPDX-License-Identifier: MIT
// What a check says of movies of ours that are whole, cut short and damaged. Those of other programs are checked by the
// program's own test.
#include "platform/movies/MovieCheck.h"
#include "RecordedMovie.h"

#include <gtest/gtest.h>
#include <random>

using namespace platform;
using namespace movietest;

namespace {

class MovieCheckTest : public testing::Test {
protected:
    void SetUp() override
    {
        RecordedMovie movie(path);
        for (int i = 0; i < 40; ++i) {
            ASSERT_EQ(movie.AddPicture(i), noErr);
            ASSERT_EQ(
                movie.AddSound(Noise(6 * 1470, static_cast<uint32_t>(i)), SoundRecord("in24", 2, 24, 44100), 1470),
                noErr);
        }
        ASSERT_EQ(movie.Finish(), noErr);
        whole = ReadFile(path);
    }

    bool IsWhole(const Bytes& content)
    {
        WriteFile(path, content);
        found = {};
        return CheckMovie(path, found) == noErr && found.IsWhole();
    }

    TemporaryFolder folder;
    std::string path = folder / "a.mov";
    Bytes whole;
    CheckedMovie found;
};

TEST_F(MovieCheckTest, SaysWhatIsInAWholeMovie)
{
    EXPECT_TRUE(IsWhole(whole));
    ASSERT_EQ(found.tracks.size(), 2U);
    EXPECT_EQ(found.tracks[0].samples, 40U);
    EXPECT_EQ(found.tracks[1].samples, 40U * 1470);
    EXPECT_NEAR(found.tracks[1].Seconds(), 40 / 30.0, 1e-9);
}

// Wherever the file ends, it is not whole; whatever byte is another, reading it ends well.
TEST_F(MovieCheckTest, FindsWhatIsMissing)
{
    for (size_t size = 0; size < whole.size(); size += size < whole.size() - 2000 ? 997 : 13)
        EXPECT_FALSE(IsWhole({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)})) << size;
    std::mt19937 random(1);
    const size_t header = whole.size() - 1500;
    int noticed = 0;
    for (int i = 0; i < 500; ++i) {
        Bytes damaged = whole;
        damaged[header + random() % (whole.size() - header)] ^= static_cast<uint8_t>(1U << random() % 8);
        noticed += IsWhole(damaged) ? 0 : 1;
    }
    EXPECT_GT(noticed, 100);
}

TEST_F(MovieCheckTest, SaysWhatIsWrongWithATable)
{
    const struct {
        const char* table;
        size_t behind; ///< its name: where the number is that is changed
        uint32_t number;
        const char* fault;
    } cases[] = {
        {"stco", 8, 0x7F000000, "samples are beyond the end of the file, the first of them sample 1"},
        {"stco", 8, 4, "samples are outside of the media data, the first of them sample 1"},
        {"stsc", 16, 9, "samples have no description, the first of them sample 1"},
        {"stts", 12, 77, "its header has a duration of"},
        {"stsz", 8, 39, "samples, its table of sizes 39"},
    };
    const std::string text(whole.begin(), whole.end());
    for (const auto& [table, behind, number, fault] : cases) {
        SCOPED_TRACE(fault);
        Bytes damaged = whole;
        const size_t at = text.find(table, text.rfind("moov")) + 4 + behind;
        for (size_t i = 0; i < 4; ++i)
            damaged[at + i] = static_cast<uint8_t>(number >> (24 - 8 * i));
        EXPECT_FALSE(IsWhole(damaged));
        ASSERT_FALSE(found.tracks.empty());
        const std::string faults = testing::PrintToString(found.tracks[0].faults);
        EXPECT_NE(faults.find(fault), std::string::npos) << faults;
    }
}

} // namespace
