// SPDX-License-Identifier: MIT
#pragma once

#include "TestDevices.h"

#include "platform/atoms/UserData.h"
#include "platform/drawing/Ports.h"
#include "platform/files/DirectoryNumbers.h"
#include "platform/grabber/SequenceGrabber.h"
#include "platform/memory/Handles.h"
#include "platform/movies/RecordedMovie.h"
#include "support/Await.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

namespace grabbertest {

using movietest::JpegFrame;
using movietest::TestHandle;

/// A buffer as the data procedure got it.
struct Delivered {
    SGChannel channel = 0;
    bool isVideo = false;
    std::vector<uint8_t> bytes;
    std::vector<uint8_t> description;
    int32_t time = 0;

    template <typename T> T Field(size_t offset) const
    {
        T value{};
        if (offset + sizeof value <= description.size())
            __builtin_memcpy(&value, description.data() + offset, sizeof value);
        return value;
    }
    int32_t Frames() const
    {
        return static_cast<int32_t>(bytes.size()) / (Field<int16_t>(26) / 8) / Field<int16_t>(24);
    }
    /// The first sample of a piece of sound: its place on the clock in frames, cut to 16 bits. 0 is silence.
    uint16_t FirstSample() const { return static_cast<uint16_t>(bytes[0] | bytes[1] << 8); }
};

/// A session on the test's devices, with a data procedure that collects what comes.
class GrabberTest : public testing::Test {
protected:
    GrabberTest()
    {
        current = this;
        EXPECT_EQ(SGInitialize(session), noErr);
    }
    ~GrabberTest() override { CloseComponent(session); }

    SGChannel NewChannel(FourCharCode type, int32_t usage = seqGrabRecord)
    {
        EXPECT_EQ(SGNewChannel(session, type, cell.Get()), noErr);
        const auto channel = Peek<SGChannel>(cell.Get());
        EXPECT_EQ(SGSetChannelUsage(channel, usage), noErr);
        return channel;
    }

    void CollectDeliveries()
    {
        EXPECT_EQ(SGSetDataRef(session, 0, 0, seqGrabDontMakeMovie), noErr);
        EXPECT_EQ(SGSetDataProc(session, NewSGDataUPP(&Collect), 77), noErr);
    }

    /// A video channel for recording, with the data procedure, started.
    void StartVideo(FourCharCode compressor = CodeOf("jpeg"))
    {
        video = NewChannel(kVideoMediaType);
        EXPECT_EQ(SGSetVideoCompressorType(video, compressor), noErr);
        CollectDeliveries();
        EXPECT_EQ(SGStartRecord(session), noErr);
    }

    /// Both channels for recording, with the data procedure, started.
    void StartBoth()
    {
        sound = NewChannel(kSoundMediaType);
        StartVideo();
    }

    /// Sets the clock and gives the session time, until it hands nothing more over or fails.
    Result IdleAt(int64_t now)
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

    /// Gives the session time at `now` until that many buffers were delivered in all.
    bool AwaitDelivered(size_t count, int64_t now)
    {
        return Await([&] {
            IdleAt(now);
            return delivered.size() >= count;
        });
    }

    /// The session's settings, flattened.
    std::vector<uint8_t> Save()
    {
        EXPECT_EQ(SGGetSettings(session, cell.Get(), 0), noErr);
        const auto settings = Peek<UserData>(cell.Get());
        const TestHandle handle;
        EXPECT_EQ(PutUserDataIntoHandle(settings, handle), noErr);
        EXPECT_EQ(DisposeUserData(settings), noErr);
        return handle.Content();
    }

    /// Gives the session flattened settings.
    Result Restore(const std::vector<uint8_t>& saved)
    {
        NewUserDataFromHandle(TestHandle(saved), cell.Get());
        const auto settings = Peek<UserData>(cell.Get());
        const Result result = SGSetSettings(session, settings, 0);
        DisposeUserData(settings);
        return result;
    }

    size_t VideoCount() const { return static_cast<size_t>(std::ranges::count(delivered, true, &Delivered::isVideo)); }

    int64_t SoundFrames() const
    {
        int64_t frames = 0;
        for (const Delivered& piece : delivered)
            frames += piece.isVideo ? 0 : piece.Frames();
        return frames;
    }

    TestDevices devices;
    SGComponent session = OpenDefaultComponent(CodeOf("barg"), 0);
    SGChannel video = 0;
    SGChannel sound = 0;
    OwnedBlock cell{16};
    std::vector<Delivered> delivered;
    std::function<int32_t(const Delivered&)> onDelivery;

private:
    static int32_t Collect(SGChannel channel, Address p, int32_t len, Address offset, int32_t chRefCon, int32_t time,
                           int16_t writeType, int32_t refCon)
    {
        EXPECT_NE(offset, 0);
        EXPECT_EQ(chRefCon, 0);
        EXPECT_EQ(writeType, seqGrabWriteAppend);
        EXPECT_EQ(refCon, 77);
        const OwnedBlock info(4);
        SGGetChannelInfo(channel, info.Get());
        const auto bytes = BytesAt(p, len);
        const TestHandle description;
        EXPECT_EQ(SGGetChannelSampleDescription(channel, description), noErr);
        const Delivered buffer{.channel = channel,
                               .isVideo = (Peek<int32_t>(info.Get()) & seqGrabHasBounds) != 0,
                               .bytes{bytes.begin(), bytes.end()},
                               .description = description.Content(),
                               .time = time};
        current->delivered.push_back(buffer);
        return current->onDelivery ? current->onDelivery(buffer) : noErr;
    }

    static inline GrabberTest* current = nullptr;
};

/// A session that shows its picture in a port and records movies by itself.
class MovieTest : public GrabberTest {
protected:
    MovieTest()
    {
        const auto numbers = NumbersOfDirectory(folder.path.string());
        Poke(file.Get(), numbers.volume);
        Poke(file.Get() + 2, numbers.directory);
        Poke(file.Get() + 6, std::array<char, 10>{9, 'a', ' ', 'b', '\'', 'c', '.', 'm', 'o', 'v'});
        SGSetGWorld(session, port, 0);
    }
    ~MovieTest() override
    {
        SGStop(session);
        ReleasePort(port);
    }

    test::TemporaryFolder folder;
    const std::string path = folder / "a b'c.mov";
    OwnedBlock file{69}; ///< the file specification of `path`
    PortReference port = NewPort(100, 80);
};

} // namespace grabbertest
