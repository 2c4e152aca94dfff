// SPDX-License-Identifier: MIT
#pragma once

#include "platform/digitizer/Digitizer.h"
#include "platform/digitizer/FrameGrid.h"

#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>

namespace platform {

/// The built-in device: the picture of `TestPatternLayout.h`, a frame at each point of the rate's grid on the
/// monotonic clock, with a flash on the first frame of each second. A frame's number is its sequence number.
class TestPattern : public Digitizer {
public:
    TestPattern() = default;
    ~TestPattern() override { Stop(); }

    static constexpr const char* kName = "Test Pattern";
    static constexpr const char* kIdentity = "test-pattern";

    std::string Name() const override { return kName; }
    std::string Identity() const override { return kIdentity; }
    std::vector<CaptureFormat> Formats() const override;
    CaptureFormat Format() const override { return format; }
    Result SetFormat(const CaptureFormat& wanted) override;
    Result Start(FrameSink& sink) override;
    void Stop() override;

private:
    void Begin(FrameSink& target);
    void DeliverRaw();
    void DeliverCompressed();
    void CompressFrames();
    bool TakeJob(int64_t& frame);
    OwnedBlock TakeCompressed(int64_t frame);
    void Deliver(int64_t frame, std::span<const uint8_t> bytes);
    bool WaitFor(int64_t frame);
    int64_t Following(int64_t frame) const;
    int64_t FollowingJob(int64_t frame);
    uint32_t NumberOf(int64_t frame) const { return firstNumber + static_cast<uint32_t>(frame - firstFrame); }

    CaptureFormat format{CodeOf("2vuy"), 640, 480, 30};
    FrameSink* sink = nullptr;
    FrameGrid grid;
    int64_t firstFrame = 0;
    uint32_t firstNumber = 0;
    uint32_t nextNumber = 0; // written by the thread that delivers, read once it has ended
    std::thread deliverer;

    std::mutex mutex; // guards the following
    std::condition_variable changed;
    bool stopping = false;
    int64_t nextJob = 0;                      // the next frame that a compressing thread takes
    int64_t due = 0;                          // the frame that is delivered next: no job is taken far ahead of it
    std::map<int64_t, OwnedBlock> compressed; // frames that are ready before their time
};

} // namespace platform
