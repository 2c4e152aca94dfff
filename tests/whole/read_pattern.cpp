// SPDX-License-Identifier: MIT
// Reads the Test Pattern from a part of a screen kept in a file (Xvfb's -fbdir).
//
//   read_pattern FILE X Y WIDTH HEIGHT          the frame number, then the content of the four corners, one per line
//   read_pattern FILE X Y WIDTH HEIGHT SECONDS  every frame number as it appears, one a line
//   read_pattern FILE X Y WIDTH HEIGHT SECONDS looks [FRAMES]   the same, and behind each the longest time in
//                                               milliseconds for which this program did not look since the number
//                                               before; it ends once the numbers span so many frames
//   read_pattern FILE X Y WIDTH HEIGHT SECONDS times   each number with the monotonic time at which it was seen
//   read_pattern FILE X Y WIDTH HEIGHT first    the monotonic time at which the first one is seen, in seconds

#include "platform/digitizer/testpattern/TestPatternLayout.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <thread>
#include <utility>

namespace {

using namespace platform;

// The file starts with 25 big-endian words; what is needed of them here, and the pixels behind header and colours.
struct Screen {
    const uint8_t* pixels = nullptr;
    int32_t width = 0;
    int32_t height = 0;
    int32_t rowBytes = 0;
};

uint32_t HeaderWord(const uint8_t* file, int index)
{
    const uint8_t* bytes = file + size_t{4} * index;
    return uint32_t{bytes[0]} << 24 | uint32_t{bytes[1]} << 16 | uint32_t{bytes[2]} << 8 | bytes[3];
}

bool OpenScreen(const char* path, Screen& screen)
{
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    struct stat status {};
    if (file < 0 || fstat(file, &status) != 0)
        return false;
    const auto size = static_cast<size_t>(status.st_size);
    void* mapped = mmap(nullptr, size, PROT_READ, MAP_SHARED, file, 0);
    close(file);
    if (mapped == MAP_FAILED || size < 100)
        return false;
    const auto* bytes = static_cast<const uint8_t*>(mapped);
    const size_t start = HeaderWord(bytes, 0) + size_t{12} * HeaderWord(bytes, 19);
    screen = {bytes + start, static_cast<int32_t>(HeaderWord(bytes, 4)), static_cast<int32_t>(HeaderWord(bytes, 5)),
              static_cast<int32_t>(HeaderWord(bytes, 12))};
    return HeaderWord(bytes, 11) == 32 && start + size_t{HeaderWord(bytes, 12)} * HeaderWord(bytes, 5) <= size;
}

const char* CornerName(std::optional<PatternCorner> corner)
{
    if (!corner)
        return "none";
    constexpr const char* names[] = {"TopLeft", "TopRight", "BottomLeft", "BottomRight"};
    return names[static_cast<int>(*corner)];
}

void PrintOnce(const uint8_t* picture, int32_t width, int32_t height, int32_t rowBytes)
{
    if (const auto number = ReadFrameNumber(picture, width, height, rowBytes))
        std::printf("%u\n", *number);
    else
        std::printf("none\n");
    for (const auto corner :
         {PatternCorner::TopLeft, PatternCorner::TopRight, PatternCorner::BottomLeft, PatternCorner::BottomRight})
        std::printf("%s\n", CornerName(ReadCornerMark(corner, picture, width, height, rowBytes)));
}

enum class Report { Numbers, NumbersAndLooks, NumbersAndTimes, FirstTime };

// Prints each number as it appears; or the time of the first one, and nothing when none comes.
void Watch(const uint8_t* picture, int32_t width, int32_t height, int32_t rowBytes, double seconds, Report report,
           uint32_t frames)
{
    using Clock = std::chrono::steady_clock;
    auto looked = Clock::now();
    const auto end = looked + std::chrono::duration<double>(seconds);
    Clock::duration longestPause{};
    std::optional<uint32_t> first, last;
    while (looked < end && (!last || *last - *first + 1 < frames)) {
        const auto number = ReadFrameNumber(picture, width, height, rowBytes);
        const auto now = Clock::now();
        longestPause = std::max(longestPause, now - std::exchange(looked, now));
        if (number && report == Report::FirstTime) {
            std::printf("%.4f\n", std::chrono::duration<double>(now.time_since_epoch()).count());
            return;
        }
        if (number && number != last) {
            const double pause = std::chrono::duration<double, std::milli>(std::exchange(longestPause, {})).count();
            const double time = std::chrono::duration<double>(now.time_since_epoch()).count();
            if (report == Report::NumbersAndLooks)
                std::printf("%u %.1f\n", *number, pause);
            else if (report == Report::NumbersAndTimes)
                std::printf("%u %.4f\n", *number, time);
            else
                std::printf("%u\n", *number);
            last = number;
            first = first.value_or(*number);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

} // namespace

int main(int argc, char** argv)
{
    Screen screen;
    if (argc < 6 || !OpenScreen(argv[1], screen)) {
        std::fprintf(stderr, "usage: read_pattern FILE X Y WIDTH HEIGHT [SECONDS [looks [FRAMES]]]\n");
        return 2;
    }
    const int32_t x = std::atoi(argv[2]), y = std::atoi(argv[3]), width = std::atoi(argv[4]),
                  height = std::atoi(argv[5]);
    if (x < 0 || y < 0 || width <= 0 || height <= 0 || x + width > screen.width || y + height > screen.height) {
        std::fprintf(stderr, "read_pattern: outside of the screen\n");
        return 2;
    }
    const uint8_t* picture = screen.pixels + int64_t{y} * screen.rowBytes + int64_t{x} * 4;
    if (argc <= 6)
        PrintOnce(picture, width, height, screen.rowBytes);
    else if (std::string_view(argv[6]) == "first")
        Watch(picture, width, height, screen.rowBytes, 10, Report::FirstTime, UINT32_MAX);
    else
        Watch(picture, width, height, screen.rowBytes, std::atof(argv[6]),
              argc <= 7                              ? Report::Numbers
              : std::string_view(argv[7]) == "times" ? Report::NumbersAndTimes
                                                     : Report::NumbersAndLooks,
              argc <= 8 ? UINT32_MAX : static_cast<uint32_t>(std::atoi(argv[8])));
    return 0;
}
