#pragma once

#include "platform/movies/OutputFile.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
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

    /// Copies bytes to the end. Waits where the buffer is full, and for a moment where much was given at once. A
    /// failure of the threads, now or earlier, is the result; then nothing is taken any more.
    Result Append(std::span<const uint8_t> bytes);

    /// Asks that all that was appended so far survives a failure of power, soon: comes back at once.
    void RequestSync();

    /// Waits until all bytes are with the system.
    Result Flush();

    /// Where the next byte will stand.
    int64_t End() const { return end; }

    /// Bytes that wait in memory.
    int64_t Waiting() const;

    /// Bytes that may wait in memory.
    int64_t Limit() const { return limit; }

    /// The first failure of the threads.
    Result Failure() const;

    /// The file, for what is written to it after `Flush`.
    OutputFile& File() { return *file; }

private:
    struct Chunk {
        std::unique_ptr<uint8_t[]> bytes;
        size_t filled = 0;
        size_t written = 0;
    };

    void WriteOn();
    void SyncOn();
    void WaitForRoom(std::unique_lock<std::mutex>& lock, int64_t size);
    void AddToChunks(std::span<const uint8_t> bytes);
    Chunk TakeFreeChunk();
    void NoteWritten(size_t bytes);
    bool IsChunkFull() const;
    bool IsSyncDue() const;

    std::unique_ptr<OutputFile> file;
    int64_t limit;
    int64_t end; // of the appending thread alone

    mutable std::mutex mutex;
    std::condition_variable dataWaits;
    std::condition_variable roomMade;
    std::condition_variable syncWanted;
    std::deque<Chunk> queue; // the last one is being filled
    std::vector<Chunk> freeChunks;
    int64_t waiting = 0;
    int64_t writtenEnd;
    int64_t syncTarget = 0; // what was appended before is to be made durable
    int64_t lastRequest = 0;
    int64_t syncedEnd = 0;
    bool stalled = false; // much has been waiting for longer than a moment
    bool hurry = false;
    bool stopping = false;
    Result failure = noErr;

    std::thread writer;
    std::thread syncer;
};

} // namespace platform
