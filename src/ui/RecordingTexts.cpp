// SPDX-License-Identifier: MIT
#include "ui/RecordingTexts.h"

#include "framework/FolderItem.h"
#include "platform/memory/ResultText.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace velmora {
namespace {

// The disk counts as slow if this share of the writer's buffer, or this much of the recording, is waiting for it.
constexpr double kSlowShare = 0.1;
constexpr double kSlowSeconds = 3;
constexpr int64_t kMinSlowBytes = 1'000'000; // bytes
constexpr double kFewSeconds = 120;

template <typename... Numbers> std::string Formatted(const char* form, Numbers... numbers)
{
    std::array<char, 96> text;
    std::snprintf(text.data(), text.size(), form, numbers...);
    return text.data();
}

std::string Counted(uint64_t count, const char* one, const char* many)
{
    return std::to_string(count) + " " + (count == 1 ? one : many);
}

bool IsDiskSlow(const RecordingStatus& status)
{
    const double secondsWaiting = static_cast<double>(status.waitingBytes) * status.seconds /
                                  static_cast<double>(std::max<int64_t>(status.bytes, 1));
    return status.waitingBytes > kMinSlowBytes && (status.BufferUsed() >= kSlowShare || secondsWaiting >= kSlowSeconds);
}

std::string LeftText(double seconds)
{
    const auto whole = static_cast<int64_t>(seconds);
    if (seconds < kFewSeconds)
        return Formatted("DISK ALMOST FULL: %d min %02d s left", static_cast<int>(whole / 60),
                         static_cast<int>(whole % 60));
    if (whole < 2 * 3600)
        return std::to_string(whole / 60) + " min left";
    return std::to_string(whole / 3600) + " h left";
}

std::string MegabytesText(int64_t bytes)
{
    return std::to_string(static_cast<int64_t>(std::llround(static_cast<double>(bytes) / 1e6)));
}

} // namespace

framework::String RecordingTitle(const RecordingStatus& status)
{
    std::string text = "Recording " + ClockText(status.seconds) + ", " + SizeText(status.bytes);
    const auto add = [&text](bool holds, const std::string& part) {
        if (holds)
            text += ", " + part;
    };
    add(status.failure != 0, "WRITING FAILED");
    add(status.cameraAway, "CAMERA AWAY for " + std::to_string(std::llround(status.awaySeconds)) + " s");
    add(!status.cameraAway && status.awaySeconds >= 0.5,
        "camera was away for " + std::to_string(std::llround(status.awaySeconds)) + " s");
    add(status.lost > 0, Counted(status.lost, "frame lost", "frames lost"));
    add(status.damaged > 0, Counted(status.damaged, "damaged frame", "damaged frames"));
    add(status.incomplete > 0, Counted(status.incomplete, "incomplete frame", "incomplete frames"));
    add(status.notShown > 0, Counted(status.notShown, "picture not shown", "pictures not shown"));
    add(status.tooSlow, "MACHINE TOO SLOW for this compressor, size and rate");
    add(IsDiskSlow(status), "DISK TOO SLOW: " + MegabytesText(status.waitingBytes) + " MB waiting, space for " +
                                MegabytesText(status.bufferBytes - status.waitingBytes) + " MB more");
    add(status.secondsLeft >= 0, LeftText(status.secondsLeft));
    return text;
}

std::string ClockText(double seconds)
{
    const auto whole = static_cast<int64_t>(std::max(seconds, 0.0));
    return Formatted("%02d:%02d:%02d", static_cast<int>(whole / 3600), static_cast<int>(whole / 60 % 60),
                     static_cast<int>(whole % 60));
}

std::string SizeText(int64_t bytes)
{
    const auto size = static_cast<double>(bytes);
    return size < 1e9 ? Formatted("%.0f MB", size / 1e6) : Formatted("%.1f GB", size / 1e9);
}

framework::String WritingText(const std::string& path, int64_t doneBytes, int64_t totalBytes)
{
    return "Writing " + NameOf(path) + ": " + MegabytesText(doneBytes) + " of " + MegabytesText(totalBytes) + " MB";
}

std::string ReasonText(int32_t result, const std::string& path)
{
    switch (result) {
    case platform::dskFulErr:
        return "the disk " + DiskOf(path) + " is full";
    case platform::permErr:
        return "there is no permission to write it";
    case platform::ioErr:
        return "the disk " + DiskOf(path) + " failed";
    case platform::invalidMovie:
        return "it holds no recording";
    default:
        return platform::ResultText(result);
    }
}

std::string NameOf(const std::string& path)
{
    return path.substr(path.rfind('/') + 1);
}

std::string DiskOf(const std::string& path)
{
    return framework::FolderItem(path).VolumeName().Bytes();
}

} // namespace velmora
