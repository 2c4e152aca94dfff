// SPDX-License-Identifier: MIT
#include "platform/compression/KeyFrames.h"

#include "platform/compression/NalUnits.h"

#include <atomic>

namespace platform {
namespace {

std::atomic<uint32_t> requests{0};

} // namespace

bool IsInterFrame(FourCharCode codec)
{
    return codec == CodeOf("avc1") || codec == CodeOf("hvc1");
}

bool IsKeyFrame(FourCharCode codec, std::span<const uint8_t> frame)
{
    if (!IsInterFrame(codec))
        return true;
    const NalCodec nalCodec = codec == CodeOf("avc1") ? NalCodec::H264 : NalCodec::Hevc;
    NalReader units(frame, NalFraming::Lengths);
    while (const auto unit = units.Next())
        if (const auto isKey = IsKeyPicture(nalCodec, *unit))
            return *isKey;
    return false;
}

void RequestKeyFrame()
{
    ++requests;
}

uint32_t KeyFrameRequests()
{
    return requests;
}

} // namespace platform
