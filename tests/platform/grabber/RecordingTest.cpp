// SPDX-License-Identifier: MIT
// Movies that a data procedure writes, and those that the grabber writes by itself.
#include "TestSession.h"

#include "platform/events/EventLoop.h"
#include "platform/movies/MovieCheck.h"
#include "support/DvTape.h"

#include <chrono>
#include <numbers>
#include <optional>
#include <thread>

using namespace grabbertest;
using namespace movietest;

/// A data procedure that adds the frames to a movie of its own, as the capture control does.
class RecordingTest : public GrabberTest {
protected:
    RecordingTest()
    {
        StartBoth();
        onDelivery = [this](const Delivered& buffer) {
            return movie && buffer.isVideo ? movie->AddVideo(buffer.bytes, buffer.description, 20) : noErr;
        };
    }
    ~RecordingTest() override
    {
        if (movie)
            movie->Close();
    }

    void Send(int64_t time)
    {
        devices.Camera()->Send(time, kFrame);
        devices.Microphone()->Send(time, 40);
    }

    TemporaryFolder folder;
    std::unique_ptr<RecordedMovie> movie;
};

// What was captured before a press is in the movie when the press arrives: what waits in the queue, and what comes from
// the device shortly after. Without a movie, input waits for nothing.
TEST_F(RecordingTest, InputComesBehindWhatWasCapturedBefore)
{
    int64_t now = 2 * kSecond;
    const auto run = [&](int frames) {
        for (int frame = 0; frame < frames; ++frame, now += 40 * kMillisecond) {
            TestDevices::SetTime(now);
            Send(now);
        }
    };
    run(10);
    NoteInput();
    EXPECT_TRUE(delivered.empty());
    IdleAt(now);
    movie = std::make_unique<RecordedMovie>(folder / "movie.mov");
    run(1);
    IdleAt(now);
    ASSERT_TRUE(IsMediaOpen(movie->video));
    run(30);
    const size_t before = VideoCount();
    const uint64_t notShown = SGGetChannelCounts(video).notShown;
    TestDevices::SetTime(now);
    {
        FrameSink* const camera = devices.Camera()->sink;
        const std::jthread late([camera, now] {
            std::this_thread::sleep_for(std::chrono::milliseconds(30));
            camera->FrameArrived({{kFrame, CodeOf("jpeg"), 64, 48}, now - 10 * kMillisecond, 41});
        });
        NoteInput();
    }
    EXPECT_EQ(VideoCount() - before, 31U);
    EXPECT_EQ(SGGetChannelCounts(video).notShown - notShown, 31U);
    EXPECT_EQ(GetMediaDuration(movie->video), 32 * 20);
    // Of a camera that is gone, what is still in a compressor.
    const std::vector<uint8_t> pixels(size_t{1920} * 1080 * 2);
    devices.Camera()->Send(now, {pixels, kYuvsPixelFormat, 1920, 1080});
    devices.Camera()->Fail(noDeviceForChannel);
    TestDevices::SetTime(now + kMillisecond);
    NoteInput();
    EXPECT_EQ(GetMediaDuration(movie->video), 33 * 20);
}

// While a movie is written, its format can't change; afterwards it can.
TEST_F(RecordingTest, MovieKeepsItsFormat)
{
    const auto change = [&](Result expected) {
        const auto settings = Save();
        EXPECT_EQ(SGSetVideoFrameSize(video, 32, 24), expected);
        EXPECT_EQ(SGSetVideoCompressorType(video, CodeOf("yuvs")), expected);
        EXPECT_EQ(SGSetSoundInputRate(sound, 8000 << 16), expected);
        EXPECT_EQ(SGSetSoundInputParameters(sound, 16, 1, CodeOf("twos")), expected);
        EXPECT_EQ(SGSetSoundInputParameters(sound, 16, 2, CodeOf("ulaw")), expected);
        EXPECT_EQ(Save() == settings, expected != noErr);
        EXPECT_EQ(Restore(settings), expected);
    };
    movie = std::make_unique<RecordedMovie>(folder / "movie.mov");
    Send(2 * kSecond);
    IdleAt(2 * kSecond);
    change(cantDoThatInCurrentMode);
    EXPECT_EQ(SGSetFrameRate(video, 60 << 16), noErr);
    EXPECT_EQ(SGSetVideoCompressor(video, 0, 0, 100, -1, -1), noErr);
    SGPause(session, 1);
    change(cantDoThatInCurrentMode);
    movie->Finish();
    change(noErr);
}

using DirectModeTest = MovieTest;

// A movie that the grabber writes by itself begins with its first frame, holds the measured times, and is in step.
TEST_F(DirectModeTest, RecordsAMovie)
{
    video = NewChannel(kVideoMediaType, 7);
    sound = NewChannel(kSoundMediaType, 7);
    EXPECT_EQ(SGStartPreview(session), noErr);
    int64_t now = 5 * kSecond;
    const auto frame = JpegFrame(64, 48, 200);
    const auto run = [&](int frames) {
        for (int i = 0; i < frames; ++i, now += 40 * kMillisecond) {
            devices.Camera()->Send(now + (i % 3) * 2 * kMillisecond, frame);
            devices.Microphone()->Send(now - 15 * kMillisecond, 40);
            EXPECT_EQ(IdleAt(now + 40 * kMillisecond), noErr);
        }
    };
    run(5);
    EXPECT_EQ(SGGetChannelSampleDescription(video, TestHandle()), noErr) << "also of what is only shown";
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

// On a tape the sample rate may change: a movie keeps the first one and the pitch, and stays in step. It is written by
// the grabber, or by a data procedure whose media was made before the tape was played.
TEST_F(DirectModeTest, SoundOfAnotherRateIsConverted)
{
    const auto toneAt = [](double time) {
        return static_cast<int16_t>(8000 * std::sin(500 * std::numbers::pi * time));
    };
    video = NewChannel(kVideoMediaType);
    sound = NewChannel(kSoundMediaType);
    int64_t now = 5 * kSecond;
    const auto play = [&](double rate) {
        std::vector<int16_t> tone;
        for (double n = 0; n < rate * 0.04; ++n)
            tone.insert(tone.end(), 2, toneAt(n / rate));
        const std::span bytes(reinterpret_cast<const uint8_t*>(tone.data()), tone.size() * 2);
        devices.Microphone()->format.sampleRate = rate;
        for (int frame = 0; frame < 50; ++frame, now += 40 * kMillisecond) {
            devices.Camera()->Send(now, JpegFrame(64, 48, 200));
            devices.Microphone()->sink->SoundArrived({bytes, {rate, 2, 16}, now, 0});
            EXPECT_EQ(IdleAt(now + 40 * kMillisecond), noErr);
        }
    };
    for (const bool byProcedure : {false, true}) {
        std::optional<RecordedMovie> movie;
        if (byProcedure) {
            CollectDeliveries();
            movie.emplace(path, 48000);
        } else {
            SGSetDataOutput(session, file.Get(), seqGrabToDisk);
        }
        onDelivery = [&](const Delivered& buffer) {
            return buffer.isVideo ? movie->AddVideo(buffer.bytes, buffer.description, 24)
                                  : movie->AddSound(buffer.bytes, buffer.description, buffer.Frames());
        };
        EXPECT_EQ(SGStartRecord(session), noErr);
        for (const double rate : {32000, 48000, 32000, 44100})
            play(rate);
        EXPECT_EQ(SGStop(session) + (movie ? movie->Finish() : noErr), noErr);
        IdleAt(now);
        EXPECT_EQ(SGGetSoundInputRate(sound), 44100 << 16) << "no longer that of the movie";

        EXPECT_EQ(ProbeOf("-select_streams a -show_entries stream=sample_rate", path), "32000\n");
        const auto heard = test::SoundOf(path);
        EXPECT_NEAR(static_cast<double>(heard.size()) / 2 / 32000, 8, 0.005);
        int wrong = 0;
        for (size_t n = 0; n < heard.size(); ++n)
            wrong += std::abs(heard[n] - toneAt(static_cast<double>(n / 2) / 32000)) > 400 ? 1 : 0;
        EXPECT_LT(wrong, 2 * 3 * 80) << "2.5 ms of each channel at each change";
    }
}
