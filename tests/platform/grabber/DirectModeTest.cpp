// SPDX-License-Identifier: MIT
#include "TestSession.h"

#include "platform/movies/MovieCheck.h"
#include "platform/movies/RecordedMovie.h"

#include <csignal>
#include <sys/resource.h>

using namespace grabbertest;
using namespace movietest;

using DirectModeTest = MovieTest;

// A movie that the grabber writes by itself begins with its first frame, holds the measured times, and is in step.
TEST_F(DirectModeTest, RecordsAMovie)
{
    video = NewChannel(kVideoMediaType, 7);
    sound = NewChannel(kSoundMediaType, 7);
    EXPECT_EQ(SGStartPreview(session), noErr);
    int64_t now = 5 * kSecond;
    const auto frame = JpegPicture(64, 48, 200);
    const auto run = [&](int frames) {
        for (int i = 0; i < frames; ++i, now += 40 * kMillisecond) {
            devices.Camera()->Send(now + (i % 3) * 2 * kMillisecond, frame);
            devices.Microphone()->Send(now - 15 * kMillisecond, 40);
            EXPECT_EQ(IdleAt(now + 40 * kMillisecond), noErr);
        }
    };
    run(5);
    const Handle description = NewHandle(0);
    EXPECT_EQ(SGGetChannelSampleDescription(video, description), noErr) << "also of what is only shown";
    DisposeHandle(description);
    EXPECT_EQ(SGSetDataOutput(session, file.Get(), seqGrabToDisk | seqGrabAppendToFile), noErr);
    EXPECT_EQ(SGPrepare(session, 1, 1), noErr);
    EXPECT_EQ(SGStartRecord(session), noErr);
    EXPECT_EQ(SGSetDataOutput(session, file.Get(), seqGrabToDisk), cantDoThatInCurrentMode);
    EXPECT_EQ(SGSetSoundInputRate(sound, 8000 << 16), cantDoThatInCurrentMode);
    run(50);
    EXPECT_EQ(SGStop(session), noErr);
    // The output is used up: nothing is written over what has been recorded.
    EXPECT_EQ(SGStartRecord(session), noErr);
    EXPECT_EQ(SGStartPreview(session), noErr);
    EXPECT_EQ(SGSetSoundInputRate(sound, 8000 << 16), noErr);

    EXPECT_EQ(ProbeOf("-show_entries stream=codec_name,width,sample_rate", path), "mjpeg,64\npcm_s16le,48000\n");
    CheckedMovie movie;
    EXPECT_EQ(CheckMovie(path, movie), noErr);
    EXPECT_TRUE(movie.IsWhole());
    EXPECT_EQ(movie.tracks.at(0).samples, 50U);
    // From the first frame to the last piece of sound.
    EXPECT_NEAR(static_cast<double>(movie.tracks.at(1).samples), 48000 * (50 * 0.04 - 0.015), 2);
    EXPECT_EQ(DecodingErrorsOf(path), "");
    EXPECT_EQ(ProbeOf("-select_streams v -show_entries packet=duration", path).substr(0, 9), "25\n25\n22\n");
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
    CheckedMovie movie;
    EXPECT_EQ(CheckMovie(path, movie), noErr);
    EXPECT_TRUE(movie.IsWhole());
    EXPECT_GT(movie.tracks.at(0).samples, 1U) << "what was written before";
}
