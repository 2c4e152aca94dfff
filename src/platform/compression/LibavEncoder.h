// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/LibavOwners.h"

#include <functional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace platform {

/// One of libavcodec's encoders, opened for pictures of one size and format. It returns each frame at once.
class LibavEncoder {
public:
    using Options = std::vector<std::pair<std::string, std::string>>; ///< the encoder's own, by name

    /// Opens the encoder of that name for pictures like `picture` (size, format and colours set). `configure` may set
    /// further fields of the context. Returns false if the encoder doesn't exist or rejects them, for instance on a
    /// machine without its hardware.
    bool Open(const char* name, const AVFrame& picture, const Options& options,
              const std::function<void(AVCodecContext&)>& configure);

    /// Whether the encoder is open.
    bool IsOpen() const { return context != nullptr; }

    /// Encodes a picture; the bytes are valid until the next call. Empty, and the encoder closed, if that fails or
    /// returns no frame at once. `isKeyWanted` makes it a key frame.
    std::span<const uint8_t> Encode(AVFrame& picture, bool isKeyWanted = false);

    /// The configuration that a decoder needs besides the frames, known once the encoder is open; often empty.
    std::span<const uint8_t> Header() const;

    /// Closes the encoder.
    void Close() { context.reset(); }

private:
    CodecContextOwner context;
    PacketOwner packet;
    int64_t next = 0;
};

} // namespace platform
