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

/// A movie file that the grabber writes itself, out of the samples that a session hands over in the order of their
/// capture.
class DirectRecording {
public:
    struct Plan {
        std::string path;    ///< absolute
        bool append = false; ///< the file may exist, but only if it is empty
        int32_t width = 0;
        int32_t height = 0;
        int32_t videoScale = 600; ///< units a second in which frames last
        int32_t soundScale = 0;   ///< sample rate, as long as no sound has come
        bool withPictures = true; ///< sound waits for the first frame
        bool continues = false;   ///< the recording goes on from another file: all sound that comes belongs to this one
    };

    /// Creates the file with its two tracks. Null, and the reason in `result`, when that fails.
    static std::unique_ptr<DirectRecording> Begin(const Plan& plan, Result& result);

    /// Takes a frame. It is written when its duration is known, by the next one or by `EndFrameAt`; its bytes are
    /// shared until then. Nothing is written after the first failure.
    Result AddFrame(const Sample& frame);

    /// Writes a piece of sound, without what lies before the first frame.
    Result AddSound(const SoundStream::Piece& piece);

    /// Ends the newest frame at a time, where no other frame of this file does.
    Result EndFrameAt(int64_t captureTime);

    /// The status of the file; false when it is closed.
    bool GetStatus(MovieStorageStatus& status) const { return movie.GetStatus(status); }

    /// Completes the file. The first failure since the beginning, if there was any.
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
    std::shared_ptr<MovieTrack> sound; ///< made with the first sound, when its rate is known
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
