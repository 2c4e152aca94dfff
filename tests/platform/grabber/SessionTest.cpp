#include "TestSession.h"

#include "platform/compression/ImageDescription.h"
#include "platform/drawing/PixelFormat.h"

#include <chrono>
#include <thread>

using namespace grabbertest;

namespace {

const std::vector<uint8_t> kFrame{0xFF, 0xD8, 1, 2, 3, 0xFF, 0xD9};

} // namespace

TEST_F(GrabberTest, DeadNumbersGiveTheirCodes)
{
    const SGChannel channel = NewChannel(kVideoMediaType);
    const SGChannel soundChannel = NewChannel(kSoundMediaType);
    EXPECT_EQ(SGDisposeChannel(session, channel), noErr);
    const Handle handle = NewHandle(0);
    for (const SGComponent dead : {0, -1, 4711, channel}) {
        for (const Result result :
             {SGIdle(dead), SGStop(dead), SGPause(dead, 1), SGStartRecord(dead), SGPrepare(dead, 1, 1),
              SGNewChannel(dead, kVideoMediaType, cell.Get()), SGDisposeChannel(dead, channel),
              SGGetSettings(dead, cell.Get(), 0), SGGrabPict(dead, cell.Get(), cell.Get(), 0, 0)})
            EXPECT_EQ(result, badComponentInstance);
        for (const Result result :
             {SGSetChannelUsage(dead, 1), SGSetChannelBounds(dead, cell.Get()),
              SGGetChannelSampleDescription(dead, handle), SGSetVideoCompressorType(dead, CodeOf("jpeg")),
              SGSetSoundInputRate(dead, 0), SGGetChannelDeviceList(dead, 0, cell.Get()),
              SGSetChannelDevice(dead, cell.Get()), SGDisposeChannel(session, dead)})
            EXPECT_EQ(result, badSGChannel);
        EXPECT_EQ(SGGetSoundInputDriver(dead), 0);
    }
    // The other kind of channel is none for these.
    EXPECT_EQ(SGSetChannelBounds(soundChannel, cell.Get()), badSGChannel);
    EXPECT_EQ(SGGetChannelSampleDescription(soundChannel, handle), seqGrabInfoNotAvailable);
    EXPECT_EQ(SGInitialize(session), cantDoThatInCurrentMode);
    EXPECT_EQ(SGNewChannel(session, CodeOf("text"), cell.Get()), couldntGetRequiredComponent);
    EXPECT_EQ(SGNewChannel(session, kVideoMediaType, 12), paramErr);
    EXPECT_EQ(SGSetDataProc(session, 12345, 0), paramErr);
    EXPECT_EQ(SGGetChannelTimeScale(soundChannel, 8), paramErr);
    DisposeHandle(handle);
}

// Rounding doesn't add up, and the count wraps without a step.
TEST_F(GrabberTest, TimesFollowTheStamps)
{
    video = NewChannel(kVideoMediaType);
    CollectDeliveries();
    SGStartRecord(session);
    constexpr int64_t start = 12'345'678'901;
    for (int64_t frame = 0; frame < 300; ++frame) {
        const int64_t time = start + frame * 1001 * kSecond / 30000;
        devices.Camera()->Send(time, kFrame);
        IdleAt(time);
        ASSERT_EQ(delivered.back().time, (time - start) * 600 / kSecond);
    }
    const int64_t late = start + (int64_t{1} << 32) * kSecond / 600 + 7 * kSecond;
    devices.Camera()->Send(late, kFrame);
    IdleAt(late);
    EXPECT_NEAR(delivered.back().time, 7 * 600, 1);
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
    SGStop(session);
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
    video = NewChannel(kVideoMediaType);
    CollectDeliveries();
    SGStartRecord(session);
    TestCamera& camera = *devices.Camera();
    camera.Send(kSecond, kFrame);
    camera.sequence += 3;
    camera.Send(kSecond + 1, kFrame);
    camera.sequence = 0; // as after a restart of the device
    camera.Send(kSecond + 2, kFrame);
    camera.Send(kSecond + 3, std::vector<uint8_t>());
    IdleAt(kSecond);
    EXPECT_EQ(SGGetChannelCounts(video).lostBeforeUs, 3U);
    EXPECT_EQ(SGGetChannelCounts(video).unreadable, 1U);
    for (int frame = 0; frame < 200; ++frame)
        camera.Send(2 * kSecond + frame, std::vector<uint8_t>{static_cast<uint8_t>(frame)});
    delivered.clear();
    IdleAt(3 * kSecond);
    const auto counts = SGGetChannelCounts(video);
    EXPECT_EQ(delivered.size() + counts.droppedInQueue, 200U);
    EXPECT_GT(counts.droppedInQueue, 0U);
    EXPECT_EQ(delivered.back().bytes[0], 199);
    EXPECT_EQ(delivered.front().bytes[0], counts.droppedInQueue);
    SGStop(session);
    SGStartRecord(session);
    EXPECT_EQ(SGGetChannelCounts(video).droppedInQueue, 0U);
}

// Large frames fill the queue by their bytes.
TEST_F(GrabberTest, QueueIsBoundedInBytes)
{
    video = NewChannel(kVideoMediaType);
    SGSetVideoCompressorType(video, CodeOf("yuvs"));
    CollectDeliveries();
    SGStartRecord(session);
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

// What isn't in the compressor's own format is compressed, and comes in the order of capture. The description tells
// each frame's own size.
TEST_F(GrabberTest, FramesAreCompressedInOrder)
{
    video = NewChannel(kVideoMediaType);
    CollectDeliveries();
    SGStartRecord(session);
    TestCamera& camera = *devices.Camera();
    const auto waitFor = [&](size_t count) {
        for (int wait = 0; wait < 5000 && delivered.size() < count; ++wait) {
            IdleAt(2 * kSecond);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    };
    for (int frame = 0; frame <= 60; ++frame) {
        // Large and small frames take turns, so that a later one is done before an earlier one.
        const int width = frame % 2 == 0 ? 1920 : 16;
        const std::vector<uint8_t> pixels(static_cast<size_t>(width * 160) * 2, static_cast<uint8_t>(frame * 4));
        camera.Send(kSecond + frame, {pixels, kYuvsPixelFormat, width, 160});
        if (frame == 60)
            camera.Send(kSecond + frame + 1, kFrame); // passes through, behind all others
        waitFor(static_cast<size_t>(std::max(frame - 4, 0)));
    }
    waitFor(62);
    ASSERT_EQ(delivered.size(), 62U);
    for (size_t frame = 0; frame <= 60; ++frame) {
        ASSERT_EQ(delivered[frame].Field<int16_t>(32), frame % 2 == 0 ? 1920 : 16) << frame;
        ASSERT_EQ(delivered[frame].Field<FourCharCode>(4), CodeOf("jpeg"));
        ASSERT_EQ(delivered[frame].bytes[0], 0xFF);
    }
    EXPECT_EQ(delivered[61].bytes, kFrame);
    EXPECT_EQ(SGGetChannelCounts(video).droppedInQueue, 0U);
}
