// SPDX-License-Identifier: MIT
#include "TestSession.h"

#include "platform/drawing/GraphicsWorlds.h"
#include "platform/movies/MovieCheck.h"
#include "platform/movies/MovieRecovery.h"

#include <array>
#include <csignal>
#include <sys/resource.h>

using namespace grabbertest;
using test::OutputOf;

class DirectModeTest : public MovieTest {
protected:
    std::vector<uint8_t> frame = JpegPicture(64, 48, 200);
};

// A movie that the grabber writes by itself begins with its first frame, holds the measured times, and is in step.
TEST_F(DirectModeTest, RecordsAMovie)
{
    video = NewChannel(kVideoMediaType, 7);
    sound = NewChannel(kSoundMediaType, 7);
    EXPECT_EQ(SGStartPreview(session), noErr);
    int64_t now = 5 * kSecond;
    const auto run = [&](int frames, int64_t soundLead) {
        for (int i = 0; i < frames; ++i, now += 40 * kMillisecond) {
            devices.Camera()->Send(now + (i % 3) * 2 * kMillisecond, frame);
            devices.Microphone()->Send(now - soundLead, 40);
            EXPECT_EQ(IdleAt(now + 40 * kMillisecond), noErr);
        }
    };
    run(5, 15 * kMillisecond);
    const Handle description = NewHandle(0);
    EXPECT_EQ(SGGetChannelSampleDescription(video, description), noErr) << "also of what is only shown";
    DisposeHandle(description);
    EXPECT_EQ(SGSetDataOutput(session, file.Get(), seqGrabToDisk | seqGrabAppendToFile), noErr);
    EXPECT_EQ(SGPrepare(session, 1, 1), noErr);
    EXPECT_EQ(SGStartRecord(session), noErr);
    EXPECT_EQ(SGSetDataOutput(session, file.Get(), seqGrabToDisk), cantDoThatInCurrentMode);
    EXPECT_EQ(SGSetSoundInputRate(sound, 8000 << 16), cantDoThatInCurrentMode);
    run(50, 15 * kMillisecond);
    EXPECT_EQ(SGStop(session), noErr);
    // The output is used up: nothing is written over what has been recorded.
    EXPECT_EQ(SGStartRecord(session), noErr);
    EXPECT_EQ(SGStartPreview(session), noErr);
    EXPECT_EQ(SGSetSoundInputRate(sound, 8000 << 16), noErr);

    const std::string probe = "ffprobe -v error -show_entries stream=codec_name,codec_type,nb_frames,duration_ts,"
                              "time_base,start_time,width,sample_rate -of compact \"" +
                              path + "\"";
    const std::string streams = OutputOf(probe);
    EXPECT_NE(streams.find("codec_name=mjpeg|codec_type=video|width=64"), std::string::npos) << streams;
    EXPECT_NE(streams.find("nb_frames=50"), std::string::npos) << streams;
    EXPECT_NE(streams.find("codec_name=pcm_s16le|codec_type=audio|sample_rate=48000"), std::string::npos) << streams;
    RecoveredMovie found;
    std::string written;
    EXPECT_EQ(RecoverMovie(path, folder / "copy.mov", found, written), noErr);
    EXPECT_TRUE(found.wasComplete);
    EXPECT_EQ(found.videoFrames, 50U);
    // From the first frame to the last piece of sound.
    EXPECT_NEAR(static_cast<double>(found.soundFrames), 48000 * (50 * 0.04 - 0.015), 2);
    EXPECT_EQ(OutputOf("ffmpeg -v error -i \"" + path + "\" -f null -"), "");
    const std::string times =
        OutputOf("ffprobe -v error -select_streams v -show_entries packet=duration -of csv=p=0 \"" + path + "\"");
    EXPECT_EQ(times.substr(0, 9), "25\n25\n22\n") << times;
}

// The bytes of all samples of a track, in their order.
std::vector<uint8_t> SampleBytes(const std::string& path, FourCharCode type)
{
    CheckedMovie movie;
    EXPECT_EQ(CheckMovie(path, movie), noErr);
    EXPECT_TRUE(movie.IsWhole()) << path;
    const auto file = test::ReadFile(path);
    std::vector<uint8_t> bytes;
    for (const TrackTables& track : movie.tracks)
        for (const SampleRange& range : track.ranges)
            if (track.mediaType == type)
                bytes.insert(bytes.end(), file.begin() + range.position, file.begin() + range.position + range.size);
    return bytes;
}

// In several files, joined again: each frame and each sample of sound once, up to the last frame asked for.
TEST_F(DirectModeTest, SplitsLoseNothing)
{
    video = NewChannel(kVideoMediaType, 7);
    sound = NewChannel(kSoundMediaType, 7);
    std::vector<std::string> files{path};
    int ends = 0;
    EXPECT_EQ(SGSetSplits(session, {.fileNanoseconds = 400 * kMillisecond, .nanoseconds = 1800 * kMillisecond},
                          [&](bool atEnd) {
                              ends += atEnd ? 1 : 0;
                              if (!atEnd)
                                  files.push_back(folder / (std::to_string(files.size()) + ".mov"));
                              return atEnd ? std::string() : files.back();
                          }),
              noErr);
    EXPECT_EQ(SGSetDataOutput(session, file.Get(), seqGrabToDisk | seqGrabAppendToFile), noErr);
    EXPECT_EQ(SGStartRecord(session), noErr);
    std::vector<uint8_t> sent;
    int64_t now = 5 * kSecond;
    for (int i = 0; i < 50; ++i, now += 40 * kMillisecond) {
        const auto picture = JpegPicture(64, 48, static_cast<uint8_t>(5 * i));
        devices.Camera()->Send(now + (i % 3) * 2 * kMillisecond, picture);
        devices.Microphone()->Send(now - 15 * kMillisecond, 40);
        EXPECT_EQ(IdleAt(now + 40 * kMillisecond), noErr);
        if (i < 45)
            sent.insert(sent.end(), picture.begin(), picture.end());
    }
    EXPECT_EQ(SGStop(session), noErr);
    EXPECT_EQ(ends, 1);
    ASSERT_EQ(files.size(), 5U);
    std::vector<uint8_t> frames;
    std::vector<uint8_t> samples;
    for (const std::string& name : files) {
        std::ranges::copy(SampleBytes(name, kVideoMediaType), std::back_inserter(frames));
        std::ranges::copy(SampleBytes(name, kSoundMediaType), std::back_inserter(samples));
    }
    EXPECT_EQ(frames, sent);
    // The microphone's samples are numbered, alike on both channels.
    ASSERT_NEAR(static_cast<double>(samples.size()) / 4, 48000 * 45 * 0.04, 200);
    for (size_t i = 4; i + 1 < samples.size(); i += 4) {
        const auto value = [&](size_t at) { return samples[at] | samples[at + 1] << 8; };
        ASSERT_EQ(value(i), (value(i - 4) + 1) & 0xFFFF) << i / 4;
    }
}

// A disk that is full ends the movie and not the session: it is reported once while frames come, and again by the stop.
TEST_F(DirectModeTest, ReportsItsFirstFailure)
{
    video = NewChannel(kVideoMediaType, 7);
    EXPECT_EQ(SGSetDataOutput(session, file.Get(), seqGrabToDisk), noErr);
    std::signal(SIGXFSZ, SIG_IGN); // as in the programs: a write beyond the limit fails
    rlimit found{};
    getrlimit(RLIMIT_FSIZE, &found);
    const rlimit small{1 << 20, found.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    EXPECT_EQ(SGStartRecord(session), noErr);
    const std::vector<uint8_t> large = JpegPicture(640, 480, 200);
    std::vector<Result> failures;
    for (int64_t i = 0, end = 2 * (1 << 20) / static_cast<int64_t>(large.size()); i < end; ++i) {
        devices.Camera()->Send(5 * kSecond + i * 40 * kMillisecond, {large, CodeOf("jpeg"), 640, 480});
        if (const Result result = IdleAt(5 * kSecond + i * 40 * kMillisecond); result != noErr)
            failures.push_back(result);
    }
    EXPECT_EQ(failures, std::vector<Result>{dskFulErr});
    EXPECT_EQ(SGStop(session), dskFulErr);
    setrlimit(RLIMIT_FSIZE, &found);
    EXPECT_GT(SampleBytes(path, kVideoMediaType).size(), large.size()) << "what was written before is a whole movie";
}
