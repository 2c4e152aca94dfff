// SPDX-License-Identifier: MIT
#include "platform/digitizer/FrameTrace.h"

#include "platform/clock/MonotonicClock.h"

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace platform {
namespace {

// -1 without a trace. Open until the process ends.
int TraceFile()
{
    static const int file = [] {
        const char* const path = std::getenv("VELMORA_FRAME_TRACE");
        return path == nullptr ? -1 : open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    }();
    return file;
}

template <typename... Values> void WriteLine(const char* format, Values... values)
{
    char line[96];
    const int size = std::snprintf(line, sizeof line, format, values...);
    static_cast<void>(!write(TraceFile(), line, static_cast<size_t>(size)));
}

} // namespace

uint64_t FingerprintOf(std::span<const uint8_t> bytes)
{
    uint64_t fingerprint = bytes.size();
    for (; bytes.size() >= sizeof(uint64_t); bytes = bytes.subspan(sizeof(uint64_t))) {
        uint64_t word = 0;
        std::memcpy(&word, bytes.data(), sizeof word);
        fingerprint = (fingerprint ^ word) * 0x9E3779B97F4A7C15;
        fingerprint ^= fingerprint >> 32;
    }
    return fingerprint;
}

void TraceArrival(int64_t captureTime, std::span<const uint8_t> bytes)
{
    if (TraceFile() >= 0)
        WriteLine("arrived %" PRId64 " %" PRId64 " %" PRIu64 "\n", MonotonicNow(), captureTime, FingerprintOf(bytes));
}

void TraceHandOver(int64_t captureTime, HandOver outcome)
{
    constexpr const char* words[] = {"shown", "skipped", "undrawn"};
    if (TraceFile() >= 0)
        WriteLine("%s %" PRId64 " %" PRId64 "\n", words[static_cast<int>(outcome)], MonotonicNow(), captureTime);
}

} // namespace platform
