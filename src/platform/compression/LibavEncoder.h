// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/LibavOwners.h"

#include <functional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace platform {

/// One of libavcodec's encoders, in use for pictures of one size and format. It answers each frame at once.
class LibavEncoder {
public:
    using Options = std::vector<std::pair<std::string, std::string>>; ///< the encoder's own, by name

    /// Opens the encoder of that name for pictures like `picture` (size, format and colours set). `configure` may set
    /// further fields of the context. False where the encoder doesn't exist or refuses, on a machine without its
    /// hardware for instance.
    bool Open(const char* name, const AVFrame& picture, const Options& options,
              const std::function<void(AVCodecContext&)>& configure);

    /// Whether the encoder is open.
    bool IsOpen() const { return context != nullptr; }

    /// Encodes a picture; the bytes are borrowed until the next call. Empty, and the encoder closed, when that fails or
    /// gives no frame at once. `isKeyWanted` makes it a key frame.
    std::span<const uint8_t> Encode(AVFrame& picture, bool isKeyWanted = false);

    /// What a decoder needs besides the frames, known once the encoder is open; often empty.
    std::span<const uint8_t> Header() const;

    /// Closes the encoder.
    void Close() { context.reset(); }

private:
    CodecContextOwner context;
    PacketOwner packet;
    int64_t next = 0;
};

} // namespace platform
