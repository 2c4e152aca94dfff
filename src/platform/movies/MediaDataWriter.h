// SPDX-License-Identifier: MIT
#pragma once

#include "platform/movies/OutputFile.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <thread>
#include <vector>

namespace platform {

/// Writes the media data of a recording to its file, on its own threads.
class MediaDataWriter {
public:
    /// Takes over a file and writes to it from `position` on. At most `limit` bytes are buffered in memory; 0 derives
    /// the limit from the machine's memory.
    MediaDataWriter(std::unique_ptr<OutputFile> file, int64_t position, int64_t limit = 0);

    /// Writes all pending data and ends the threads.
    ~MediaDataWriter();

    /// Appends a copy of the bytes, even beyond the limit. Returns the first failure of the threads, if any; nothing is
    /// accepted after one.
    Result Append(std::span<const uint8_t> bytes);

    /// Whether `size` more bytes fit into the buffer, which may exceed its limit by `beyondLimit` bytes. Waits a moment
    /// if much data arrived at once or the buffer has just become full. A caller that continues is not held back again
    /// before the disk has caught up.
    bool WaitForSpace(int64_t size, int64_t beyondLimit = 0);

    /// Overwrites the bytes at `position` once everything appended so far is durable, so that the new bytes may refer
    /// to it. Returns at once; the sync is requested here. At most one page of memory.
    void Overwrite(std::span<const uint8_t> bytes, int64_t position);

    /// Waits until the system has all bytes.
    Result Flush();

    /// Lets the thread write everything and make it durable, then write `last` at `position` and make that durable.
    /// Nothing may be appended afterwards.
    void Finish(std::span<const uint8_t> last, int64_t position);

    /// Waits until that is done. Returns false after the timeout.
    bool WaitForFinish(std::chrono::milliseconds time);

    /// Sets how many bytes to keep reserved on the disk beyond the last appended one.
    void Reserve(int64_t bytes);

    /// The file, for what is done with it after `Flush`.
    OutputFile& File() { return *file; }

    /// The position up to which the file can grow, as last known.
    int64_t WritableEnd() const;

    /// The position of the next byte.
    int64_t End() const { return end; }

    /// Bytes pending in memory.
    int64_t Waiting() const;

    /// End of the bytes that the system has.
    int64_t Written() const;

    /// Maximum number of bytes pending in memory.
    int64_t Limit() const { return limit; }

    /// The first failure of the threads.
    Result Failure() const;

private:
    struct Chunk {
        std::unique_ptr<uint8_t[]> bytes;
        size_t filled = 0;
        size_t written = 0;
    };
    struct Correction {
        int64_t after; // what must be durable first
        int64_t position;
        std::vector<uint8_t> bytes;
    };

    void WriterLoop();
    void SyncLoop();
    void WriteChunk(std::unique_lock<std::mutex>& lock);
    void WriteCorrections(std::unique_lock<std::mutex>& lock);
    void WriteLast(std::unique_lock<std::mutex>& lock);
    void KeepFailure(Result result);
    void AddToChunks(std::span<const uint8_t> bytes);
    Chunk TakeFreeChunk();
    void NoteWritten(size_t bytes);
    bool IsChunkFull() const;
    bool IsCorrectionDue() const;
    bool IsLastDue() const;
    bool IsSyncDue() const;

    std::unique_ptr<OutputFile> file;
    int64_t limit;
    int64_t end; // appending thread only

    mutable std::mutex mutex;
    std::condition_variable dataWaits;
    std::condition_variable spaceFreed;
    std::condition_variable syncWanted;
    std::condition_variable finishDone;
    std::deque<Chunk> queue; // the last one is being filled
    std::vector<Chunk> freeChunks;
    std::deque<Correction> corrections;
    std::optional<Correction> last;
    bool finished = false;
    int64_t reservedBeyondEnd = 0;
    int64_t writableEnd = INT64_MAX;
    int64_t waiting = 0;
    int64_t writtenEnd;
    int64_t syncedEnd;    // everything before it is durable
    bool stalled = false; // much data has been pending for longer than a moment
    bool hurry = false;
    bool stopping = false;
    Result failure = noErr;

    std::thread writer;
    std::thread syncer;
};

} // namespace platform
