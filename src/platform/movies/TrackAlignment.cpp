// SPDX-License-Identifier: MIT
// Let c be the capture time of a track's media time 0, and s the time at which the movie's edits show it. What the
// movie shows at time t was then captured at t + c - s. Picture and sound are in sync if c - s is the same for both.
// The difference is taken from the edits of the sound, by inserting an empty edit or by skipping its start.
#include "platform/movies/TrackAlignment.h"

#include "platform/clock/MonotonicClock.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace platform {
namespace {

constexpr size_t kMaxOffsets = 512;
constexpr int64_t kMaxMove = kFileTimeScale / 2;

// Clamped, since the numbers of a damaged file could exceed 64 bits.
int64_t NanosecondsOf(int64_t time, int32_t timeScale)
{
    constexpr int64_t kMaxSeconds = int64_t{1} << 30;
    return std::min(time / timeScale, kMaxSeconds) * kNanosecondsPerSecond +
           time % timeScale * kNanosecondsPerSecond / timeScale;
}

// The movie time in nanoseconds at which the media's time 0 is shown, or would be.
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

// The first track of a type whose capture times are known and that shows something; the number of tracks if none.
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
    if (offsets.size() == kMaxOffsets) {
        for (size_t i = 0; i < kMaxOffsets / 2; ++i)
            offsets[i] = offsets[2 * i];
        offsets.resize(kMaxOffsets / 2);
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
    if (std::llabs(units) > kMaxMove)
        return edits;
    if (units > 0)
        ShowLater(edits[sound], units);
    else if (units < 0)
        ShowEarlier(edits[sound], -units, movie.tracks[sound].timeScale);
    return edits;
}

} // namespace platform
