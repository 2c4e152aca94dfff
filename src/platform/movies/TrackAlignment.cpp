// SPDX-License-Identifier: MIT
// A track's capture offset c is when its media's time 0 was captured, s is where in the movie the edits show that time.
// What the movie shows at a moment t was then captured at t + c - s. Picture and sound are in step when c - s is the
// same for both; what it differs by is taken off the edits of sound, by showing nothing for so long or by leaving out
// its start.
#include "platform/movies/TrackAlignment.h"

#include "platform/clock/MonotonicClock.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace platform {
namespace {

constexpr size_t kMostOffsets = 512;
constexpr int64_t kLargestMove = kFileTimeScale / 2;

// Held where the numbers of a damaged file would leave 64 bits.
int64_t NanosecondsOf(int64_t time, int32_t timeScale)
{
    constexpr int64_t kMostSeconds = int64_t{1} << 30;
    return std::min(time / timeScale, kMostSeconds) * kNanosecondsPerSecond +
           time % timeScale * kNanosecondsPerSecond / timeScale;
}

// The place in the movie where the media's time 0 is shown, or would be, in nanoseconds.
int64_t ShownAt(const std::vector<Edit>& edits, int32_t timeScale)
{
    int64_t start = 0;
    for (const Edit& edit : edits) {
        if (edit.mediaTime >= 0)
            return NanosecondsOf(start, kFileTimeScale) - NanosecondsOf(edit.mediaTime, timeScale);
        start += edit.duration;
    }
    return 0;
}

// The first track of a type whose capture times are known and that shows something; or the number of tracks.
size_t FindTimedTrack(const MovieContents& movie, FourCharCode type)
{
    const auto found = std::ranges::find_if(movie.tracks, [&](const TrackContents& track) {
        return track.mediaType == type && track.captureOffset && !track.edits.empty();
    });
    return static_cast<size_t>(found - movie.tracks.begin());
}

void ShowLater(std::vector<Edit>& edits, int64_t move)
{
    if (edits.front().mediaTime < 0)
        edits.front().duration += move;
    else
        edits.insert(edits.begin(), {move, -1});
}

void ShowEarlier(std::vector<Edit>& edits, int64_t move, int32_t timeScale)
{
    if (edits.front().mediaTime < 0 && edits.front().duration <= move) {
        move -= edits.front().duration;
        edits.erase(edits.begin());
    }
    if (edits.empty() || edits.front().duration <= move)
        return;
    edits.front().duration -= move;
    if (edits.front().mediaTime >= 0)
        edits.front().mediaTime += (move * timeScale + kFileTimeScale / 2) / kFileTimeScale;
}

} // namespace

void CaptureOffsets::Add(int64_t captureTime, int64_t mediaTime, int32_t timeScale)
{
    if (added++ % stride != 0)
        return;
    if (offsets.size() == kMostOffsets) {
        for (size_t i = 0; i < kMostOffsets / 2; ++i)
            offsets[i] = offsets[2 * i];
        offsets.resize(kMostOffsets / 2);
        stride *= 2;
    }
    offsets.push_back(captureTime - NanosecondsOf(mediaTime, timeScale));
}

int64_t LaterBy(int64_t captureTime, int64_t mediaTime, int32_t timeScale)
{
    return captureTime + NanosecondsOf(mediaTime, timeScale);
}

std::optional<int64_t> CaptureOffsets::Median() const
{
    if (offsets.empty())
        return {};
    auto sorted = offsets;
    const auto middle = sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() / 2);
    std::ranges::nth_element(sorted, middle);
    return *middle;
}

std::vector<std::vector<Edit>> AlignedEdits(const MovieContents& movie)
{
    std::vector<std::vector<Edit>> edits;
    for (const TrackContents& track : movie.tracks) {
        edits.push_back(track.edits);
        for (Edit& edit : edits.back())
            edit.duration *= kFileTimeScale / kMovieTimeScale;
    }
    const size_t video = FindTimedTrack(movie, kVideoMediaType);
    const size_t sound = FindTimedTrack(movie, kSoundMediaType);
    if (video == movie.tracks.size() || sound == movie.tracks.size())
        return edits;
    const auto start = [&](size_t i) {
        return *movie.tracks[i].captureOffset - ShownAt(edits[i], movie.tracks[i].timeScale);
    };
    const int64_t early = start(sound) - start(video);
    const auto units = std::llround(static_cast<double>(early) * kFileTimeScale / kNanosecondsPerSecond);
    if (std::llabs(units) > kLargestMove)
        return edits;
    if (units > 0)
        ShowLater(edits[sound], units);
    else if (units < 0)
        ShowEarlier(edits[sound], -units, movie.tracks[sound].timeScale);
    return edits;
}

} // namespace platform
