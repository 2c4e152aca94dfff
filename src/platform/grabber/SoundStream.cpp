// SPDX-License-Identifier: MIT
// One continuous stream of sound.
//
// A recording counts samples of sound: a gap would shift everything after it. So the stream has no gaps. It has an end
// on the clock, and each captured buffer is placed by its own time: silence fills the place of lost buffers and of
// stops; sound that silence has replaced already is left out.
//
// Buffers have the even stamps of a recovered clock, each of which continues the previous one: if a stamp differs from
// the stream's end, something was lost or the source was restarted.
#include "platform/grabber/SoundStream.h"

#include "platform/clock/MonotonicClock.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace platform {
namespace {

constexpr int64_t kTolerance = kNanosecondsPerMillisecond;
constexpr int64_t kMaxSilence = kNanosecondsPerSecond;

int64_t FramesIn(int64_t nanoseconds, double rate)
{
    return static_cast<int64_t>(std::floor(static_cast<double>(nanoseconds) * rate / kNanosecondsPerSecond));
}

int64_t DurationOf(int64_t frames, double rate)
{
    return std::llround(static_cast<double>(frames) * kNanosecondsPerSecond / rate);
}

int64_t FramesOf(const Sample& sample)
{
    return sample.data.Size() / sample.description->BytesPerFrame();
}

} // namespace

int64_t SoundStream::Position() const
{
    return description ? base + DurationOf(frames, description->sampleRate) : base;
}

int64_t SoundStream::ArrivedUpTo() const
{
    int64_t end = begun ? Position() : 0;
    if (!interrupted && begun && current.description)
        end += DurationOf(FramesOf(current) - offset, current.description->sampleRate);
    const auto waiting = queue.Look(channel);
    return waiting.waiting == 0 ? end : std::max(end, waiting.end);
}

void SoundStream::MoveTo(int64_t time)
{
    begun = true;
    base = time;
    frames = 0;
    align = true;
}

bool SoundStream::Reaches(int64_t time) const
{
    return description ? FramesUntil(time) < 1 : base >= time;
}

int64_t SoundStream::FramesUntil(int64_t time) const
{
    // Half a nanosecond of rounding must not cost a frame that just fits.
    return FramesIn(time - Position() + 1, description->sampleRate);
}

void SoundStream::Rebase(const SharedDescription& next)
{
    base = Position();
    frames = 0;
    description = next;
    align = true; // a source that changes its format starts again, at a time of its own
}

bool SoundStream::TakeSample()
{
    if (interrupted || (current.description && !isPresent(*current.description))) {
        current = {};
        align = true;
        interrupted = false;
    }
    if (current.description && offset < FramesOf(current))
        return true;
    auto next = queue.Take(channel);
    while (next && !isPresent(*next->description))
        next = queue.Take(channel);
    if (!next)
        return false;
    current = std::move(*next);
    offset = 0;
    placed = false;
    if (current.description != description)
        Rebase(current.description);
    if (!begun)
        MoveTo(current.captureTime);
    return true;
}

std::optional<SoundStream::Piece> SoundStream::Next(int64_t limit, int64_t longestSilence)
{
    while (TakeSample()) {
        if (!placed)
            if (auto hole = FindPlace(limit, longestSilence))
                return hole;
        const int64_t left = FramesOf(current) - offset;
        if (left <= 0)
            continue;
        const int64_t space = FramesUntil(limit);
        if (!placed || space < 1)
            return std::nullopt;
        const int64_t longest = std::max<int64_t>(1, FramesIn(kMaxPiece, description->sampleRate));
        return Cut(std::min({left, space, longest}));
    }
    return std::nullopt;
}

// Compares the sample's own time with the end of the stream. Returns a piece of silence if there is a gap before it,
// and leaves the sample unplaced if that gap extends beyond the limit.
std::optional<SoundStream::Piece> SoundStream::FindPlace(int64_t limit, int64_t longestSilence)
{
    const int64_t error = current.captureTime - Position();
    if (!align && current.framesLost == 0 && std::abs(error) <= kTolerance) {
        placed = true;
        return std::nullopt;
    }
    const int64_t hole = FramesIn(error + 1, description->sampleRate);
    if (hole > 0) {
        align = true;
        const int64_t frame = std::min({hole, FramesUntil(limit), FramesIn(longestSilence, description->sampleRate)});
        return frame < 1 ? std::nullopt : std::optional(MakeSilence(frame));
    }
    // The stream may have continued without the sample: then only what is after its end is new.
    offset = std::min(FramesOf(current), std::max<int64_t>(0, FramesIn(-error, description->sampleRate)));
    placed = true;
    if (offset < FramesOf(current))
        align = false;
    return std::nullopt;
}

SoundStream::Piece SoundStream::Cut(int64_t count)
{
    const int64_t frameBytes = description->BytesPerFrame();
    const Piece piece{current.data.Start() + static_cast<Address>(offset * frameBytes),
                      static_cast<int32_t>(count * frameBytes), static_cast<int32_t>(count), Position(), description};
    offset += count;
    frames += count;
    return piece;
}

std::optional<SoundStream::Piece> SoundStream::Silence(int64_t limit, int64_t longest, const SharedDescription& present)
{
    if (!description || !isPresent(*description))
        Rebase(present);
    const int64_t count = std::min(FramesUntil(limit), FramesIn(longest, description->sampleRate));
    if (count < 1)
        return std::nullopt;
    align = true;
    return MakeSilence(count);
}

SoundStream::Piece SoundStream::MakeSilence(int64_t count)
{
    const int64_t frameBytes = description->BytesPerFrame();
    if (silenceDescription != description) {
        const auto most = static_cast<size_t>(FramesIn(kMaxSilence, description->sampleRate));
        const std::vector<uint8_t> level(most * static_cast<size_t>(description->channels), 128);
        silence = SampleData::Uncleared(static_cast<int64_t>(most) * frameBytes);
        ConvertSound(level, 8, description->coding, silence.Bytes());
        silenceDescription = description;
    }
    count = std::min(count, silence.Size() / frameBytes);
    const Piece piece{silence.Start(), static_cast<int32_t>(count * frameBytes), static_cast<int32_t>(count),
                      Position(), description};
    frames += count;
    return piece;
}

} // namespace platform
