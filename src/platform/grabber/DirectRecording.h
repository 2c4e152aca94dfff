// SPDX-License-Identifier: MIT
#pragma once

#include "platform/grabber/Bounds.h"
#include "platform/grabber/Sample.h"
#include "platform/grabber/SoundStream.h"
#include "platform/movies/Movies.h"

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
    ~DirectRecording();
    DirectRecording(const DirectRecording&) = delete;
    DirectRecording& operator=(const DirectRecording&) = delete;

    Result AddFrame(const Sample& frame);
    Result AddSound(const SoundStream::Piece& piece);

    /// Gives the newest frame its end, where no other frame of this file tells it.
    Result EndFrameAt(int64_t captureTime);

    bool GetStatus(MovieStorageStatus& status) const { return GetMovieStorageStatus(handler, status); }

    /// Completes the file. The first failure since the beginning, if there was any.
    Result Finish();

private:
    /// One track on its way into the file.
    struct Line {
        Track track = 0;
        Media media = 0;
        Handle data = 0;
        Handle record = 0;
        SharedDescription description;
        std::optional<int64_t> start; ///< capture time of its first sample
    };

    DirectRecording() = default;
    Result Create(const Plan& plan);
    Result MakeLine(Line& line, FourCharCode type, int32_t scale, int32_t width = 0, int32_t height = 0);
    void Fill(Line& line, std::span<const uint8_t> bytes, const SharedDescription& description);
    Result AddPendingFrame(int32_t duration);
    Result Keep(Result result);
    Result Insert(const Line& line, int64_t origin);
    int64_t VideoUnits(int64_t nanoseconds) const;

    Movie movie = 0;
    DataHandler handler = 0;
    Line video;
    Line sound; ///< made with the first sound, which tells its rate
    int32_t videoScale = 600;
    int32_t soundScale = 0;
    bool withPictures = true;
    bool continues = false;
    std::optional<int64_t> soundArrived; ///< capture time of the first sound, taken or not
    bool framePending = false;           ///< the newest frame, whose end the next one tells
    int64_t pendingTime = 0;             ///< its capture time
    int32_t lastDuration = 0;
    Result firstFailure = noErr;
};

} // namespace platform
