// SPDX-License-Identifier: MIT
#pragma once

#include "platform/drawing/GraphicsWorlds.h"
#include "platform/grabber/DataProcedure.h"
#include "platform/grabber/Delivery.h"
#include "platform/grabber/SessionMovie.h"

#include <functional>

namespace platform {

/// What a recording session does with each sample: writes it to its own movie, passes it to the data procedure and
/// draws it into the port. Main thread.
class SampleHandOver final : public DeliverySink {
public:
    /// Both must outlive this object. `continues` returns whether samples may still be delivered.
    SampleHandOver(SessionMovie& movie, std::function<bool()> continues) : movie(movie), continues(std::move(continues))
    {
    }

    DataProcedure procedure;
    PortReference port = 0;     ///< previews are drawn into it
    bool intoMovieOnly = false; ///< the session is stopping: the remaining samples only complete the movie

    Result TakeFrame(VideoChannel& channel, Sample frame, int32_t time, bool shown) override;
    Result TakeSound(SoundChannel& channel, const SoundStream::Piece& piece, int32_t time) override;
    bool WantsSound() const override { return procedure.IsSet() || movie.IsOpen(); }
    bool GoesOn() const override { return continues(); }

private:
    Result CallProcedure(Channel& channel, Address data, int64_t bytes, int32_t time, int64_t captureTime) const;

    SessionMovie& movie;
    std::function<bool()> continues;
};

} // namespace platform
