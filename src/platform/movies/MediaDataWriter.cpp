// SPDX-License-Identifier: MIT
// Model: one stream of bytes, appended to by the recording thread and drained by the writer thread.
//
// The stream waits in chunks. Written chunks go to a small pool and are reused, so a steady recording allocates nothing
// and the same few chunks stay in the processor's cache; there are many chunks only while the disk stalls. A sample is
// copied whole, under the lock, and the lock is never held while a thread writes. When the buffer is full the recording
// thread waits for the disk, and then loses nothing. A caller that delivers faster than any disk can write is held back
// for a moment, once, before the buffer is used: that keeps such a stream in the cache as well.
//
// The writer thread writes as soon as a chunk is full, or a fifth of a second after data arrived. A second thread syncs
// what was written: that can take long on a busy disk, and writing continues meanwhile.
//
// Corrections (the header of a fragment, over the box that held its place) refer to bytes of the stream. The system
// writes its cache to the disk in any order, so after a power failure a header could be there without its samples. A
// correction therefore waits beside the stream until a sync has made durable what it refers to, and becomes durable
// itself with the next sync or at the end. This takes no more syncs than unordered corrections would and delays
// nothing: appending and writing never wait for a correction. The price is that after a power failure plain readers may
// miss one more fragment; the journal behind each fragment is part of the stream, so recovery does not.
//
// The first failure of either thread ends the writing. Pending data is dropped, since bytes after a gap are useless,
// and every later call returns the failure.
#include "platform/movies/MediaDataWriter.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <unistd.h>

namespace platform {
namespace {

// One chunk is one write. Not a power of two: the system would then take the largest blocks of memory it can get for
// its cache, which was measured to make writing three to seven times as expensive on a virtual machine.
constexpr size_t kChunkSize = size_t{600} << 10;
// Chunks in use that fit the processor's cache: with 16 MB of them the stream was measured to be a third slower.
constexpr int64_t kMuch = int64_t{6} << 20;
constexpr int64_t kLittle = kMuch / 4;
constexpr size_t kFreeChunks = kMuch / kChunkSize;
constexpr auto kMoment = std::chrono::milliseconds(50);
constexpr auto kMaxWait = std::chrono::milliseconds(200);

// Two seconds of the largest uncompressed pictures, but at most an eighth of the machine's memory.
int64_t BufferForThisMachine()
{
    constexpr int64_t kMaxBuffer = int64_t{512} << 20;
    const int64_t memory = int64_t{sysconf(_SC_PHYS_PAGES)} * sysconf(_SC_PAGESIZE);
    return std::min(kMaxBuffer, std::max<int64_t>(memory / 8, kChunkSize));
}

// Signals belong to the main thread. The one for a file that exceeds the allowed size would otherwise end the process.
void BlockSignals()
{
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, nullptr);
}

} // namespace

MediaDataWriter::MediaDataWriter(std::unique_ptr<OutputFile> outputFile, int64_t position, int64_t bufferLimit)
    : file(std::move(outputFile)),
      limit(bufferLimit > 0 ? bufferLimit : BufferForThisMachine()),
      end(position),
      writableEnd(file->Reserve(position)),
      writtenEnd(position),
      syncedEnd(position),
      writer([this] { WriterLoop(); }),
      syncer([this] { SyncLoop(); })
{
}

MediaDataWriter::~MediaDataWriter()
{
    {
        const std::lock_guard lock(mutex);
        stopping = true;
    }
    dataWaits.notify_one();
    syncWanted.notify_one();
    writer.join();
    syncer.join();
}

Result MediaDataWriter::Append(std::span<const uint8_t> bytes)
{
    const auto size = static_cast<int64_t>(bytes.size());
    const std::lock_guard lock(mutex);
    if (failure != noErr)
        return failure;
    const bool wasIdle = waiting == 0 || !IsChunkFull();
    AddToChunks(bytes);
    waiting += size;
    end += size;
    if (wasIdle)
        dataWaits.notify_one();
    return noErr;
}

bool MediaDataWriter::WaitForSpace(int64_t size, int64_t beyondLimit)
{
    // A sample larger than the whole buffer is accepted when nothing else is pending.
    const auto fits = [&] { return failure != noErr || waiting == 0 || waiting + size <= limit + beyondLimit; };
    std::unique_lock lock(mutex);
    if ((waiting > kMuch || !fits()) && !stalled)
        stalled = !spaceFreed.wait_for(lock, kMoment, [&] { return failure != noErr || waiting <= kLittle; });
    return fits();
}

void MediaDataWriter::Overwrite(std::span<const uint8_t> bytes, int64_t position)
{
    const std::lock_guard lock(mutex);
    corrections.push_back({end, position, {bytes.begin(), bytes.end()}});
    dataWaits.notify_one();
    if (IsSyncDue())
        syncWanted.notify_one();
}

void MediaDataWriter::Finish(std::span<const uint8_t> bytes, int64_t position)
{
    const std::lock_guard lock(mutex);
    finished = failure != noErr;
    last = Correction{end, position, {bytes.begin(), bytes.end()}};
    dataWaits.notify_one();
}

bool MediaDataWriter::WaitForFinish(std::chrono::milliseconds time)
{
    std::unique_lock lock(mutex);
    return finishDone.wait_for(lock, time, [&] { return finished; });
}

void MediaDataWriter::Reserve(int64_t bytes)
{
    const std::lock_guard lock(mutex);
    reservedBeyondEnd = bytes;
}

int64_t MediaDataWriter::WritableEnd() const
{
    const std::lock_guard lock(mutex);
    return writableEnd;
}

void MediaDataWriter::AddToChunks(std::span<const uint8_t> bytes)
{
    while (!bytes.empty()) {
        if (queue.empty() || queue.back().filled == kChunkSize)
            queue.push_back(TakeFreeChunk());
        Chunk& chunk = queue.back();
        const size_t part = std::min(bytes.size(), kChunkSize - chunk.filled);
        std::memcpy(chunk.bytes.get() + chunk.filled, bytes.data(), part);
        chunk.filled += part;
        bytes = bytes.subspan(part);
    }
}

MediaDataWriter::Chunk MediaDataWriter::TakeFreeChunk()
{
    if (freeChunks.empty())
        return {std::make_unique_for_overwrite<uint8_t[]>(kChunkSize)};
    Chunk chunk = std::move(freeChunks.back());
    freeChunks.pop_back();
    return chunk;
}

// Requested by the first pending correction: if corrections come faster than syncs return, one sync serves several.
bool MediaDataWriter::IsSyncDue() const
{
    return failure == noErr && !corrections.empty() && corrections.front().after > syncedEnd &&
           corrections.front().after <= writtenEnd;
}

Result MediaDataWriter::Flush()
{
    std::unique_lock lock(mutex);
    hurry = true;
    dataWaits.notify_one();
    spaceFreed.wait(lock, [&] { return failure != noErr || (waiting == 0 && corrections.empty()); });
    hurry = false;
    return failure;
}

int64_t MediaDataWriter::Waiting() const
{
    const std::lock_guard lock(mutex);
    return waiting;
}

int64_t MediaDataWriter::Written() const
{
    const std::lock_guard lock(mutex);
    return writtenEnd;
}

Result MediaDataWriter::Failure() const
{
    const std::lock_guard lock(mutex);
    return failure;
}

bool MediaDataWriter::IsChunkFull() const
{
    return !queue.empty() && queue.front().filled == kChunkSize;
}

// During destruction no more syncs come.
bool MediaDataWriter::IsCorrectionDue() const
{
    return !corrections.empty() && corrections.front().after <= (stopping ? writtenEnd : syncedEnd);
}

bool MediaDataWriter::IsLastDue() const
{
    return failure == noErr && last && !finished && waiting == 0 && corrections.empty();
}

void MediaDataWriter::WriterLoop()
{
    BlockSignals();
    std::unique_lock lock(mutex);
    while (failure == noErr) {
        dataWaits.wait(lock,
                       [&] { return failure != noErr || waiting > 0 || IsCorrectionDue() || IsLastDue() || stopping; });
        if (failure == noErr && waiting > 0)
            WriteChunk(lock);
        WriteCorrections(lock);
        if (IsLastDue())
            WriteLast(lock);
        if (stopping && waiting == 0 && corrections.empty())
            break;
        if (stalled || waiting <= kLittle)
            spaceFreed.notify_all();
    }
    finished = true;
    finishDone.notify_all();
    spaceFreed.notify_all();
}

void MediaDataWriter::WriteChunk(std::unique_lock<std::mutex>& lock)
{
    const auto isUrgent = [&] {
        return IsChunkFull() || hurry || stopping || last ||
               (!corrections.empty() && corrections.back().after > writtenEnd);
    };
    dataWaits.wait_for(lock, kMaxWait, isUrgent);
    // The bytes do not move: the recording thread only appends.
    const Chunk& chunk = queue.front();
    const std::span bytes(chunk.bytes.get() + chunk.written, chunk.filled - chunk.written);
    const int64_t position = writtenEnd;
    const int64_t wantedEnd = end + reservedBeyondEnd;
    lock.unlock();
    const int64_t writable = file->Reserve(wantedEnd);
    const Result result = file->Write(bytes, position);
    lock.lock();
    writableEnd = writable;
    KeepFailure(result);
    if (result == noErr)
        NoteWritten(bytes.size());
}

void MediaDataWriter::WriteCorrections(std::unique_lock<std::mutex>& lock)
{
    while (failure == noErr && IsCorrectionDue()) {
        const Correction& next = corrections.front();
        lock.unlock();
        const Result result = file->Write(next.bytes, next.position);
        lock.lock();
        corrections.pop_front();
        KeepFailure(result);
    }
    if (IsSyncDue())
        syncWanted.notify_one();
}

void MediaDataWriter::WriteLast(std::unique_lock<std::mutex>& lock)
{
    lock.unlock();
    Result result = file->Sync();
    if (result == noErr)
        result = file->Write(last->bytes, last->position);
    if (result == noErr)
        result = file->Sync();
    file->ReleaseReserved();
    lock.lock();
    KeepFailure(result);
    finished = true;
    finishDone.notify_all();
}

void MediaDataWriter::KeepFailure(Result result)
{
    if (failure == noErr)
        failure = result;
}

void MediaDataWriter::NoteWritten(size_t bytes)
{
    Chunk& chunk = queue.front();
    chunk.written += bytes;
    // A chunk that is not full yet may have been appended to meanwhile.
    if (chunk.written == chunk.filled) {
        chunk.filled = chunk.written = 0;
        if (freeChunks.size() < kFreeChunks)
            freeChunks.push_back(std::move(chunk));
        queue.pop_front();
    }
    waiting -= static_cast<int64_t>(bytes);
    writtenEnd += static_cast<int64_t>(bytes);
    if (waiting <= kLittle)
        stalled = false;
}

void MediaDataWriter::SyncLoop()
{
    BlockSignals();
    std::unique_lock lock(mutex);
    for (;;) {
        syncWanted.wait(lock, [&] { return stopping || IsSyncDue(); });
        if (stopping)
            return;
        const int64_t target = writtenEnd;
        lock.unlock();
        const Result result = file->Sync();
        lock.lock();
        KeepFailure(result);
        if (result == noErr)
            syncedEnd = target;
        dataWaits.notify_one();
        spaceFreed.notify_all();
    }
}

} // namespace platform
