// SPDX-License-Identifier: MIT
#include "TestSession.h"

#include "platform/compression/ImageDescription.h"
#include "platform/compression/KeyFrames.h"
#include "platform/grabber/Bounds.h"
#include "platform/grabber/SampleQueue.h"

#include <atomic>

using namespace grabbertest;

TEST_F(GrabberTest, DeadNumbersGiveTheirCodes)
{
    const SGChannel channel = NewChannel(kVideoMediaType);
    const SGChannel soundChannel = NewChannel(kSoundMediaType);
    EXPECT_EQ(SGDisposeChannel(session, channel), noErr);
    for (const SGComponent dead : {0, -1, 4711, channel}) {
        for (const Result result : {SGIdle(dead), SGStop(dead), SGPause(dead, 1), SGStartRecord(dead),
                                    SGNewChannel(dead, kVideoMediaType, cell.Get()), SGDisposeChannel(dead, channel),
                                    SGGetSettings(dead, cell.Get(), 0)})
            EXPECT_EQ(result, badComponentInstance);
        for (const Result result : {SGSetChannelUsage(dead, 1), SGSetVideoCompressorType(dead, CodeOf("jpeg")),
                                    SGSetSoundInputRate(dead, 0), SGGetChannelDeviceList(dead, 0, cell.Get()),
                                    SGSetChannelDevice(dead, cell.Get()), SGDisposeChannel(session, dead)})
            EXPECT_EQ(result, badSGChannel);
        EXPECT_EQ(SGGetSoundInputDriver(dead), 0);
    }
    // The other kind of channel is none for these.
    EXPECT_EQ(SGSetChannelBounds(soundChannel, cell.Get()), badSGChannel);
    EXPECT_EQ(SGGetChannelSampleDescription(soundChannel, TestHandle()), seqGrabInfoNotAvailable);
    EXPECT_EQ(SGInitialize(session), cantDoThatInCurrentMode);
    EXPECT_EQ(SGNewChannel(session, CodeOf("text"), cell.Get()), couldntGetRequiredComponent);
    EXPECT_EQ(SGNewChannel(session, kVideoMediaType, 12), paramErr);
    EXPECT_EQ(SGGetChannelDeviceList(soundChannel, 0, 12), paramErr);
    EXPECT_EQ(SGSetDataProc(session, 12345, 0), paramErr);
    EXPECT_EQ(SGGetChannelTimeScale(soundChannel, 8), paramErr);
}

// Times are rounded, so that an even rate stays even, rounding doesn't add up, and the count wraps without a step.
TEST_F(GrabberTest, TimesFollowTheStamps)
{
    StartVideo();
    constexpr int64_t start = 12'345'678'901;
    for (int64_t frame = 0; frame < 300; ++frame) {
        const int64_t time = start + frame * kSecond / 30;
        devices.Camera()->Send(time, kFrame);
        IdleAt(time);
        ASSERT_EQ(delivered.back().time, frame * 20);
    }
    const int64_t late = start + (int64_t{1} << 32) * kSecond / 600 + 7 * kSecond;
    devices.Camera()->Send(late, kFrame);
    IdleAt(late);
    EXPECT_NEAR(delivered.back().time, 7 * 600, 1);
    // A driver that falls behind gives several frames one stamp: in a movie each must last.
    for (int frame = 0; frame < 2; ++frame)
        devices.Camera()->Send(late, kFrame);
    IdleAt(late);
    EXPECT_EQ(delivered.back().time - delivered[300].time, 2);
}

// Devices that deliver on their own threads while everything that a caller may do is done: the sanitizers watch. Frames
// stay in order all the time.
TEST_F(GrabberTest, CallsWhileDevicesDeliver)
{
    StartBoth();
    const std::vector<uint8_t> pixels(size_t{64} * 48 * 2, 100);
    int32_t lastTime = -1;
    onDelivery = [&](const Delivered& buffer) {
        EXPECT_TRUE(!buffer.isVideo || buffer.time >= lastTime);
        if (buffer.isVideo)
            lastTime = buffer.time;
        return noErr;
    };
    FrameSink* const frames = devices.Camera()->sink;
    SoundSink* const samples = devices.Microphone()->sink;
    std::atomic<int64_t> time{kSecond};
    {
        const std::jthread filming([&](const std::stop_token& end) {
            for (uint32_t sequence = 0; !end.stop_requested(); ++sequence) {
                frames->FrameArrived({{pixels, kYuvsPixelFormat, 64, 48}, time += kMillisecond, sequence});
                std::this_thread::sleep_for(std::chrono::microseconds(200));
            }
        });
        const std::jthread listening([&](const std::stop_token& end) {
            for (int64_t at = kSecond; !end.stop_requested(); at += kSecond * 1536 / 48000) {
                samples->SoundArrived({pixels, {48000, 2, 16}, at, 0});
                std::this_thread::sleep_for(std::chrono::microseconds(200));
            }
        });
        const std::function<void(int)> calls[] = {
            [&](int i) { SGSetVideoCompressor(video, 24, CodeOf(i % 2 == 0 ? "yuvs" : "jpeg"), 8 * i, 0, 0); },
            [&](int i) { SGPause(session, i % 2); },
            [&](int i) { SGSetSoundInputParameters(sound, 16, 1, CodeOf(i % 2 == 0 ? "ulaw" : "twos")); },
            [&](int) { SGGetChannelCounts(video); },
        };
        for (int i = 0; i < 200; ++i) {
            TestDevices::SetTime(time);
            EXPECT_EQ(SGIdle(session), noErr);
            delivered.clear();
            calls[i % std::size(calls)](i / static_cast<int>(std::size(calls)));
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        SGPause(session, 0);
    }
    EXPECT_EQ(SGStop(session), noErr);
    EXPECT_GT(SGGetChannelCounts(video).delivered, 0U);
    EXPECT_GT(SGGetChannelCounts(sound).delivered, 0U);
    EXPECT_GT(lastTime, 0);
}

// Few frames go out one in a pass, so that each is seen; of many all go out, and the newest that sound has reached is
// shown.
TEST_F(GrabberTest, WritesAllFramesAndShowsTheNewest)
{
    StartBoth();
    int64_t now = kSecond;
    const auto send = [&](int frames) {
        for (int i = 0; i < frames; ++i, now += 20 * kMillisecond)
            devices.Camera()->Send(now, kFrame);
    };
    const auto expectPass = [&](size_t frames, uint64_t notShown) {
        const size_t before = VideoCount();
        EXPECT_EQ(SGIdle(session), noErr);
        EXPECT_EQ(VideoCount() - before, frames);
        EXPECT_EQ(SGGetChannelCounts(video).notShown, notShown);
    };
    devices.Microphone()->Send(kSecond - 100 * kMillisecond, 210);
    send(3);
    for (int pass = 0; pass < 3; ++pass)
        expectPass(1, 0);
    send(7);
    expectPass(3, 2);
    expectPass(0, 2);
    // What comes while a pass runs waits for the next one.
    devices.Microphone()->Send(kSecond + 110 * kMillisecond, 2000);
    onDelivery = [&](const Delivered& buffer) {
        TestDevices::SetTime(TestDevices::Time() + 1);
        send(buffer.isVideo ? 1 : 0);
        return noErr;
    };
    expectPass(4, 5);
    expectPass(4, 8);
    onDelivery = [](const Delivered&) { return ioErr; };
    const size_t before = delivered.size();
    EXPECT_EQ(SGIdle(session), ioErr);
    EXPECT_EQ(delivered.size() - before, 1U) << "a failure ends the pass";
}

TEST_F(GrabberTest, FailureIsToldOnceAndTheDeviceComesBack)
{
    video = NewChannel(kVideoMediaType);
    CollectDeliveries();
    EXPECT_EQ(SGPrepare(session, 1, 1), noErr);
    SGStartRecord(session);
    devices.Camera()->Fail(noDeviceForChannel);
    EXPECT_EQ(SGPrepare(session, 1, 1), noDeviceForChannel);
    EXPECT_EQ(IdleAt(kSecond), noDeviceForChannel);
    EXPECT_EQ(IdleAt(kSecond), noErr);
    TestDevices::SetTime(2 * kSecond);
    devices.Camera()->Send(2 * kSecond, kFrame);
    EXPECT_EQ(IdleAt(2 * kSecond), noErr);
    EXPECT_EQ(delivered.size(), 1U);
    EXPECT_EQ(SGPrepare(session, 1, 1), noErr);
    EXPECT_EQ(SGGetChannelCounts(video).awayNanoseconds, kSecond);
    EXPECT_FALSE(SGGetChannelCounts(video).away);
    devices.Camera()->Fail(noDeviceForChannel);
    TestDevices::SetTime(2 * kSecond + 500 * kMillisecond);
    EXPECT_TRUE(SGGetChannelCounts(video).away);
    EXPECT_EQ(SGGetChannelCounts(video).awayNanoseconds, kSecond + 500 * kMillisecond);

    // A device that can't be started at all is tried again.
    SGRelease(session);
    devices.Camera()->startResult = ioErr;
    EXPECT_EQ(SGStartRecord(session), ioErr);
    devices.Camera()->startResult = noErr;
    IdleAt(2 * kSecond + 100 * kMillisecond);
    EXPECT_EQ(devices.Camera()->sink, nullptr);
    IdleAt(4 * kSecond);
    ASSERT_NE(devices.Camera()->sink, nullptr);
    devices.Camera()->Send(4 * kSecond, kFrame);
    IdleAt(4 * kSecond);
    EXPECT_EQ(delivered.size(), 2U);
}

TEST_F(GrabberTest, LossesAreCounted)
{
    StartVideo();
    TestCamera& camera = *devices.Camera();
    camera.Send(kSecond, kFrame);
    camera.sequence += 3;
    camera.Send(kSecond + 1, kFrame);
    camera.sequence = 0; // as after a restart of the device
    camera.Send(kSecond + 2, kFrame);
    IdleAt(kSecond);
    EXPECT_EQ(SGGetChannelCounts(video).lostBeforeUs, 3U);
    for (int frame = 0; frame < 300; ++frame)
        camera.Send(2 * kSecond + frame, FrameOf({static_cast<uint8_t>(frame % 100)}));
    delivered.clear();
    IdleAt(3 * kSecond);
    const auto counts = SGGetChannelCounts(video);
    EXPECT_EQ(delivered.size() + counts.droppedInQueue, 300U);
    EXPECT_GT(counts.droppedInQueue, 0U);
    EXPECT_EQ(delivered.back().bytes[6], 99);
    EXPECT_EQ(delivered.front().bytes[6], counts.droppedInQueue % 100);
    SGStop(session);
    SGStartRecord(session);
    EXPECT_EQ(SGGetChannelCounts(video).droppedInQueue, 0U);
}

// Frames that are no frames are kept out, and what isn't part of one is taken off.
TEST_F(GrabberTest, DamagedFramesAreKeptOut)
{
    StartVideo();
    TestCamera& camera = *devices.Camera();
    const auto picture = JpegFrame(64, 48, 100);
    auto more = picture;
    more.insert(more.begin(), {7, 0xFF});
    more.insert(more.end(), {0, 0, 0});
    camera.Send(kSecond, more);
    IdleAt(kSecond);
    ASSERT_EQ(delivered.size(), 1U);
    EXPECT_EQ(delivered[0].bytes, picture);
    uint64_t damaged = 0;
    for (size_t size = 0; size < picture.size(); ++size, ++damaged)
        camera.Send(kSecond, std::vector<uint8_t>(picture.begin(), picture.begin() + static_cast<ptrdiff_t>(size)));
    const std::vector<uint8_t> bytes(144'000);
    for (const FourCharCode format : {CodeOf("jpeg"), CodeOf("dvc "), kYuvsPixelFormat, kY420PixelFormat}) {
        camera.Send(kSecond, {bytes, format, 640, 480});
        ++damaged;
    }
    IdleAt(kSecond);
    EXPECT_EQ(delivered.size(), 1U);
    EXPECT_EQ(SGGetChannelCounts(video).damaged, damaged);
}

// Large frames fill the queue by their bytes.
TEST_F(GrabberTest, QueueIsBoundedInBytes)
{
    StartVideo(CodeOf("yuvs"));
    const int64_t before = BytesInUse();
    const std::vector<uint8_t> large(size_t{3840} * 2160 * 2);
    for (int frame = 0; frame < 20; ++frame) {
        devices.Camera()->Send(frame, {large, kYuvsPixelFormat, 3840, 2160});
        ASSERT_LE(BytesInUse() - before, int64_t{257} << 20);
    }
    EXPECT_EQ(SGGetChannelCounts(video).droppedInQueue, 4U);
    SGStop(session);
    EXPECT_LT(BytesInUse() - before, int64_t{1} << 20);
}

// Frames that build on one another are of no use without those before them.
TEST(SampleQueue, WhatBuildsOnALostSampleGoesWithIt)
{
    SampleQueue queue;
    std::vector<int64_t> dropped;
    queue.OpenTrackQueue(1, 4, [&](int64_t captureTime) { dropped.push_back(captureTime); });
    int64_t time = 0;
    const auto put = [&](const std::string& kinds) {
        for (const char kind : kinds) {
            Sample sample;
            sample.captureTime = time++;
            sample.isKey = kind == 'K';
            queue.Put(1, std::move(sample));
        }
    };
    put("K..K....K.");
    EXPECT_EQ(dropped, (std::vector<int64_t>{0, 1, 2, 3, 4, 5, 6, 7}));
    EXPECT_EQ(queue.Take(1)->captureTime, 8);
    EXPECT_EQ(queue.Take(1)->captureTime, 9);
    put("KKKKK");
    EXPECT_EQ(dropped.size(), 9U) << "there is room for four";
}

// What isn't in the compressor's own format is compressed, and comes in the order of capture. The description tells
// each frame's own size.
TEST_F(GrabberTest, FramesAreCompressedInOrder)
{
    StartVideo();
    TestCamera& camera = *devices.Camera();
    for (int frame = 0; frame <= 60; ++frame) {
        // Large and small frames take turns, so that a later one is done before an earlier one.
        const int width = frame % 2 == 0 ? 1920 : 16;
        const std::vector<uint8_t> pixels(static_cast<size_t>(width * 160) * 2, static_cast<uint8_t>(frame * 4));
        camera.Send(kSecond + frame, {pixels, kYuvsPixelFormat, width, 160});
        if (frame == 60)
            camera.Send(kSecond + frame + 1, kFrame); // passes through, behind all others
        ASSERT_TRUE(AwaitDelivered(static_cast<size_t>(std::max(frame - 4, 0)), 2 * kSecond));
    }
    ASSERT_TRUE(AwaitDelivered(62, 2 * kSecond));
    ASSERT_EQ(delivered.size(), 62U);
    for (size_t frame = 0; frame <= 60; ++frame) {
        ASSERT_EQ(delivered[frame].Field<int16_t>(32), frame % 2 == 0 ? 1920 : 16) << frame;
        ASSERT_EQ(delivered[frame].Field<FourCharCode>(4), CodeOf("jpeg"));
        ASSERT_EQ(delivered[frame].bytes[0], 0xFF);
    }
    EXPECT_EQ(delivered[61].bytes, kFrame);
    EXPECT_EQ(SGGetChannelCounts(video).droppedInQueue, 0U);
}

// Without a movie nobody may read what the compressor makes, so it waits for a reader; with one, every frame has its
// own size, that of the frames which waited included.
TEST_F(GrabberTest, FramesAreCompressedAheadForAMovieOnly)
{
    StartVideo();
    const std::vector<uint8_t> pixels(size_t{64} * 48 * 2, 100);
    int64_t now = kSecond;
    const auto send = [&] { devices.Camera()->Send(now += 40 * kMillisecond, {pixels, kYuvsPixelFormat, 64, 48}); };
    const auto sendAndCollect = [&](size_t frames) {
        delivered.clear();
        for (size_t i = 1; i <= frames; ++i) {
            send();
            ASSERT_TRUE(AwaitDelivered(i, now));
        }
    };
    constexpr size_t kRoom = 64 * 48 * 4 + 0x10000;
    sendAndCollect(2);
    const auto compressed = delivered[0].bytes;
    ASSERT_LT(compressed.size(), kRoom) << "the first frame is compressed at once, to describe it";
    sendAndCollect(5);
    auto expected = compressed;
    expected.resize(kRoom);
    // Of a few frames, one may be the first of its worker.
    const auto anyWaited = [&] { return std::ranges::count(delivered, expected, &Delivered::bytes) > 0; };
    EXPECT_TRUE(anyWaited());
    EXPECT_EQ(delivered.back().description, delivered.front().description);

    send();
    {
        const test::TemporaryFolder folder;
        movietest::RecordedMovie movie(folder / "a.mov");
        sendAndCollect(6);
        ASSERT_TRUE(AwaitDelivered(7, now));
        for (const Delivered& frame : delivered)
            EXPECT_EQ(frame.bytes, compressed);
        EXPECT_EQ(movie.Finish(), noErr);
    }
    sendAndCollect(3);
    EXPECT_TRUE(anyWaited());
    EXPECT_EQ(SGGetChannelCounts(video).unreadable, 0U);
}

// More and larger frames than most machines can compress meanwhile: each is delivered or counted.
TEST_F(GrabberTest, LossesBeforeACompressorAreCounted)
{
    constexpr size_t kSent = 60;
    StartVideo(CodeOf("png "));
    const std::vector<uint8_t> pixels(size_t{1920} * 1080 * 2, 100);
    for (size_t frame = 0; frame < kSent; ++frame)
        devices.Camera()->Send(kSecond + static_cast<int64_t>(frame), {pixels, kYuvsPixelFormat, 1920, 1080});
    EXPECT_TRUE(Await([&] {
        IdleAt(2 * kSecond);
        return delivered.size() + SGGetChannelCounts(video).droppedInQueue == kSent;
    }));
}

// Frames that build on one another reach the procedure whole and in order, a key frame first, also after some were
// thrown away; each of them can be grabbed as a still.
TEST_F(GrabberTest, InterFrameFramesBeginWithAKeyFrame)
{
    video = NewChannel(kVideoMediaType);
    SGSetVideoCompressorType(video, CodeOf("avc1"));
    CollectDeliveries();
    std::string keys;
    int64_t now = kSecond;
    onDelivery = [&](const Delivered& frame) {
        keys += IsKeyFrame(CodeOf("avc1"), frame.bytes) ? 'K' : '.';
        return 0;
    };
    const auto send = [&](size_t count, uint8_t luma) {
        std::vector<uint8_t> pixels(size_t{64} * 48 * 2, 128);
        for (size_t at = 0; at < pixels.size(); at += 2)
            pixels[at] = luma;
        for (; count > 0; --count) {
            devices.Camera()->Send(now += 33 * kMillisecond, {pixels, kYuvsPixelFormat, 64, 48});
            ASSERT_TRUE(AwaitDelivered(keys.size() + 1, now));
        }
    };
    SGStartRecord(session);
    send(4, 100);
    SGStop(session);
    SGStartRecord(session);
    send(4, 200);
    EXPECT_EQ(keys, "K...K...");
    EXPECT_EQ(delivered.back().Field<FourCharCode>(4), CodeOf("avc1"));
    const OwnedBlock bounds(8);
    Poke(bounds.Get(), BoundsOfSize(8, 8));
    ASSERT_EQ(SGGrabPict(session, cell.Get(), bounds.Get(), 0, 0), noErr);
    const auto picture = HandleBytes(Peek<Handle>(cell.Get()));
    EXPECT_NEAR(picture[picture.size() - 2], 214, 6) << "of the last frame";
    DisposeHandle(Peek<Handle>(cell.Get()));
    EXPECT_EQ(SGSetVideoCompressorType(video, CodeOf("hvc1")), noErr);
    send(2, 100);
    EXPECT_EQ(delivered.back().Field<FourCharCode>(4), CodeOf("hvc1")) << "a compressor describes its own frames";
}
