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

/// Carries the media data of a recording to its file, on threads of its own.
class MediaDataWriter {
public:
    /// Takes over a file and writes to it from `position` on. At most `limit` bytes wait in memory; 0 chooses it by
    /// the machine's memory.
    MediaDataWriter(std::unique_ptr<OutputFile> file, int64_t position, int64_t limit = 0);

    /// Writes what waits and ends the threads.
    ~MediaDataWriter();

    /// Copies bytes to the end, whether the buffer has room for them or not. A failure of the threads, now or earlier,
    /// is the result; then nothing is taken any more.
    Result Append(std::span<const uint8_t> bytes);

    /// True when `size` more bytes fit into the buffer and `beyondLimit` bytes behind it. Waits for a moment where much
    /// has been given at once or the buffer has become full; a caller that goes on is not held again before the disk
    /// has caught up.
    bool WaitForRoom(int64_t size, int64_t beyondLimit = 0);

    /// Writes bytes over those at `position`, once all that was appended before survives a power failure: what is
    /// written there may refer to it. Returns at once; the sync is requested here. At most one page of memory.
    void Overwrite(std::span<const uint8_t> bytes, int64_t position);

    /// Waits until all bytes are with the system.
    Result Flush();

    /// Lets the thread write all, make it durable, then write `last` at `position` and make that durable. Nothing is
    /// appended after this.
    void Finish(std::span<const uint8_t> last, int64_t position);

    /// Waits until that is done. False when it isn't within the time.
    bool WaitForFinish(std::chrono::milliseconds time);

    /// Bytes behind the last one appended for which room on the disk is kept.
    void KeepRoom(int64_t bytes);

    /// The file, for what is done with it after `Flush`.
    OutputFile& File() { return *file; }

    /// Up to where the file can grow, as it was known last.
    int64_t RoomEnd() const;

    /// Where the next byte will stand.
    int64_t End() const { return end; }

    /// Bytes that wait in memory.
    int64_t Waiting() const;

    /// Where the bytes end that are with the system.
    int64_t Written() const;

    /// Bytes that may wait in memory.
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
        int64_t after; // what has to be durable before
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
    int64_t end; // of the appending thread alone

    mutable std::mutex mutex;
    std::condition_variable dataWaits;
    std::condition_variable roomMade;
    std::condition_variable syncWanted;
    std::condition_variable finishDone;
    std::deque<Chunk> queue; // the last one is being filled
    std::vector<Chunk> freeChunks;
    std::deque<Correction> corrections;
    std::optional<Correction> last;
    bool finished = false;
    int64_t keptBehind = 0;
    int64_t roomEnd = INT64_MAX;
    int64_t waiting = 0;
    int64_t writtenEnd;
    int64_t syncedEnd;    // what lies before is durable
    bool stalled = false; // much has been waiting for longer than a moment
    bool hurry = false;
    bool stopping = false;
    Result failure = noErr;

    std::thread writer;
    std::thread syncer;
};

} // namespace platform
