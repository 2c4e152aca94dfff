// What the calls answer.

#include "RecordedMovie.h"
#include "platform/files/DirectoryNumbers.h"
#include "platform/movies/MovieContents.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <gtest/gtest.h>
#include <limits>
#include <sys/stat.h>
#include <unistd.h>

using namespace platform;
using namespace movietest;

namespace {

constexpr int32_t kNoNumber = 12345;
constexpr Fixed kRateOne = 0x10000;

TEST(MovieCalls, DeadNumbersGiveTheirErrors)
{
    const TemporaryFolder folder;
    RecordedMovie movie(folder / "a.mov");
    RecordedMovie other(folder / "b.mov");
    EXPECT_EQ(NewMovieTrack(kNoNumber, 0, 0, 256), 0);
    EXPECT_EQ(NewMovieTrack(movie.movie, -1, 0, 256), 0);
    EXPECT_EQ(NewTrackMedia(kNoNumber, kVideoMediaType, 600, 0, 0), 0);
    EXPECT_EQ(NewTrackMedia(movie.videoTrack, kVideoMediaType, 600, 0, 0), 0) << "it has media";
    const Track bare = NewMovieTrack(movie.movie, 0, 0, 256);
    EXPECT_EQ(NewTrackMedia(bare, CodeOf("text"), 600, 0, 0), 0);
    EXPECT_EQ(NewTrackMedia(bare, kSoundMediaType, 0, 0, 0), 0);
    EXPECT_EQ(InsertMediaIntoTrack(bare, -1, 0, 0, kRateOne), invalidMedia);
    EXPECT_EQ(InsertMediaIntoTrack(kNoNumber, -1, 0, 0, kRateOne), invalidTrack);
    for (const Media dead : {0, kNoNumber, movie.videoTrack}) {
        EXPECT_EQ(BeginMediaEdits(dead), invalidMedia);
        EXPECT_EQ(EndMediaEdits(dead), invalidMedia);
        EXPECT_EQ(GetMediaDuration(dead), 0);
        EXPECT_EQ(GetMediaTimeScale(dead), 0);
    }
    EXPECT_EQ(AddMovieToStorage(kNoNumber, movie.handler), invalidMovie);
    EXPECT_EQ(AddMovieToStorage(movie.movie, kNoNumber), badComponentInstance);
    EXPECT_EQ(AddMovieToStorage(movie.movie, other.handler), invalidMovie);
    EXPECT_EQ(CloseMovieStorage(kNoNumber), badComponentInstance);

    EXPECT_EQ(EndMediaEdits(movie.video), noErr);
    EXPECT_EQ(EndMediaEdits(movie.video), invalidMedia) << "not in edits";
    EXPECT_EQ(movie.AddVideo({1}, ImageRecord("jpeg", 64, 48), 1), invalidMedia);
    EXPECT_EQ(movie.Close(), noErr);
    EXPECT_EQ(movie.Close(), badComponentInstance);
    EXPECT_EQ(AddMovieToStorage(movie.movie, movie.handler), badComponentInstance);
    EXPECT_EQ(movie.AddSound({1, 2}, SoundRecord("raw ", 1, 8, 8000), 2), couldNotResolveDataRef);
    EXPECT_EQ(BeginMediaEdits(movie.video), couldNotResolveDataRef);
    EXPECT_EQ(GetMediaTimeScale(movie.video), 600) << "outlives the file";
    DisposeMovie(movie.movie);
    EXPECT_EQ(GetMediaTimeScale(movie.video), 0);
    EXPECT_EQ(InsertMediaIntoTrack(movie.videoTrack, -1, 0, 0, kRateOne), invalidTrack);
    EXPECT_EQ(GetMediaTimeScale(other.video), 600) << "another movie's";
    DisposeMovie(movie.movie);
}

TEST(MovieCalls, SamplesAreCheckedBeforeTheyAreAdded)
{
    const TemporaryFolder folder;
    RecordedMovie movie(folder / "a.mov");
    const TestHandle data(Bytes(100, 1));
    const TestHandle empty({});
    const TestHandle picture(ImageRecord("jpeg", 64, 48));
    const TestHandle cutPicture(Bytes(40));
    const TestHandle stereo(SoundRecord("sowt", 2, 16, 44100));
    const TestHandle mute(SoundRecord("sowt", 0, 16, 44100));
    Bytes claimed = SoundRecord("sowt", 2, 16, 44100);
    claimed[0] = 52;
    const TestHandle tooShort(claimed);
    const int32_t most = std::numeric_limits<int32_t>::max();
    struct Case {
        Media media;
        Handle data;
        int32_t offset, size, duration;
        Handle description;
        int32_t count;
        Result expected;
    };
    const Case cases[] = {
        {movie.video, data, -1, 10, 1, picture, 1, paramErr},
        {movie.video, data, 91, 10, 1, picture, 1, paramErr},
        {movie.video, data, most, most, 1, picture, 1, paramErr},
        {movie.video, data, 0, 0, 1, picture, 1, paramErr},
        {movie.video, data, 0, -1, 1, picture, 1, paramErr},
        {movie.video, data, 0, 100, 1, picture, 0, paramErr},
        {movie.video, data, 0, 100, 1, picture, 3, paramErr},
        {movie.video, empty, 0, 1, 1, picture, 1, paramErr},
        {movie.video, 0, 0, 1, 1, picture, 1, paramErr},
        {movie.video, data, 0, 100, -1, picture, 1, invalidDuration},
        {movie.video, data, 0, 100, 1, 0, 1, badImageDescription},
        {movie.video, data, 0, 100, 1, cutPicture, 1, badImageDescription},
        {movie.video, data, 0, 100, 1, stereo, 1, badImageDescription},
        {movie.sound, data, 0, 100, 1, empty, 25, badImageDescription},
        {movie.sound, data, 0, 100, 1, mute, 25, badImageDescription},
        {movie.sound, data, 0, 100, 1, tooShort, 25, badImageDescription},
        {movie.sound, data, 0, 100, 1, stereo, 26, paramErr},
        {movie.sound, data, 3, 97, 1, stereo, 24, noErr}, // a byte that makes no frame
        {movie.video, data, 0, 100, most, picture, 100, noErr},
        {movie.video, data, 90, 10, 0, picture, 1, noErr},
    };
    for (const Case& test : cases)
        EXPECT_EQ(AddMediaSample(test.media, test.data, test.offset, test.size, test.duration, test.description,
                                 test.count, 0, 0),
                  test.expected)
            << "case " << &test - cases;
    EXPECT_EQ(GetMediaDuration(movie.sound), 24);
    EXPECT_EQ(GetMediaDuration(movie.video), most) << "held at the end of the range";
    // What the calls can't say in 32 bits is inserted whole.
    EXPECT_EQ(InsertMediaIntoTrack(movie.videoTrack, -1, 0, most, kRateOne), noErr);

    const OwnedBlock time(4);
    EXPECT_EQ(AddMediaSample(movie.sound, data, 0, 40, 1, stereo, 10, 0, time.Get()), noErr);
    EXPECT_EQ(Peek<int32_t>(time.Get()), 24);
}

TEST(MovieCalls, InsertionsAreCheckedAgainstTheMedia)
{
    const TemporaryFolder folder;
    RecordedMovie movie(folder / "a.mov");
    ASSERT_EQ(movie.AddVideo({1, 2, 3}, ImageRecord("jpeg", 64, 48), 100), noErr);
    struct Case {
        int32_t trackStart, mediaTime, duration;
        Fixed rate;
        Result expected;
    };
    const Case cases[] = {
        {-1, 0, 100, kRateOne, noErr},
        {-1, 100, 0, kRateOne, noErr},
        {-2, 0, 100, kRateOne, invalidTime},
        {-1, -1, 100, kRateOne, invalidTime},
        {-1, 101, 0, kRateOne, invalidTime},
        {-1, 0, 101, kRateOne, invalidDuration},
        {-1, 0, -1, kRateOne, invalidDuration},
        {-1, 0, std::numeric_limits<int32_t>::max(), kRateOne, invalidDuration},
        {-1, 0, 100, 0, paramErr},
    };
    for (const Case& test : cases)
        EXPECT_EQ(InsertMediaIntoTrack(movie.videoTrack, test.trackStart, test.mediaTime, test.duration, test.rate),
                  test.expected)
            << "case " << &test - cases;
}

TEST(MovieCalls, EditsAreCutAndMovedByInsertions)
{
    std::vector<Edit> edits;
    InsertEdit(edits, 0, {100, 0}, 44100);
    InsertEdit(edits, 100, {50, 1000}, 44100);
    EXPECT_EQ(edits, (std::vector<Edit>{{100, 0}, {50, 1000}}));
    InsertEdit(edits, 40, {10, 5}, 44100);
    EXPECT_EQ(edits, (std::vector<Edit>{{40, 0}, {10, 5}, {60, 40 * 44100 / 600}, {50, 1000}}));
    InsertEdit(edits, 200, {1, 7}, 44100);
    EXPECT_EQ(edits, (std::vector<Edit>{{40, 0}, {10, 5}, {60, 2940}, {50, 1000}, {40, -1}, {1, 7}}));
    InsertEdit(edits, 170, {2, 9}, 44100);
    EXPECT_EQ(edits[5], (Edit{2, 9}));
    EXPECT_EQ(edits[6], (Edit{30, -1})) << "the rest of nothing is nothing";
    EXPECT_EQ(DurationOf(edits), 203);
}

TEST(MovieCalls, StorageAnswersForTheFile)
{
    const TemporaryFolder folder;
    DataHandler handler = 0;
    Movie movie = 0;
    const std::string path = folder / "a.mov";
    WriteFile(path, Bytes(5000, 1));
    EXPECT_EQ(CreateStorage(path, 0, handler, movie), dupFNErr);
    EXPECT_EQ(handler, 0);
    EXPECT_EQ(movie, 0);
    EXPECT_EQ(std::filesystem::file_size(path), 5000U) << "left as it was";
    EXPECT_EQ(CreateStorage(folder / "none/a.mov", 0, handler, movie), dirNFErr);
    EXPECT_EQ(CreateStorage(path + "/a.mov", 0, handler, movie), dirNFErr);
    EXPECT_EQ(CreateStorage(folder / std::string(300, 'a'), 0, handler, movie), bdNamErr);
    EXPECT_EQ(CreateStorage("relative.mov", 0, handler, movie), couldNotResolveDataRef);
    const TestHandle reference(Bytes(path.begin(), path.end()));
    const OwnedBlock numbers(8);
    EXPECT_EQ(CreateMovieStorage(reference, CodeOf("url "), 0, 0, createMovieFileDeleteCurFile, numbers.Get(),
                                 numbers.Get() + 4),
              couldNotResolveDataRef);
    EXPECT_EQ(CreateMovieStorage(reference, CodeOf("alis"), 0, 0, createMovieFileDeleteCurFile, 0, numbers.Get()),
              paramErr);
    EXPECT_EQ(std::filesystem::file_size(path), 5000U);

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

TEST(MovieCalls, MoreCanBeAddedToACompleteMovie)
{
    const TemporaryFolder folder;
    const std::string path = folder / "a.mov";
    RecordedMovie movie(path);
    const Bytes record = SoundRecord("raw ", 1, 8, 8000);
    for (int part = 1; part <= 3; ++part) {
        const int32_t before = GetMediaDuration(movie.sound);
        BeginMediaEdits(movie.sound);
        ASSERT_EQ(movie.AddSound(Noise(4000, 1), record, 4000), noErr);
        ASSERT_EQ(EndMediaEdits(movie.sound), noErr);
        ASSERT_EQ(InsertMediaIntoTrack(movie.soundTrack, -1, before, 4000, kRateOne), noErr);
        ASSERT_EQ(AddMovieToStorage(movie.movie, movie.handler), noErr);
        EXPECT_EQ(
            OutputOf("ffprobe -v error -of csv=p=0 -select_streams a -show_entries stream=nb_frames " + Quoted(path)),
            std::to_string(part * 4000) + "\n");
    }
    ASSERT_EQ(movie.Close(), noErr);
}

TEST(MovieCalls, DataReferencesHoldAFullPath)
{
    const OwnedBlock out(8);
    const auto make = [&](const std::string& path, int32_t style, int32_t flags) {
        const OwnedBlock text(static_cast<int64_t>(path.size()) + 1);
        std::ranges::copy(path, text.Bytes().begin());
        const CFStringRef string = CFStringCreateWithCString(0, text.Get(), kCFStringEncodingUTF8);
        const Result result = QTNewDataReferenceFromFullPathCFString(string, style, flags, out.Get(), out.Get() + 4);
        CFRelease(string);
        return result;
    };
    EXPECT_EQ(make("", -1, 0), bdNamErr);
    EXPECT_EQ(make("a.mov", -1, 0), bdNamErr);
    EXPECT_EQ(make("/a.mov", 0, 0), paramErr);
    EXPECT_EQ(make("/a.mov", -1, 1), paramErr);
    ASSERT_EQ(make("/tmp/映画 'a'.mov", -1, 0), noErr);
    EXPECT_EQ(Peek<FourCharCode>(out.Get() + 4), CodeOf("alis"));
    const auto handle = Peek<Handle>(out.Get());
    EXPECT_EQ(PathOfDataReference(handle), "/tmp/映画 'a'.mov");
    DisposeHandle(handle);
    EXPECT_EQ(PathOfDataReference(handle), "");
}

TEST(MovieCalls, FilesAreMadeFromTheirRecord)
{
    const TemporaryFolder folder;
    const DirectoryNumbers numbers = NumbersOfDirectory(folder / "");
    const OwnedBlock record(69);
    const auto create = [&](const std::string& name, int32_t directory, uint32_t flags) {
        Poke(record.Get(), numbers.volume);
        Poke(record.Get() + 2, directory);
        Poke(record.Get() + 6, static_cast<uint8_t>(name.size()));
        std::memcpy(record.Bytes().data() + 7, name.data(), std::min<size_t>(name.size(), 62));
        return CreateMovieFile(record.Get(), CodeOf("TVOD"), -1, flags, 0, 0);
    };
    struct Case {
        std::string name;
        int32_t directory;
        uint32_t flags;
        Result expected;
    };
    const Case cases[] = {
        {"Movie 1", numbers.directory, 0x70000000, noErr},
        {"Movie 1", numbers.directory, 0x70000000, dupFNErr},
        {"Movie 1", numbers.directory, 0xF0000000, noErr},
        {std::string(62, 'x'), numbers.directory, 0x70000000, noErr},
        {std::string(63, 'x'), numbers.directory, 0x70000000, bdNamErr},
        {"", numbers.directory, 0x70000000, bdNamErr},
        {"../a", numbers.directory, 0x70000000, bdNamErr},
        {"Movie 2", 99999, 0x70000000, dirNFErr},
    };
    for (const Case& test : cases)
        EXPECT_EQ(create(test.name, test.directory, test.flags), test.expected) << test.name;
    EXPECT_EQ(CreateMovieFile(0, 0, -1, 0, 0, 0), paramErr);
    EXPECT_EQ(std::filesystem::file_size(folder / "Movie 1"), 0U);
}

} // namespace
