// SPDX-License-Identifier: MIT
#pragma once

#include "TestDevices.h"

#include "platform/drawing/Ports.h"
#include "platform/grabber/SequenceGrabber.h"
#include "platform/memory/Handles.h"
#include "support/Files.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

namespace grabbertest {

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
    GrabberTest();
    ~GrabberTest() override;

    SGChannel NewChannel(FourCharCode type, int32_t usage = seqGrabRecord);
    void CollectDeliveries();

    /// Both channels for recording, with the data procedure, started.
    void StartBoth();

    /// Sets the clock and gives the session time, until it hands nothing more over or fails.
    Result IdleAt(int64_t now);

    /// The session's settings, flattened.
    std::vector<uint8_t> Save();

    /// Gives the session flattened settings.
    Result Restore(std::span<const uint8_t> saved);

    /// Gives the session time at `now` until that many buffers were delivered in all.
    bool AwaitDelivered(size_t count, int64_t now);

    size_t VideoCount() const;
    int64_t SoundFrames() const;

    TestDevices devices;
    SGComponent session = 0;
    SGChannel video = 0;
    SGChannel sound = 0;
    OwnedBlock cell{16};
    std::vector<Delivered> delivered;
    std::function<int32_t(const Delivered&)> onDelivery;

private:
    static int32_t Collect(SGChannel channel, Address p, int32_t len, Address offset, int32_t chRefCon, int32_t time,
                           int16_t writeType, int32_t refCon);
    static GrabberTest* current;
};

/// A session that shows its picture in a port and records movies by itself.
class MovieTest : public GrabberTest {
protected:
    MovieTest();
    ~MovieTest() override;

    test::TemporaryFolder folder;
    const std::string path = folder / "a b'c.mov";
    OwnedBlock file{69}; ///< the file specification of `path`
    PortReference port = NewPort(100, 80);
};

} // namespace grabbertest
