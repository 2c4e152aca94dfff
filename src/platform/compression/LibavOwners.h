// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libswscale/swscale.h>
}

namespace platform {

/// Releases what functions of libavcodec and libswscale have created.
struct LibavDeleter {
    /// Frees a codec context.
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
    /// Frees a packet.
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
    /// Frees a frame.
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    /// Releases a buffer.
    void operator()(AVBufferRef* buffer) const { av_buffer_unref(&buffer); }
    /// Frees a scaler.
    void operator()(SwsContext* scaler) const { sws_freeContext(scaler); }
};

using CodecContextOwner = std::unique_ptr<AVCodecContext, LibavDeleter>;
using PacketOwner = std::unique_ptr<AVPacket, LibavDeleter>;
using FrameOwner = std::unique_ptr<AVFrame, LibavDeleter>;
using BufferOwner = std::unique_ptr<AVBufferRef, LibavDeleter>;
using ScalerOwner = std::unique_ptr<SwsContext, LibavDeleter>;

/// Keeps the library from writing about each damaged frame to the terminal: results report these.
inline void SilenceLibav()
{
    av_log_set_level(AV_LOG_QUIET);
}

/// The library's text for an error number.
inline std::string LibavErrorText(int error)
{
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(error, text, sizeof text);
    return text;
}

} // namespace platform
