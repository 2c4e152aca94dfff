// writer: how fast samples of 600 KB reach the disk through the movie writer, against plain write() of the same bytes
// in the same run, and what an hour's recording costs at its end.
//
// Usage: bench_writer [FOLDER [MEGABYTES [ROUNDS]]]
//
// Each round writes the same bytes both ways, in alternating order, each to a new file that is made durable at its
// end. The ratio of a round is the writer's throughput over that of write(); the median of the rounds is printed.

#include "platform/movies/MovieHeader.h"
#include "platform/movies/Movies.h"

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

// An hour at 30 frames a second with sound, whose frames come at uneven times.
void FinishAnHour()
{
    constexpr int kFrames = 108000;
    MovieContents movie;
    movie.tracks.resize(2);
    movie.tracks[0].mediaType = kVideoMediaType;
    movie.tracks[0].timeScale = 600;
    movie.tracks[1].mediaType = kSoundMediaType;
    movie.tracks[1].timeScale = 44100;
    int64_t position = kFileHeadSize;
    for (int i = 0; i < kFrames; ++i) {
        for (uint32_t track = 0; track < 2; ++track) {
            SampleRun run;
            run.track = track;
            run.count = track == 0 ? 1 : 1470;
            run.duration = track == 0 ? 14 + i * 7 % 13 : 1;
            run.position = position;
            run.size = track == 0 ? kSampleSize - i % 1000 : 1470 * 4;
            position += run.size;
            movie.tracks[track].samples += run.count;
            movie.tracks[track].duration += run.count * run.duration;
            movie.samples.Add(run);
        }
    }
    const double start = Now();
    const auto header = MovieHeader(movie);
    const double seconds = Now() - start;
    std::printf("%-34s %14.1f B   %-14s a sample; header of %.2f MB made in %.0f ms\n", "writer: memory for an hour",
                static_cast<double>(movie.samples.MemoryUsed()) / (2.0 * kFrames), "< 16 B",
                static_cast<double>(header.size()) / 1e6, seconds * 1e3);
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
    std::free(full);
    FinishAnHour();
    return 0;
}
