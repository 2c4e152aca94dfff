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
             {SGInitialize(dead), SGIdle(dead), SGStop(dead), SGPause(dead, 1), SGStartPreview(dead),
              SGStartRecord(dead), SGPrepare(dead, 1, 1), SGRelease(dead), SGSetGWorld(dead, 0, 0),
              SGGetMode(dead, cell.Get(), cell.Get()), SGNewChannel(dead, kVideoMediaType, cell.Get()),
              SGDisposeChannel(dead, channel), SGDisposeDeviceList(dead, 0), SGGetSettings(dead, cell.Get(), 0),
              SGSetSettings(dead, 0, 0), SGSetDataProc(dead, 0, 0), SGGrabPict(dead, cell.Get(), cell.Get(), 0, 0)})
            EXPECT_EQ(result, badComponentInstance);
        for (const Result result :
             {SGSetChannelUsage(dead, 1), SGGetChannelUsage(dead, cell.Get()), SGGetChannelInfo(dead, cell.Get()),
              SGSetChannelBounds(dead, cell.Get()), SGGetChannelTimeScale(dead, cell.Get()),
              SGGetChannelSampleDescription(dead, handle), SGGetSrcVideoBounds(dead, cell.Get()),
              SGSetVideoCompressorType(dead, CodeOf("jpeg")), SGSetFrameRate(dead, 0),
              SGSetSoundInputParameters(dead, 16, 2, CodeOf("raw ")), SGSetSoundInputRate(dead, 0),
              SGGetChannelDeviceList(dead, 0, cell.Get()), SGSetChannelDevice(dead, cell.Get()),
              SGDisposeChannel(session, dead), SGGetVideoDigitizerComponent(dead)})
            EXPECT_EQ(result, badSGChannel);
        EXPECT_EQ(SGGetSoundInputDriver(dead), 0);
        EXPECT_EQ(SGGetSoundInputRate(dead), 0);
    }
    // The other kind of channel is none for these.
    EXPECT_EQ(SGSetChannelBounds(soundChannel, cell.Get()), badSGChannel);
    EXPECT_EQ(SGGetVideoRect(soundChannel, cell.Get()), badSGChannel);
    EXPECT_EQ(SGGetChannelSampleDescription(soundChannel, handle), seqGrabInfoNotAvailable);
    EXPECT_EQ(SGInitialize(session), cantDoThatInCurrentMode);
    EXPECT_EQ(SGNewChannel(session, CodeOf("text"), cell.Get()), couldntGetRequiredComponent);
    EXPECT_EQ(SGNewChannel(session, kVideoMediaType, 12), paramErr);
    EXPECT_EQ(SGSetDataRef(session, 0, 0, 0), paramErr);
    EXPECT_EQ(SGSetDataProc(session, 12345, 0), paramErr);
    EXPECT_EQ(SGGetMode(session, 0, cell.Get()), paramErr);
    EXPECT_EQ(SGGetChannelTimeScale(soundChannel, 8), paramErr);
    DisposeHandle(handle);
}

TEST_F(GrabberTest, ModesStartPauseAndEnd)
{
    video = NewChannel(kVideoMediaType, seqGrabRecord | seqGrabPreview);
    sound = NewChannel(kSoundMediaType, seqGrabRecord);
    CollectDeliveries();
    const auto modes = [&] {
        EXPECT_EQ(SGGetMode(session, cell.Get(), cell.Get() + 4), noErr);
        return std::pair(Peek<int32_t>(cell.Get()), Peek<int32_t>(cell.Get() + 4));
    };
    EXPECT_EQ(modes(), std::pair(0, 0));
    EXPECT_EQ(SGStop(session), noErr);

    EXPECT_EQ(SGStartPreview(session), noErr);
    EXPECT_EQ(modes(), std::pair(1, 0));
    EXPECT_NE(devices.Camera()->sink, nullptr);
    EXPECT_EQ(devices.Microphone()->sink, nullptr);
    devices.Camera()->Send(kSecond, kFrame);
    EXPECT_EQ(IdleAt(kSecond), noErr);
    EXPECT_TRUE(delivered.empty());

    EXPECT_EQ(SGStartRecord(session), noErr);
    EXPECT_EQ(SGStartRecord(session), noErr);
    EXPECT_EQ(modes(), std::pair(0, 1));
    EXPECT_EQ(devices.Camera()->starts, 1);
    EXPECT_NE(devices.Microphone()->sink, nullptr);
    devices.Camera()->Send(2 * kSecond, kFrame);
    IdleAt(2 * kSecond);
    ASSERT_GE(VideoCount(), 1U);
    EXPECT_EQ(delivered[0].bytes, kFrame);

    EXPECT_EQ(SGPause(session, 1), noErr);
    EXPECT_EQ(modes(), std::pair(0, 1));
    devices.Camera()->Send(3 * kSecond, kFrame);
    IdleAt(3 * kSecond);
    EXPECT_EQ(VideoCount(), 1U);
    EXPECT_EQ(SGPause(session, 0), noErr);
    devices.Camera()->Send(4 * kSecond, kFrame);
    IdleAt(4 * kSecond);
    EXPECT_EQ(VideoCount(), 2U);
    EXPECT_EQ(delivered.back().time, 2 * 600);
    EXPECT_EQ(SGGetChannelCounts(video).delivered, 2U);
    EXPECT_EQ(SGGetChannelCounts(video).lostBeforeUs, 0U);

    EXPECT_EQ(SGRelease(session), noErr);
    EXPECT_EQ(modes(), std::pair(0, 0));
    EXPECT_EQ(devices.Camera()->sink, nullptr);
    EXPECT_EQ(devices.Microphone()->sink, nullptr);
}

// The count of time runs over a stop: the first frame after it tells of the whole gap.
TEST_F(GrabberTest, TimeRunsOnOverStops)
{
    video = NewChannel(kVideoMediaType);
    CollectDeliveries();
    for (const int64_t seconds : {5, 6, 65}) {
        SGStartRecord(session);
        devices.Camera()->Send(seconds * kSecond + kMillisecond / 2, kFrame);
        IdleAt(seconds * kSecond);
        SGStop(session);
        devices.Camera()->Send(seconds * kSecond + 100, kFrame);
    }
    ASSERT_EQ(delivered.size(), 3U);
    EXPECT_EQ(delivered[0].time, 0);
    EXPECT_EQ(delivered[1].time, 600);
    EXPECT_EQ(delivered[2].time, 60 * 600);
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

// A few frames that were held up together go out one at a call, so that each is seen; of many only a few are left.
TEST_F(GrabberTest, FewFramesComeOneAtACall)
{
    video = NewChannel(kVideoMediaType);
    CollectDeliveries();
    SGStartRecord(session);
    for (const auto& [sent, expected] : {std::pair(3, 1U), std::pair(10, 7U)}) {
        delivered.clear();
        for (int frame = 0; frame < sent; ++frame)
            devices.Camera()->Send(kSecond + frame, kFrame);
        EXPECT_EQ(SGIdle(session), noErr);
        EXPECT_EQ(delivered.size(), expected);
        delivered.clear();
        IdleAt(kSecond);
    }
}

TEST_F(GrabberTest, ResultOfTheProcedureStopsTheSession)
{
    video = NewChannel(kVideoMediaType);
    CollectDeliveries();
    SGStartRecord(session);
    onDelivery = [](const Delivered&) { return dskFulErr; };
    devices.Camera()->Send(kSecond, kFrame);
    devices.Camera()->Send(2 * kSecond, kFrame);
    EXPECT_EQ(IdleAt(2 * kSecond), dskFulErr);
    EXPECT_EQ(delivered.size(), 1U);
    EXPECT_EQ(devices.Camera()->sink, nullptr);
    EXPECT_EQ(IdleAt(2 * kSecond), noErr);
}

// A procedure may do anything with the session that calls it.
TEST_F(GrabberTest, ProcedureMayStopDisposeAndClose)
{
    const std::vector<std::function<void()>> actions{
        [&] { EXPECT_EQ(SGIdle(session), noErr); },
        [&] { SGStop(session); },
        [&] { EXPECT_EQ(SGDisposeChannel(session, video), noErr); },
        [&] { EXPECT_EQ(CloseComponent(session), noErr); },
    };
    const std::vector<size_t> expected{3, 1, 1, 1};
    for (size_t i = 0; i < actions.size(); ++i) {
        video = NewChannel(kVideoMediaType);
        CollectDeliveries();
        SGStartRecord(session);
        delivered.clear();
        onDelivery = [&](const Delivered& buffer) {
            if (delivered.size() == 1)
                actions[i]();
            EXPECT_EQ(buffer.bytes, kFrame);
            return noErr;
        };
        for (int frame = 1; frame <= 3; ++frame)
            devices.Camera()->Send(frame * kSecond, kFrame);
        IdleAt(3 * kSecond);
        EXPECT_EQ(delivered.size(), expected[i]) << i;
        SGDisposeChannel(session, video);
    }
    EXPECT_EQ(SGIdle(session), badComponentInstance);
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
    devices.Camera()->Send(2 * kSecond, kFrame);
    EXPECT_EQ(IdleAt(2 * kSecond), noErr);
    EXPECT_EQ(delivered.size(), 1U);
    EXPECT_EQ(SGPrepare(session, 1, 1), noErr);

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
    SGStop(session);
    devices.cameraList.clear();
    EXPECT_EQ(SGPrepare(session, 0, 1), noDeviceForChannel);
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
    for (int frame = 0; frame <= 60; ++frame) {
        // Large and small frames take turns, so that a later one is done before an earlier one.
        const int width = frame % 2 == 0 ? 1920 : 16;
        const std::vector<uint8_t> pixels(static_cast<size_t>(width * 160) * 2, static_cast<uint8_t>(frame * 4));
        camera.Send(kSecond + frame, {pixels, kYuvsPixelFormat, width, 160});
        if (frame == 60)
            camera.Send(kSecond + frame + 1, kFrame); // passes through, behind all others
        for (int wait = 0; wait < 5000 && delivered.size() + 4 < static_cast<size_t>(frame); ++wait) {
            IdleAt(2 * kSecond);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
    for (int wait = 0; wait < 5000 && delivered.size() < 62; ++wait) {
        IdleAt(2 * kSecond);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    ASSERT_EQ(delivered.size(), 62U);
    for (size_t frame = 0; frame <= 60; ++frame) {
        ASSERT_EQ(delivered[frame].Field<int16_t>(32), frame % 2 == 0 ? 1920 : 16) << frame;
        ASSERT_EQ(delivered[frame].Field<FourCharCode>(4), CodeOf("jpeg"));
        ASSERT_EQ(delivered[frame].bytes[0], 0xFF);
    }
    EXPECT_EQ(delivered[61].bytes, kFrame);
    EXPECT_EQ(SGGetChannelCounts(video).droppedInQueue, 0U);
}

TEST_F(GrabberTest, ChannelsAndSessionsEndInAnyOrder)
{
    const int64_t before = BytesInUse();
    StartBoth();
    const SGChannel second = NewChannel(kVideoMediaType);
    EXPECT_EQ(SGStartRecord(session), noErr);
    const SGComponent other = OpenDefaultComponent(CodeOf("barg"), 0);
    SGInitialize(other);
    EXPECT_EQ(SGDisposeChannel(other, second), badSGChannel);
    EXPECT_EQ(SGNewChannel(other, kVideoMediaType, cell.Get()), noErr);
    const auto foreign = Peek<SGChannel>(cell.Get());
    SGSetChannelUsage(foreign, seqGrabRecord);
    SGStartRecord(other);
    EXPECT_EQ(SGGetIndChannel(session, 3, cell.Get(), cell.Get() + 4), noErr);
    EXPECT_EQ(Peek<SGChannel>(cell.Get()), second);
    EXPECT_EQ(Peek<FourCharCode>(cell.Get() + 4), kVideoMediaType);
    EXPECT_EQ(SGGetIndChannel(session, 4, cell.Get(), cell.Get() + 4), badSGChannel);
    EXPECT_EQ(SGGetIndChannel(session, 0, cell.Get(), cell.Get() + 4), badSGChannel);

    EXPECT_EQ(SGDisposeChannel(session, sound), noErr);
    EXPECT_EQ(SGDisposeChannel(session, sound), badSGChannel);
    EXPECT_EQ(SGGetIndChannel(session, 1, cell.Get(), cell.Get() + 4), noErr);
    EXPECT_EQ(Peek<SGChannel>(cell.Get()), video);
    devices.Camera()->Send(kSecond, kFrame); // the foreign session's camera, opened last
    IdleAt(kSecond);
    EXPECT_TRUE(delivered.empty());
    CloseComponent(other);
    EXPECT_EQ(SGSetChannelUsage(foreign, 1), badSGChannel);
    CloseComponent(session);
    EXPECT_EQ(SGSetChannelUsage(video, 1), badSGChannel);
    // What stays in use was so before: the test's own cells, and what numbers were kept in.
    EXPECT_LE(BytesInUse(), before);
}
