// SPDX-License-Identifier: MIT
#include "TestSession.h"

#include "platform/atoms/UserData.h"
#include "platform/files/DirectoryNumbers.h"
#include "support/Await.h"

#include <array>

namespace grabbertest {

GrabberTest* GrabberTest::current = nullptr;

GrabberTest::GrabberTest()
{
    current = this;
    session = OpenDefaultComponent(CodeOf("barg"), 0);
    EXPECT_EQ(SGInitialize(session), noErr);
}

GrabberTest::~GrabberTest()
{
    CloseComponent(session);
}

SGChannel GrabberTest::NewChannel(FourCharCode type, int32_t usage)
{
    EXPECT_EQ(SGNewChannel(session, type, cell.Get()), noErr);
    const auto channel = Peek<SGChannel>(cell.Get());
    EXPECT_EQ(SGSetChannelUsage(channel, usage), noErr);
    return channel;
}

void GrabberTest::CollectDeliveries()
{
    EXPECT_EQ(SGSetDataRef(session, 0, 0, seqGrabDontMakeMovie), noErr);
    EXPECT_EQ(SGSetDataProc(session, NewSGDataUPP(&Collect), 77), noErr);
}

void GrabberTest::StartBoth()
{
    sound = NewChannel(kSoundMediaType);
    video = NewChannel(kVideoMediaType);
    CollectDeliveries();
    EXPECT_EQ(SGStartRecord(session), noErr);
}

Result GrabberTest::IdleAt(int64_t now)
{
    TestDevices::SetTime(now);
    // A call hands over what is due, which may not be all that waits.
    Result result = noErr;
    for (size_t before = SIZE_MAX; result == noErr && delivered.size() != before;) {
        before = delivered.size();
        result = SGIdle(session);
    }
    return result;
}

std::vector<uint8_t> GrabberTest::Save()
{
    EXPECT_EQ(SGGetSettings(session, cell.Get(), 0), noErr);
    const auto settings = Peek<UserData>(cell.Get());
    const Handle handle = NewHandle(0);
    EXPECT_EQ(PutUserDataIntoHandle(settings, handle), noErr);
    EXPECT_EQ(DisposeUserData(settings), noErr);
    const auto bytes = HandleBytes(handle);
    const std::vector<uint8_t> saved(bytes.begin(), bytes.end());
    DisposeHandle(handle);
    return saved;
}

Result GrabberTest::Restore(std::span<const uint8_t> saved)
{
    const Handle handle = NewHandle(0);
    SetHandleBytes(handle, saved);
    NewUserDataFromHandle(handle, cell.Get());
    DisposeHandle(handle);
    const auto settings = Peek<UserData>(cell.Get());
    const Result result = SGSetSettings(session, settings, 0);
    DisposeUserData(settings);
    return result;
}

bool GrabberTest::AwaitDelivered(size_t count, int64_t now)
{
    return Await([&] {
        IdleAt(now);
        return delivered.size() >= count;
    });
}

size_t GrabberTest::VideoCount() const
{
    return static_cast<size_t>(std::ranges::count(delivered, true, &Delivered::isVideo));
}

int64_t GrabberTest::SoundFrames() const
{
    int64_t frames = 0;
    for (const Delivered& piece : delivered)
        frames += piece.isVideo ? 0 : piece.Frames();
    return frames;
}

int32_t GrabberTest::Collect(SGChannel channel, Address p, int32_t len, Address offset, int32_t chRefCon, int32_t time,
                             int16_t writeType, int32_t refCon)
{
    EXPECT_NE(offset, 0);
    EXPECT_EQ(chRefCon, 0);
    EXPECT_EQ(writeType, seqGrabWriteAppend);
    EXPECT_EQ(refCon, 77);
    Delivered buffer;
    buffer.channel = channel;
    buffer.time = time;
    const OwnedBlock info(4);
    SGGetChannelInfo(channel, info.Get());
    buffer.isVideo = (Peek<int32_t>(info.Get()) & seqGrabHasBounds) != 0;
    const auto bytes = BytesAt(p, len);
    buffer.bytes.assign(bytes.begin(), bytes.end());
    const Handle description = NewHandle(0);
    EXPECT_EQ(SGGetChannelSampleDescription(channel, description), noErr);
    const auto record = HandleBytes(description);
    buffer.description.assign(record.begin(), record.end());
    DisposeHandle(description);
    current->delivered.push_back(buffer);
    return current->onDelivery ? current->onDelivery(buffer) : noErr;
}

MovieTest::MovieTest()
{
    const auto numbers = NumbersOfDirectory(folder.path.string());
    Poke(file.Get(), numbers.volume);
    Poke(file.Get() + 2, numbers.directory);
    Poke(file.Get() + 6, std::array<char, 10>{9, 'a', ' ', 'b', '\'', 'c', '.', 'm', 'o', 'v'});
    SGSetGWorld(session, port, 0);
}

MovieTest::~MovieTest()
{
    SGStop(session);
    ReleasePort(port);
}

} // namespace grabbertest
