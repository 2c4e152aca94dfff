// SPDX-License-Identifier: MIT
// Grabbing a still picture: decodes the newest frame on request.
#include "platform/compression/FrameDecoder.h"
#include "platform/grabber/ChannelOperation.h"
#include "platform/grabber/Session.h"
#include "platform/memory/Handles.h"

#include <libyuv/scale_argb.h>

namespace platform {
namespace {

constexpr int32_t kBytesPerPixel = 4;
constexpr int32_t kMaxPixels = 16384 * 8192;

// A decoded frame with packed rows.
struct Pixels {
    SampleData data;
    int32_t width = 0;
    int32_t height = 0;
};

Result Decode(const Sample& frame, Pixels& decoded)
{
    const ImageDescription& image = frame.ShownDescription()->image;
    const auto decoder = FrameDecoder::Create(image);
    if (!decoder)
        return noCodecErr;
    decoded.data = SampleData(OwnedBlock(int64_t{kBytesPerPixel} * image.width * image.height));
    if (decoded.data.Size() == 0)
        return memFullErr;
    decoded.width = image.width;
    decoded.height = image.height;
    return decoder->Decode(frame.Shown().Bytes(), {.pixels = decoded.data.Bytes().data(),
                                                   .rowBytes = kBytesPerPixel * image.width,
                                                   .width = image.width,
                                                   .height = image.height});
}

// A picture: the description, then the packed pixels.
Handle MakePicture(const Pixels& source, int32_t width, int32_t height)
{
    ImageDescription description;
    description.codec = CodeOf("raw ");
    description.width = width;
    description.height = height;
    description.depth = 32;
    const auto record = RecordOf(description);
    const auto head = static_cast<int32_t>(record.size());
    const Handle picture = NewHandle(head + kBytesPerPixel * width * height);
    const auto bytes = HandleBytes(picture);
    if (bytes.empty())
        return 0;
    __builtin_memcpy(bytes.data(), record.data(), record.size());
    libyuv::ARGBScale(source.data.Bytes().data(), kBytesPerPixel * source.width, source.width, source.height,
                      bytes.data() + head, kBytesPerPixel * width, width, height, libyuv::kFilterBox);
    return picture;
}

const Sample* NewestFrame(const Session& session)
{
    for (const auto& channel : session.Channels())
        if (const auto* video = dynamic_cast<const VideoChannel*>(channel.get()))
            if (video->newest.description)
                return &video->newest;
    return nullptr;
}

} // namespace

Result SGGrabPict(SGComponent session, Address picture, Address bounds, [[maybe_unused]] int16_t offscreenDepth,
                  [[maybe_unused]] int32_t flags)
{
    const auto found = FindSession(session);
    if (!found)
        return badComponentInstance;
    const auto size = Peek<Bounds>(bounds);
    if (!Poke<Handle>(picture, 0) || size.Empty() || int64_t{size.Width()} * size.Height() > kMaxPixels)
        return paramErr;
    const Sample* frame = NewestFrame(*found);
    if (!frame)
        return seqGrabInfoNotAvailable;
    Pixels decoded;
    if (const Result result = Decode(*frame, decoded); result != noErr)
        return result;
    const Handle made = MakePicture(decoded, size.Width(), size.Height());
    if (made == 0)
        return memFullErr;
    Poke(picture, made);
    return noErr;
}

} // namespace platform
