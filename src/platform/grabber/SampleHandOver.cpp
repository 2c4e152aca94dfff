// SPDX-License-Identifier: MIT
// A frame is written before it is shown. What is known of it (its description, the picture that a worker has decoded)
// is attached to its bytes while the data procedure runs, where the procedure's decompression sequences find it.
#include "platform/grabber/SampleHandOver.h"

#include "platform/compression/DecompressionSequence.h"
#include "platform/digitizer/FrameTrace.h"
#include "platform/movies/CaptureInHand.h"

namespace platform {

Result SampleHandOver::TakeFrame(VideoChannel& channel, Sample frame, int32_t time, bool shown)
{
    if (!channel.ProvideBytes(frame, movie.IsOpen() || IsAnyMediaOpen()))
        return noErr;
    movie.AddFrame(frame);
    bool inTime = shown;
    auto picture = channel.TakePicture(frame, inTime);
    if (shown && !inTime)
        channel.CountNotShown();
    FrameInHand known(frame.data.Start(), frame.description->image, inTime, std::move(picture));
    if (frame.sentDescription)
        known.ShowInstead(frame.sent.Bytes(), frame.sentDescription->image);
    const Result result = CallProcedure(channel, frame.data.Start(), frame.data.Size(), time, frame.captureTime);
    if (shown && (channel.usage & seqGrabPlayDuringRecord) != 0)
        channel.DrawPreview(frame, port);
    if (inTime)
        channel.NoteShown(known.Shown());
    const bool isDrawn = known.Shown().width > 0;
    TraceHandOver(frame.stampedTime, !inTime ? HandOver::Skipped : isDrawn ? HandOver::Shown : HandOver::NotDrawn);
    channel.newest = std::move(frame);
    return result;
}

Result SampleHandOver::TakeSound(SoundChannel& channel, const SoundStream::Piece& piece, int32_t time)
{
    movie.AddSound(piece);
    const Result result = CallProcedure(channel, piece.data, piece.bytes, time, piece.captureTime);
    if (channel.FormatIsFixed())
        channel.HoldRate(piece.description->sampleRate);
    return result;
}

Result SampleHandOver::CallProcedure(Channel& channel, Address data, int64_t bytes, int32_t time,
                                     int64_t captureTime) const
{
    const CaptureInHand captured(channel.type, captureTime);
    const Result result = intoMovieOnly ? noErr : procedure.Call(channel.number, data, bytes, time);
    channel.feeds = captured.AddedTo();
    return result;
}

} // namespace platform
