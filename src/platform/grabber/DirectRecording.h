// SPDX-License-Identifier: MIT
#pragma once

#include "platform/grabber/Bounds.h"
#include "platform/grabber/Sample.h"
#include "platform/grabber/SoundStream.h"
#include "platform/movies/MovieBuilder.h"

#include <memory>
#include <optional>
#include <string>

namespace platform {

/// A movie file that the grabber writes itself, from the samples that a session delivers in the order of their capture.
class DirectRecording {
public:
    struct Plan {
        std::string path;    ///< absolute
        bool append = false; ///< the file may exist, but must be empty
        int32_t width = 0;
        int32_t height = 0;
        int32_t videoScale = 600; ///< units per second of frame durations
        int32_t soundScale = 0;   ///< sample rate, until the first sound arrives
        bool withPictures = true; ///< sound waits for the first frame
        bool continues = false;   ///< continues a recording from another file: all sound belongs to this file
    };

    /// Creates the file with its two tracks. Null on failure, with the reason in `result`.
    static std::unique_ptr<DirectRecording> Begin(const Plan& plan, Result& result);

    /// Takes a frame. It is written once its duration is known, from the next one or `EndFrameAt`; its bytes are shared
    /// until then. Nothing is written after the first failure.
    Result AddFrame(const Sample& frame);

    /// Writes a piece of sound, without the part before the first frame.
    Result AddSound(const SoundStream::Piece& piece);

    /// Ends the newest frame at a time, if no other frame follows in this file.
    Result EndFrameAt(int64_t captureTime);

    /// The status of the file; false if it is closed.
    bool GetStatus(MovieStorageStatus& status) const { return movie.GetStatus(status); }

    /// Completes the file. Returns the first failure since the start.
    Result Finish();

private:
    /// A frame whose end is not known yet.
    struct PendingFrame {
        SampleData data;
        SharedDescription description;
        int64_t captureTime = 0;
    };

    Result Create(const Plan& plan);
    Result AddPendingFrame(int32_t duration);
    int64_t MissingBefore(const SoundStream::Piece& piece) const;
    Result Insert(MovieTrack& track, std::optional<int64_t> start);
    int64_t VideoUnits(int64_t nanoseconds) const;

    MovieBuilder movie;
    std::shared_ptr<MovieTrack> video;
    std::shared_ptr<MovieTrack> sound; ///< created with the first sound, when its rate is known
    int32_t videoScale = 600;
    int32_t soundScale = 0;
    bool withPictures = true;
    bool continues = false;
    std::optional<int64_t> videoStart;   ///< capture time of the first frame
    std::optional<int64_t> soundStart;   ///< capture time of the first sound written
    std::optional<int64_t> soundArrived; ///< capture time of the first sound, written or not
    std::optional<PendingFrame> pending;
    int32_t lastDuration = 0;
};

} // namespace platform
