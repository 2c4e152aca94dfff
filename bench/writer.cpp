// SPDX-License-Identifier: MIT
// writer: the throughput of 600 KB samples through the movie writer, relative to plain write() of the same bytes in the
// same run, and the cost of finishing a recording of an hour.
//
// Usage: bench_writer [FOLDER [MEGABYTES [ROUNDS]]]
//
// Each round writes the same bytes both ways, in alternating order, each to a new file that is made durable at its
// end. The ratio of a round is the writer's throughput over that of write(); the median of the rounds is printed.

#include "platform/clock/MonotonicClock.h"
#include "platform/movies/MovieStorage.h"
#include "platform/movies/Movies.h"
#include "platform/movies/SampleDescriptions.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <vector>

using namespace platform;

namespace {

constexpr int32_t kSampleSize = 600 * 1000;

double Now()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

[[noreturn]] void Fail(const char* what)
{
    std::fprintf(stderr, "bench_writer: %s failed\n", what);
    std::exit(1);
}

void Check(Result result, const char* what)
{
    if (result != noErr)
        Fail(what);
}

Handle MakeHandle(const std::vector<uint8_t>& bytes)
{
    const Handle handle = NewHandle(static_cast<int32_t>(bytes.size()));
    Check(SetHandleBytes(handle, bytes), "a handle");
    return handle;
}

// An image description of JPEG pictures, in host byte order.
std::vector<uint8_t> PictureRecord()
{
    std::vector<uint8_t> record(86);
    const auto set = [&](size_t at, auto value) { std::memcpy(record.data() + at, &value, sizeof value); };
    set(0, int32_t{86});
    set(4, CodeOf("jpeg"));
    set(32, int16_t{1920});
    set(34, int16_t{1080});
    set(48, int16_t{1});
    set(82, int16_t{24});
    set(84, int16_t{-1});
    return record;
}

struct Written {
    double seconds = 0;     // to the end, durable
    double longestCall = 0; // of one AddMediaSample or write
};

Written WritePlainly(const std::string& path, const std::vector<uint8_t>& sample, int count)
{
    Written written;
    const double start = Now();
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0644);
    for (int i = 0; i < count; ++i) {
        const double before = Now();
        if (write(file, sample.data(), sample.size()) != static_cast<ssize_t>(sample.size()))
            Fail("write");
        written.longestCall = std::max(written.longestCall, Now() - before);
    }
    if (fdatasync(file) != 0)
        Fail("fdatasync");
    written.seconds = Now() - start;
    close(file);
    unlink(path.c_str());
    return written;
}

// A recording would lose a frame that does not fit the buffer; here the speed of the disk is measured.
void WaitForSpace(DataHandler handler)
{
    MovieStorageStatus status;
    while (GetMovieStorageStatus(handler, status) && status.waitingBytes + kSampleSize > status.bufferBytes)
        usleep(1000);
    if (status.framesLost > 0)
        Fail("keeping all frames");
}

Written WriteMovie(const std::string& path, const std::vector<uint8_t>& sample, int count)
{
    Written written;
    const Handle data = MakeHandle(sample);
    const Handle description = MakeHandle(PictureRecord());
    const Handle reference = MakeHandle({path.begin(), path.end()});
    const OwnedBlock numbers(8);
    const double start = Now();
    Check(CreateMovieStorage(reference, CodeOf("alis"), CodeOf("TVOD"), 0, 0, numbers.Get(), numbers.Get() + 4),
          "CreateMovieStorage");
    const auto handler = Peek<int32_t>(numbers.Get());
    const auto movie = Peek<int32_t>(numbers.Get() + 4);
    const Track track = NewMovieTrack(movie, Long2Fix(1920), Long2Fix(1080), 256);
    const Media media = NewTrackMedia(track, kVideoMediaType, 600, 0, 0);
    Check(BeginMediaEdits(media), "BeginMediaEdits");
    for (int i = 0; i < count; ++i) {
        WaitForSpace(handler);
        const double before = Now();
        Check(AddMediaSample(media, data, 0, kSampleSize, 20, description, 1, 0, 0), "AddMediaSample");
        written.longestCall = std::max(written.longestCall, Now() - before);
    }
    Check(EndMediaEdits(media), "EndMediaEdits");
    Check(InsertMediaIntoTrack(track, -1, 0, GetMediaDuration(media), Long2Fix(1)), "InsertMediaIntoTrack");
    Check(AddMovieToStorage(movie, handler), "AddMovieToStorage");
    Check(CloseMovieStorage(handler), "CloseMovieStorage");
    written.seconds = Now() - start;
    DisposeMovie(movie);
    DisposeHandle(reference);
    DisposeHandle(description);
    DisposeHandle(data);
    unlink(path.c_str());
    return written;
}

double Median(std::vector<double> values)
{
    std::ranges::sort(values);
    return values[values.size() / 2];
}

void CompareThroughput(const std::string& folder, int megabytes, int rounds)
{
    std::vector<uint8_t> sample(kSampleSize);
    for (size_t i = 0; i < sample.size(); ++i)
        sample[i] = static_cast<uint8_t>(i * 2654435761U >> 13);
    const int count = std::max(1, static_cast<int>(megabytes * 1000000LL / kSampleSize));
    const double megabytesWritten = static_cast<double>(count) * kSampleSize / 1e6;
    const std::string path = folder + "/bench_writer." + std::to_string(getpid());
    std::vector<double> ratios;
    for (int round = 0; round < rounds; ++round) {
        Written plain;
        Written movie;
        for (int turn = 0; turn < 2; ++turn)
            if ((round + turn) % 2 == 0)
                plain = WritePlainly(path, sample, count);
            else
                movie = WriteMovie(path, sample, count);
        ratios.push_back(plain.seconds / movie.seconds);
        std::fprintf(stderr,
                     "write %7.0f MB/s (longest call %6.1f ms)   writer %7.0f MB/s (longest call %6.1f ms)   %.2f\n",
                     megabytesWritten / plain.seconds, plain.longestCall * 1e3, megabytesWritten / movie.seconds,
                     movie.longestCall * 1e3, ratios.back());
    }
    std::printf("%-34s %16.2f   %-14s median of %d rounds of %.0f MB\n", "writer: samples of 600 KB to disk",
                Median(ratios), ">= 0.9", rounds, megabytesWritten);
}

int64_t clockTime = 0;

// An hour at 30 frames a second with sound, whose frames come at uneven times. They are small, as only their number
// counts; the clock runs as it would in that hour.
void FinishAnHour(const std::string& folder)
{
    constexpr int kFrames = 108000;
    const std::string path = folder + "/bench_writer." + std::to_string(getpid());
    SetMonotonicClock([] { return clockTime; });
    std::shared_ptr<MovieStorage> storage;
    Check(MovieStorage::Create(path, false, 0, storage), "creating the hour");
    auto& tracks = storage->Contents().tracks;
    tracks.resize(2);
    tracks[0].mediaType = kVideoMediaType;
    tracks[0].timeScale = 600;
    tracks[1].mediaType = kSoundMediaType;
    tracks[1].timeScale = 44100;
    std::vector<uint8_t> sound(36);
    sound[3] = 36;
    std::memcpy(sound.data() + 4, "sowt", 4);
    sound[25] = 2;
    sound[27] = 16;
    tracks[0].descriptions.resize(1);
    Check(FileFormOfDescription(kVideoMediaType, PictureRecord(), {}, tracks[0].descriptions[0]), "a description");
    tracks[1].descriptions.push_back(sound);
    const std::vector<uint8_t> bytes(1000);
    for (int i = 0; i < kFrames; ++i) {
        SampleRun run;
        run.duration = 14 + i * 7 % 13;
        Check(storage->AddSamples(std::span(bytes).first(static_cast<size_t>(100 + i % 100)), run), "a frame");
        run.track = 1;
        run.count = 10 + i % 3;
        run.duration = 1;
        Check(storage->AddSamples(std::span(bytes).first(static_cast<size_t>(4 * run.count)), run), "sound");
        clockTime += 33333333;
    }
    const auto memory = static_cast<double>(storage->Contents().samples.MemoryUsed());
    const double start = Now();
    storage->Finish();
    const double given = Now() - start;
    while (!storage->WaitForFinish(std::chrono::seconds(1))) {
    }
    const double seconds = Now() - start;
    Check(storage->Progress().result, "finishing the hour");
    storage.reset();
    SetMonotonicClock(nullptr);
    unlink(path.c_str());
    std::printf("%-34s %14.1f B   %-14s a sample\n", "writer: memory for an hour", memory / (2.0 * kFrames), "< 16 B");
    std::printf("%-34s %13.0f ms   %-14s of them %.0f ms on the calling thread\n", "writer: finishing an hour",
                seconds * 1e3, "< 300 ms", given * 1e3);
}

} // namespace

int main(int argc, char** argv)
{
    const std::string folder = argc > 1 ? argv[1] : ".";
    const int megabytes = argc > 2 ? std::atoi(argv[2]) : 1500;
    const int rounds = argc > 3 ? std::atoi(argv[3]) : 5;
    if (megabytes < 1 || rounds < 1) {
        std::fputs("Usage: bench_writer [FOLDER [MEGABYTES [ROUNDS]]]\n", stderr);
        return 2;
    }
    char* full = realpath(folder.c_str(), nullptr);
    if (full == nullptr)
        Fail("finding the folder");
    CompareThroughput(full, megabytes, rounds);
    FinishAnHour(full);
    std::free(full);
    return 0;
}
