// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/FrameCompressor.h"
#include "platform/grabber/Sample.h"

#include <array>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <thread>

namespace platform {

/// Compresses the frames of one video channel on its own threads and passes them on in the order of capture. One device
/// thread adds frames.
class CompressionWorkers {
public:
    using Settings = std::shared_ptr<const CompressionSettings>;

    /// A frame to be compressed: packed pixels, or a frame that the device compressed with another codec. If that is an
    /// inter-frame codec, the frame is also decoded, in the order of capture, to be shown.
    struct Frame {
        Sample sample;
        SharedDescription delivered; ///< of the frame as the device delivers it
        Settings settings;           ///< null: the sample's data is passed on unchanged
        bool isWanted = true;        ///< false: compressing may be left to whoever asks for the bytes
    };

    /// Receives the frames; both functions are called on a worker.
    struct Outlet {
        std::function<void(Sample)> finished;
        std::function<void(int64_t captureTime)> unreadable;
        std::function<void(int64_t captureTime)> dropped; ///< called on the device's thread
    };

    /// Starts the threads, which call `outlet`.
    explicit CompressionWorkers(Outlet outlet);
    ~CompressionWorkers();
    CompressionWorkers(const CompressionWorkers&) = delete;
    CompressionWorkers& operator=(const CompressionWorkers&) = delete;

    /// Adds a frame. If too many are waiting, the oldest one is dropped.
    void Submit(Frame frame);

    /// Whether a frame is still being processed, so that a later one must follow it.
    bool Busy() const;

    /// Whether a frame captured before `time` is still being processed.
    bool Awaits(int64_t time) const;

    /// Waits until every frame has been passed on.
    void Finish();

    /// Discards the waiting frames and, when they are done, those being processed.
    void Discard();

private:
    enum class State { Waiting, InWork, Finished, Forgotten };
    struct Job {
        Frame frame;
        State state = State::Waiting;
    };
    struct Worker {
        std::thread thread;
        std::condition_variable work;
        bool isIdle = false;
    };
    class Compressor;

    static bool NeedsWork(const Frame& frame);

    void Work(Worker& self);
    void WakeWorker();
    bool IsFull() const;
    static bool IsOrdered(const Frame& frame);
    Job* NextWaiting();
    void HandOnFinished();

    Outlet outlet;
    mutable std::mutex mutex;
    std::condition_variable done;
    std::list<Job> jobs; ///< a job keeps its address while a worker uses it
    bool ending = false;
    std::unique_ptr<Compressor> ordered; ///< used by the worker that set `orderedInWork`
    bool orderedInWork = false;
    // Two keep up with a camera for which one is just too slow, and leave the machine's other cores to the live
    // picture.
    std::array<Worker, 2> workers;
};

} // namespace platform
