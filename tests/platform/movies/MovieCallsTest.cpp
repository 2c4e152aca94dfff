// SPDX-License-Identifier: MIT
// What the calls answer.

#include "RecordedMovie.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <limits>
#include <tuple>

using namespace platform;
using namespace movietest;

namespace {

TEST(MovieCalls, SamplesAreCheckedBeforeTheyAreAdded)
{
    const TemporaryFolder folder;
    RecordedMovie movie(folder / "a.mov");
    const TestHandle data(Bytes(100, 1));
    const TestHandle picture(ImageRecord("jpeg", 64, 48));
    const TestHandle cutPicture(Bytes(40));
    const TestHandle stereo(SoundRecord("sowt", 2, 16, 44100));
    const TestHandle mute(SoundRecord("sowt", 0, 16, 44100));
    Bytes claimed = SoundRecord("sowt", 2, 16, 44100);
    claimed[0] = 52;
    const TestHandle tooShort(claimed);
    const int32_t most = std::numeric_limits<int32_t>::max();
    const std::tuple<Media, Handle, int32_t, int32_t, int32_t, Handle, int32_t, Result> cases[] = {
        {movie.video, data, 91, 10, 1, picture, 1, paramErr},
        {movie.video, data, most, most, 1, picture, 1, paramErr},
        {movie.video, data, 0, 100, 1, picture, 3, paramErr},
        {movie.video, 0, 0, 1, 1, picture, 1, paramErr},
        {movie.video, data, 0, 100, -1, picture, 1, invalidDuration},
        {movie.video, data, 0, 100, 1, cutPicture, 1, badImageDescription},
        {movie.sound, data, 0, 100, 1, mute, 25, badImageDescription},
        {movie.sound, data, 0, 100, 1, tooShort, 25, badImageDescription},
        {movie.sound, data, 0, 100, 1, stereo, 26, paramErr},
        {movie.sound, data, 3, 97, 1, stereo, 24, noErr}, // a byte that makes no frame
        {movie.video, data, 0, 100, most, picture, 100, noErr},
        {movie.video, data, 90, 10, 0, picture, 1, noErr},
    };
    for (const auto& [media, bytes, offset, size, duration, description, count, expected] : cases)
        EXPECT_EQ(AddMediaSample(media, bytes, offset, size, duration, description, count, 0, 0), expected) << offset;
    EXPECT_EQ(GetMediaDuration(movie.sound), 24);
    EXPECT_EQ(GetMediaDuration(movie.video), most) << "held at the end of the range";
}

TEST(MovieCalls, StorageAnswersForTheFile)
{
    const TemporaryFolder folder;
    DataHandler handler = 0;
    Movie movie = 0;
    const std::string path = folder / "a.mov";
    WriteFile(path, Bytes(5000, 1));
    EXPECT_EQ(CreateStorage(path, 0, handler, movie), dupFNErr);
    EXPECT_EQ(std::filesystem::file_size(path), 5000U) << "left as it was";
    EXPECT_EQ(CreateStorage(folder / "none/a.mov", 0, handler, movie), dirNFErr);
    EXPECT_EQ(CreateStorage(folder / std::string(300, 'a'), 0, handler, movie), bdNamErr);
    EXPECT_EQ(CreateStorage("relative.mov", 0, handler, movie), couldNotResolveDataRef);
    // A movie still being recorded keeps its file when another one takes its name.
    RecordedMovie first(path);
    ASSERT_EQ(first.AddSound(Bytes(400, 1), SoundRecord("sowt", 2, 16, 44100), 100), noErr);
    RecordedMovie second(path);
    ASSERT_EQ(second.AddSound(Bytes(8000, 2), SoundRecord("sowt", 2, 16, 44100), 2000), noErr);
    EXPECT_EQ(second.Finish(), noErr);
    EXPECT_EQ(second.Close(), noErr);
    const Bytes file = ReadFile(path);
    EXPECT_EQ(first.Finish(), noErr);
    EXPECT_EQ(first.Close(), noErr);
    EXPECT_EQ(ReadFile(path), file);
}

} // namespace
