// SPDX-License-Identifier: MIT
// Movies written by the calls and read back by other people's programs.
#include "RecordedMovie.h"
#include "platform/movies/CaptureInHand.h"
#include "platform/movies/MovieCheck.h"
#include "platform/movies/MovieFragments.h"
#include "platform/movies/MovieHeader.h"
#include "platform/movies/OutputFile.h"
#include "platform/movies/SampleDescriptions.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <limits>
#include <sstream>
#include <tuple>

using namespace platform;
using namespace movietest;

namespace {

// What ffprobe says of each stream: codec, tag, number of samples, duration in the stream's units, size or rate.
std::string StreamsOf(const std::string& path)
{
    return ProbeOf("-show_entries stream=codec_name,codec_tag_string,width,height,sample_rate,channels,duration_ts,"
                   "nb_frames",
                   path);
}

std::vector<int64_t> PresentationTimes(const std::string& path, const std::string& stream)
{
    std::istringstream lines(ProbeOf("-show_entries packet=pts -select_streams " + stream, path));
    std::vector<int64_t> times;
    for (std::string line; std::getline(lines, line);)
        times.push_back(std::stoll(line));
    return times;
}

class MovieFile : public testing::Test {
protected:
    const TemporaryFolder folder;
};

// The first numbers of a movie's first table of that name.
using Numbers = std::vector<uint32_t>;
Numbers NumbersOf(const std::string& path, const std::string& table, size_t count)
{
    const Bytes file = ReadFile(path);
    const auto moov = std::ranges::find_end(file, std::string("moov")).begin();
    const auto name = std::search(moov, file.end(), table.begin(), table.end());
    ByteReader reader(std::span(name, file.end()).subspan(8));
    Numbers numbers(count);
    for (uint32_t& number : numbers)
        number = reader.U32();
    return numbers;
}

void Append(Bytes& to, const Bytes& more)
{
    to.insert(to.end(), more.begin(), more.end());
}

TEST_F(MovieFile, HoldsEverySampleByteForByteAtItsTime)
{
    const std::tuple<std::string, std::string, int, int, int, std::string> cases[] = {
        {"plain", "raw ", 1, 8, 8000, "pcm_u8"},
        {"it's \"two words\"", "twos", 1, 16, 11025, "pcm_s16be"},
        {"back\\slash", "sowt", 2, 16, 48000, "pcm_s16le"},
        {"Приклад 映画", "twos", 2, 8, 44100, "pcm_s8"},
        {"mu", "ulaw", 1, 8, 22050, "pcm_mulaw"},
        {"a", "alaw", 2, 8, 32000, "pcm_alaw"},
    };
    for (const auto& [name, format, channels, bits, rate, codec] : cases) {
        SCOPED_TRACE(name);
        const std::string path = folder / (name + ".mov");
        RecordedMovie movie(path, rate);
        const auto frameBytes = static_cast<size_t>(channels * bits / 8);
        ASSERT_EQ(movie.created, noErr);
        Bytes pictures, sounds;
        std::vector<int64_t> times;
        int64_t time = 0;
        for (int i = 0; i < 40; ++i) {
            const Bytes sound = Noise(frameBytes * (1000 + i), static_cast<uint32_t>(i));
            ASSERT_EQ(movie.AddPicture(i, 14 + i * 7 % 13), noErr);
            ASSERT_EQ(movie.AddSound(sound, SoundRecord(format.c_str(), channels, bits, rate), 1000 + i), noErr);
            Append(pictures, JpegFrame(64, 48, i));
            Append(sounds, sound);
            times.push_back(time);
            time += 14 + i * 7 % 13;
        }
        ASSERT_EQ(movie.Finish(), noErr);
        const std::string frames = std::to_string(sounds.size() / frameBytes);
        EXPECT_EQ(StreamsOf(path), "mjpeg,jpeg,64,48," + std::to_string(time) + ",40\n" + codec + "," + format + "," +
                                       std::to_string(rate) + "," + std::to_string(channels) + "," + frames + "," +
                                       frames + "\n");
        EXPECT_EQ(DecodingErrorsOf(path), "");
        EXPECT_EQ(PresentationTimes(path, "v"), times);
        EXPECT_EQ(StreamBytes(path, "v", "image2pipe"), pictures);
        EXPECT_EQ(StreamBytes(path, "a", "data"), sounds);
    }
}

TEST_F(MovieFile, IsReadAlikeByEveryReaderWhereATrackStaysEmpty)
{
    // The rate of sound (0: there is no source), pictures, sounds; the streams; tracks, milliseconds, frames.
    const std::tuple<std::string, int, int, int, const char*, std::string> cases[] = {
        {"both", 48000, 60, 60, "video\naudio\n", "1|1|2000|60\n"},
        {"silent", 48000, 60, 0, "video\n", "1||2000|60\n"},
        {"blind", 48000, 0, 60, "audio\n", "|1|2000|\n"},
        {"no source", 0, 60, 60, "video\n", "1||2000|60\n"},
    };
    for (const auto& [name, rate, pictures, sounds, streams, mediainfo] : cases) {
        SCOPED_TRACE(name);
        const std::string path = folder / (name + ".mov");
        RecordedMovie movie(path, rate);
        for (int i = 0; i < pictures; ++i)
            EXPECT_EQ(movie.AddPicture(i), noErr);
        for (int i = 0; i < sounds; ++i)
            EXPECT_EQ(movie.AddSound(Noise(1600 * 4, 1), SoundRecord("twos", 2, 16, 48000), 1600), noErr);
        ASSERT_EQ(movie.Finish(), noErr);
        EXPECT_EQ(ProbeOf("-v warning -show_entries stream=codec_type", path), streams);
        EXPECT_EQ(OutputOf("mediainfo '--Inform=General;%VideoCount%|%AudioCount%|%Duration%|' " + Quoted(path) +
                           " | tr -d '\\n'; mediainfo '--Inform=Video;%FrameCount%' " + Quoted(path)),
                  mediainfo);
    }
}

// A tape's first frame, made by other people's encoder.
Bytes TapeFrame(const std::string& folder, bool isPal, const char* aspect)
{
    const std::string path = folder + "/tape.dv";
    OutputOf(std::string("ffmpeg -v error -y -f lavfi -i testsrc=r=") +
             (isPal ? "25:s=720x576" : "30000/1001:s=720x480") + " -pix_fmt " + (isPal ? "yuv420p" : "yuv411p") +
             " -c:v dvvideo -aspect " + aspect + " -frames:v 1 -f dv " + Quoted(path));
    return ReadFile(path);
}

TEST_F(MovieFile, IsShownInItsShape)
{
    const std::tuple<const char*, int, int, const char*> cases[] = {
        {"jpeg", 640, 360, "16:9"}, {"jpeg", 64, 48, "4:3"},    {"dvcp", 720, 576, "16:9"},
        {"dvcp", 720, 576, "4:3"},  {"dvc ", 720, 480, "16:9"}, {"dvc ", 720, 480, "4:3"},
    };
    for (const auto& [codec, width, height, aspect] : cases) {
        SCOPED_TRACE(std::string(codec) + aspect);
        const std::string path = folder / "shape.mov";
        RecordedMovie movie(path); // whose track is a 4:3 one
        const Bytes frame = *codec == 'j' ? JpegFrame(width, height, 1) : TapeFrame(folder.path, height == 576, aspect);
        for (int i = 0; i < 3; ++i)
            ASSERT_EQ(movie.AddVideo(frame, ImageRecord(codec, width, height), 20), noErr);
        ASSERT_EQ(movie.Finish(), noErr);
        EXPECT_EQ(ProbeOf("-show_entries stream=display_aspect_ratio", path), std::string(aspect) + "\n");
        EXPECT_EQ(OutputOf("mediainfo '--Inform=Video;%DisplayAspectRatio/String%' " + Quoted(path)),
                  std::string(aspect) + "\n");
    }
}

TEST_F(MovieFile, PictureAndSoundAreShownAsTheyWereCaptured)
{
    for (const int milliseconds : {38, -25, 0, 700}) {
        SCOPED_TRACE(milliseconds);
        const std::string path = folder / "step.mov";
        RecordedMovie movie(path, 48000);
        for (int i = 0; i < 60; ++i) {
            const int64_t time = 5000000000 + i * int64_t{33333333} + (i % 7 == 0 ? 20000000 : 0);
            const CaptureInHand frame(kVideoMediaType, time);
            const CaptureInHand sound(kSoundMediaType, 5000000000 + (i * int64_t{33333333}) + milliseconds * 1000000);
            ASSERT_EQ(movie.AddPicture(i), noErr);
            ASSERT_EQ(movie.AddSound(Noise(1600 * 4, 1), SoundRecord("twos", 2, 16, 48000), 1600), noErr);
        }
        ASSERT_EQ(movie.Finish(), noErr);
        const int put = std::abs(milliseconds) > 500 ? 0 : milliseconds; // that much is no rest of arithmetic
        EXPECT_EQ(PresentationTimes(path, "v").front(), 0);
        // What is heard at the beginning, decoded up to the second frame of 1600 samples.
        OutputOf("ffmpeg -v error -y -i " + Quoted(path) + " -map 0:a -af aresample=async=1:first_pts=0 -f s16be " +
                 Quoted(path + ".pcm"));
        const Bytes noise = Noise(1600 * 4, 1);
        const Bytes heard = ReadFile(path + ".pcm");
        const auto needle = std::search(heard.begin(), heard.end(), noise.end() - 64, noise.end());
        EXPECT_EQ((needle - heard.begin()) / 4, 1584 + put * 48);
    }
}

TEST_F(MovieFile, KeepsDescriptionsThatChangeAndSamplesThatNeedOthers)
{
    const std::string path = folder / "changing.mov";
    RecordedMovie movie(path);
    std::string sizes;
    for (int i = 0; i < 12; ++i) {
        const int width = i / 4 % 2 == 0 ? 64 : 32;
        Bytes record = ImageRecord("jpeg", width, 48);
        record[44] = static_cast<uint8_t>(i); // the size of the data, which makes no other description
        ASSERT_EQ(movie.AddVideo(JpegFrame(width, 48, i), record, 20, i % 3 == 0 ? 0 : 1), noErr);
        sizes += std::to_string(width) + "\n";
    }
    ASSERT_EQ(movie.Finish(), noErr);
    EXPECT_EQ(ProbeOf("-show_entries frame=width", path), sizes);
    EXPECT_EQ(NumbersOf(path, "stsd", 1), (Numbers{2})) << "two descriptions";
    EXPECT_EQ(NumbersOf(path, "stss", 5), (Numbers{4, 1, 4, 7, 10}));
}

// A tape's frames say themselves which shape they have, whatever the record that comes with them.
TEST_F(MovieFile, FollowsTheShapeThatATapeChangesTo)
{
    const std::string path = folder / "shapes.mov";
    RecordedMovie movie(path);
    for (const char* aspect : {"4:3", "4:3", "16:9"})
        ASSERT_EQ(movie.AddVideo(TapeFrame(folder.path, true, aspect), ImageRecord("dvcp", 720, 576), 24), noErr);
    ASSERT_EQ(movie.Finish(), noErr);
    CheckedMovie checked;
    EXPECT_EQ(CheckMovie(path, checked), noErr);
    EXPECT_EQ(checked.tracks.at(0).descriptions.size(), 2U);
}

// A recording may begin between two key frames: what can't be decoded is left out, and its time is kept.
TEST_F(MovieFile, FindsKeyFramesInTheSamples)
{
    const std::string path = folder / "keys.mov";
    RecordedMovie movie(path);
    const Bytes key{0, 0, 0, 2, 0x65, 1}, other{0, 0, 0, 2, 0x41, 1}, record = ImageRecord("avc1", 64, 48);
    for (const char kind : std::string("..K..K"))
        ASSERT_EQ(movie.AddVideo(kind == 'K' ? key : other, record, 20), noErr);
    EXPECT_EQ(GetMediaDuration(movie.video), 120);
    ASSERT_EQ(movie.Finish(), noErr);
    EXPECT_EQ(NumbersOf(path, "stss", 3), (Numbers{2, 1, 4}));
    EXPECT_EQ(NumbersOf(path, "stts", 5), (Numbers{2, 1, 60, 3, 20}));
}

// 26 hours of silence, and then half a second of sound, which is behind 4.5 GB of holes that take no space on the disk.
TEST_F(MovieFile, HoldsMoreSamplesAndBytesThan32BitsCount)
{
    const std::string path = folder / "day.mov";
    std::unique_ptr<DiskFile> file;
    ASSERT_EQ(CreateOutputFile(path, false, 0, file), noErr);
    MovieContents movie;
    TrackContents& track = movie.tracks.emplace_back();
    track.mediaType = kSoundMediaType;
    track.timeScale = 48000;
    ASSERT_EQ(
        FileFormOfDescription(kSoundMediaType, SoundRecord("raw ", 1, 8, 48000), {}, track.descriptions.emplace_back()),
        noErr);
    int64_t position = kFileHeadSize;
    const auto add = [&](int64_t samples) {
        movie.samples.Add({0, 0, true, samples, 1, position, samples});
        position += samples;
        track.samples += samples;
        track.duration += samples;
    };
    for (int minute = 0; minute < 26 * 60; ++minute)
        add(int64_t{60} * 48000);
    const Bytes sound = Noise(24000, 1);
    EXPECT_EQ(file->Write(sound, position), noErr);
    add(std::ssize(sound));
    track.edits.push_back({MovieTimeOf(track.duration, track.timeScale), 0});
    EXPECT_EQ(file->Write(MovieHeader(movie), position), noErr);
    EXPECT_EQ(file->Write(FileHead(), 0), noErr);
    EXPECT_EQ(file->Write(MediaDataHead(position), kReservedPosition), noErr);
    EXPECT_EQ(ProbeOf("-show_entries stream=duration", path), "93600.500000\n");
    OutputOf("ffmpeg -v error -y -ss 93600 -i " + Quoted(path) + " -f u8 " + Quoted(path + ".pcm"));
    EXPECT_TRUE(ReadFile(path + ".pcm") == sound);
    EXPECT_NE(OutputOf("gst-discoverer-1.0 " + Quoted(path)).find("26:00:00.500"), std::string::npos);
}

TEST_F(MovieFile, SamplesAreCheckedBeforeTheyAreAdded)
{
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

TEST_F(MovieFile, KeepsItsFileWhenAnotherOneTakesItsName)
{
    const std::string path = folder / "a.mov";
    RecordedMovie first(path);
    ASSERT_EQ(first.AddSound(Bytes(400, 1), SoundRecord("sowt", 2, 16, 44100), 100), noErr);
    RecordedMovie second(path);
    ASSERT_EQ(second.AddSound(Bytes(8000, 2), SoundRecord("sowt", 2, 16, 44100), 2000), noErr);
    EXPECT_EQ(second.Finish(), noErr);
    const Bytes file = ReadFile(path);
    EXPECT_EQ(first.Finish(), noErr);
    EXPECT_EQ(ReadFile(path), file);
}

} // namespace
