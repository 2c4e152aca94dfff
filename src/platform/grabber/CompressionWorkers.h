// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/FrameCompressor.h"
#include "platform/grabber/Sample.h"

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace platform {

/// Compresses the frames of one video channel on threads of its own, and hands them on in the order in which they
/// were captured. One device thread feeds it.
class CompressionWorkers {
public:
    using Settings = std::shared_ptr<const CompressionSettings>;

    /// A frame to be compressed: packed pixels, or what the device itself compressed in another codec. One that the
    /// device compressed in an inter-frame codec is also decoded, in the order of capture, to be shown.
    struct Frame {
        Sample sample;
        SharedDescription delivered; ///< of the frame as the device delivers it
        Settings settings;           ///< null: the sample's data goes on as it is
    };

    /// What becomes of frames; both are called on a worker.
    struct Outlet {
        std::function<void(Sample)> finished;
        std::function<void(int64_t captureTime)> unreadable;
        std::function<void(int64_t captureTime)> dropped; ///< called on the device's thread
    };

    /// Starts the threads. `outlet` is called on them.
    explicit CompressionWorkers(Outlet outlet);
    ~CompressionWorkers();
    CompressionWorkers(const CompressionWorkers&) = delete;
    CompressionWorkers& operator=(const CompressionWorkers&) = delete;

    /// Takes a frame. With too many waiting, the one that waits longest is dropped.
    void Submit(Frame frame);

    /// Whether a frame is on its way through, so that a later one must follow it.
    bool Busy() const;

    /// Whether a frame captured before `time` is on its way through.
    bool Awaits(int64_t time) const;

    /// Waits until every frame has been handed on.
    void Finish();

    /// Forgets the frames that wait and waits for those in work, which are forgotten as well.
    void Discard();

private:
    enum class State { Waiting, InWork, Finished, Forgotten };
    struct Job {
        Frame frame;
        State state = State::Waiting;
    };
    class Compressor;

    static bool NeedsWork(const Frame& frame);

    void Work();
    bool IsFull() const;
    static bool IsOrdered(const Frame& frame);
    Job* NextWaiting();
    void HandOnFinished();

    Outlet outlet;
    mutable std::mutex mutex;
    std::condition_variable work;
    std::condition_variable done;
    std::list<Job> jobs; ///< a job keeps its place in memory while a worker has it
    bool ending = false;
    std::unique_ptr<Compressor> ordered; ///< of the worker that set `orderedInWork`
    bool orderedInWork = false;
    std::vector<std::thread> threads;
};

} // namespace platform
