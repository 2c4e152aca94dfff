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
#include <sstream>
#include <tuple>

using namespace platform;
using namespace movietest;

namespace {

// What ffprobe says of each stream: codec, tag, number of samples, duration in the stream's units, size or rate.
std::string StreamsOf(const std::string& path)
{
    return OutputOf("ffprobe -v error -of csv=p=0 -show_entries "
                    "stream=codec_name,codec_tag_string,width,height,sample_rate,channels,duration_ts,nb_frames " +
                    Quoted(path));
}

Bytes StreamBytes(const std::string& path, const std::string& stream, const std::string& format)
{
    const std::string copy = path + "." + stream;
    OutputOf("ffmpeg -v error -y -i " + Quoted(path) + " -map 0:" + stream + " -c copy -f " + format + " " +
             Quoted(copy));
    return ReadFile(copy);
}

std::vector<int64_t> PresentationTimes(const std::string& path, const std::string& stream)
{
    std::istringstream lines(OutputOf("ffprobe -v error -of csv=p=0 -show_entries packet=pts -select_streams " +
                                      stream + " " + Quoted(path)));
    std::vector<int64_t> times;
    for (std::string line; std::getline(lines, line);)
        times.push_back(std::stoll(line));
    return times;
}

class MovieFile : public testing::Test {
protected:
    const TemporaryFolder folder;
};

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
            const Bytes picture = JpegFrame(64, 48, i);
            const Bytes sound = Noise(frameBytes * (1000 + i), static_cast<uint32_t>(i));
            ASSERT_EQ(movie.AddVideo(picture, ImageRecord("jpeg", 64, 48), 14 + i * 7 % 13), noErr);
            ASSERT_EQ(movie.AddSound(sound, SoundRecord(format.c_str(), channels, bits, rate), 1000 + i), noErr);
            Append(pictures, picture);
            Append(sounds, sound);
            times.push_back(time);
            time += 14 + i * 7 % 13;
        }
        ASSERT_EQ(movie.Finish(), noErr);
        ASSERT_EQ(movie.Close(), noErr);
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
    struct Case {
        const char* name;
        int rate; ///< of sound; 0: there is no source
        int pictures, sounds;
        const char* streams;
        const char* mediainfo; ///< tracks, milliseconds, frames
        const char* discovered;
    };
    const Case cases[] = {
        {"both", 48000, 60, 60, "video\naudio\n", "1|1|2000|60", "Frame rate: 30/1"},
        {"silent", 48000, 60, 0, "video\n", "1||2000|60", "video #1: JPEG"},
        {"blind", 48000, 0, 60, "audio\n", "|1|2000|", "Sample rate: 48000"},
        {"no source", 0, 60, 60, "video\n", "1||2000|60", "Frame rate: 30/1"},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.name);
        const std::string path = folder / (std::string(test.name) + ".mov");
        RecordedMovie movie(path, test.rate);
        for (int i = 0; i < 60; ++i) {
            if (i < test.pictures) {
                EXPECT_EQ(movie.AddVideo(JpegFrame(64, 48, i), ImageRecord("jpeg", 64, 48), 20), noErr);
            }
            if (i < test.sounds) {
                EXPECT_EQ(movie.AddSound(Noise(1600 * 4, 1), SoundRecord("twos", 2, 16, 48000), 1600), noErr);
            }
        }
        ASSERT_EQ(movie.Finish(), noErr);
        ASSERT_EQ(movie.Close(), noErr);
        EXPECT_EQ(OutputOf("ffprobe -v warning -of csv=p=0 -show_entries stream=codec_type " + Quoted(path)),
                  test.streams);
        EXPECT_EQ(OutputOf("mediainfo '--Inform=General;%VideoCount%|%AudioCount%|%Duration%|' " + Quoted(path) +
                           " | tr -d '\\n'; mediainfo '--Inform=Video;%FrameCount%' " + Quoted(path)),
                  std::string(test.mediainfo) + "\n");
        const std::string discovered = OutputOf("gst-discoverer-1.0 " + Quoted(path));
        EXPECT_NE(discovered.find(test.discovered), std::string::npos) << discovered;
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
        ASSERT_EQ(movie.Close(), noErr);
        EXPECT_EQ(OutputOf("ffprobe -v error -of csv=p=0 -show_entries stream=display_aspect_ratio " + Quoted(path)),
                  std::string(aspect) + "\n");
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
            ASSERT_EQ(movie.AddVideo(JpegFrame(64, 48, i), ImageRecord("jpeg", 64, 48), 20), noErr);
            ASSERT_EQ(movie.AddSound(Noise(1600 * 4, 1), SoundRecord("twos", 2, 16, 48000), 1600), noErr);
        }
        ASSERT_EQ(movie.Finish(), noErr);
        ASSERT_EQ(movie.Close(), noErr);
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
    ASSERT_EQ(movie.Close(), noErr);
    EXPECT_EQ(OutputOf("ffprobe -v error -of csv=p=0 -show_entries frame=width " + Quoted(path)), sizes);
    const Bytes file = ReadFile(path);
    const std::string text(file.begin(), file.end());
    const size_t table = text.find("stsd");
    EXPECT_EQ(text.substr(table + 4, 8), std::string("\0\0\0\0\0\0\0\2", 8)) << "two descriptions";
    const size_t keys = text.find("stss");
    EXPECT_EQ(text.substr(keys + 4, 24), std::string("\0\0\0\0\0\0\0\4\0\0\0\1\0\0\0\4\0\0\0\7\0\0\0\n", 24));
}

// A tape's frames say themselves which shape they have, whatever the record that comes with them.
TEST_F(MovieFile, FollowsTheShapeThatATapeChangesTo)
{
    const std::string path = folder / "shapes.mov";
    RecordedMovie movie(path);
    for (const char* aspect : {"4:3", "4:3", "16:9"})
        ASSERT_EQ(movie.AddVideo(TapeFrame(folder.path, true, aspect), ImageRecord("dvcp", 720, 576), 24), noErr);
    ASSERT_EQ(movie.Finish(), noErr);
    ASSERT_EQ(movie.Close(), noErr);
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
    ASSERT_EQ(movie.Close(), noErr);
    const Bytes file = ReadFile(path);
    const std::string text(file.begin(), file.end());
    EXPECT_EQ(text.substr(text.rfind("stss") + 4, 16), std::string("\0\0\0\0\0\0\0\2\0\0\0\1\0\0\0\4", 16));
    EXPECT_EQ(text.substr(text.rfind("stts") + 8, 20), std::string("\0\0\0\2\0\0\0\1\0\0\0\x3C\0\0\0\3\0\0\0\x14", 20));
}

// For movies whose media data has holes, too large to be recorded.
MovieContents MovieOfOneTrack(FourCharCode type, int32_t timeScale, const Bytes& record)
{
    MovieContents movie;
    TrackContents& track = movie.tracks.emplace_back();
    track.mediaType = type;
    track.timeScale = timeScale;
    EXPECT_EQ(FileFormOfDescription(type, record, {}, track.descriptions.emplace_back()), noErr);
    return movie;
}

void WriteFinished(DiskFile& file, const MovieContents& movie, int64_t headerPosition)
{
    EXPECT_EQ(file.Write(MovieHeader(movie), headerPosition), noErr);
    EXPECT_EQ(file.Write(FileHead(), 0), noErr);
    EXPECT_EQ(file.Write(MediaDataHead(headerPosition), kReservedPosition), noErr);
}

TEST_F(MovieFile, ReachesPastFourGigabytes)
{
    const std::string path = folder / "large.mov";
    std::unique_ptr<DiskFile> file;
    ASSERT_EQ(CreateOutputFile(path, false, 0, file), noErr);
    MovieContents movie = MovieOfOneTrack(kVideoMediaType, 600, ImageRecord("jpeg", 64, 48));
    TrackContents& track = movie.tracks[0];
    track.width = Long2Fix(64);
    track.height = Long2Fix(48);
    // Ten frames with holes between them, which take no space on the disk.
    Bytes all;
    int64_t position = kFileHeadSize;
    for (int i = 0; i < 10; ++i) {
        const Bytes frame = JpegFrame(64, 48, i);
        ASSERT_EQ(file->Write(frame, position), noErr);
        Append(all, frame);
        movie.samples.Add({0, 0, true, 1, 20, position, static_cast<int64_t>(frame.size())});
        position += int64_t{600} << 20;
    }
    track.samples = 10;
    track.duration = 200;
    track.edits.push_back({200, 0});
    WriteFinished(*file, movie, position);
    EXPECT_EQ(StreamsOf(path), "mjpeg,jpeg,64,48,200,10\n");
    EXPECT_EQ(StreamBytes(path, "v", "image2pipe"), all);
    // The frame at 0.3 s lies at 5.3 GB.
    EXPECT_EQ(OutputOf("ffmpeg -v error -y -ss 0.3 -i " + Quoted(path) + " -frames:v 1 -c copy -f image2pipe " +
                       Quoted(folder / "one.jpg")),
              "");
    EXPECT_EQ(ReadFile(folder / "one.jpg"), JpegFrame(64, 48, 9));
}

TEST_F(MovieFile, HoldsMoreSoundThan32BitsCount)
{
    const std::string path = folder / "day.mov";
    std::unique_ptr<DiskFile> file;
    ASSERT_EQ(CreateOutputFile(path, false, 0, file), noErr);
    MovieContents movie = MovieOfOneTrack(kSoundMediaType, 48000, SoundRecord("raw ", 1, 8, 48000));
    TrackContents& track = movie.tracks[0];
    // 26 hours of nothing, which take no space on the disk, and then half a second of sound.
    constexpr int64_t kRun = 1000000;
    int64_t position = kFileHeadSize;
    const int64_t frames = int64_t{26} * 3600 * 48000 + 24000;
    for (int64_t left = frames; left > 0; left -= kRun) {
        const int64_t count = std::min(left, kRun);
        movie.samples.Add({0, 0, true, count, 1, position, count});
        position += count;
    }
    track.samples = track.duration = frames;
    track.edits.push_back({MovieTimeOf(frames, 48000), 0});
    const Bytes sound = Noise(24000, 1);
    ASSERT_EQ(file->Write(sound, position - 24000), noErr);
    WriteFinished(*file, movie, position);
    EXPECT_EQ(OutputOf("ffprobe -v error -of csv=p=0 -show_entries stream=duration " + Quoted(path)), "93600.500000\n");
    OutputOf("ffmpeg -v error -y -ss 93600 -i " + Quoted(path) + " -f u8 " + Quoted(path + ".pcm"));
    EXPECT_TRUE(ReadFile(path + ".pcm") == sound);
    EXPECT_NE(OutputOf("gst-discoverer-1.0 " + Quoted(path)).find("26:00:00.500"), std::string::npos);
}

} // namespace
