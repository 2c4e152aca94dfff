// SPDX-License-Identifier: MIT
// Decoding with libavcodec, for everything except JPEG and raw frames.
//
// One frame in gives one picture out: the context runs without frame threads and with low delay, so a codec that
// doesn't reorder returns a picture for each packet at once. If a codec does hold back a picture, the frame gives none,
// and the previous picture stays.
//
// The library reads some bytes past the end of a packet, so each frame is copied into a padded buffer of the decoder,
// which is reused from frame to frame.
#include "platform/compression/CodecDecoder.h"

#include "platform/compression/CodecTags.h"
#include "platform/compression/KeyFrames.h"
#include "platform/compression/LibavOwners.h"
#include "platform/compression/PictureConversion.h"
#include "platform/compression/VideoColors.h"
#include "platform/log/Log.h"

#include <cstring>

namespace platform {
namespace {

// The decoder configuration in a description's extensions: the content of an atom, or what the descriptors in "esds"
// contain.
class CodecSetUp {
public:
    explicit CodecSetUp(std::span<const uint8_t> extensions)
    {
        for (const FourCharCode type : {CodeOf("avcC"), CodeOf("hvcC"), CodeOf("glbl")})
            if (const auto content = FindAtom(extensions, type))
                bytes = *content;
        if (const auto content = FindAtom(extensions, CodeOf("esds")); content && content->size() > 4)
            ReadDescriptors(content->subspan(4));
    }

    std::span<const uint8_t> bytes;

private:
    // Descriptors nest: a tag, a length of up to four bytes of seven bits, fields of a known size, more descriptors.
    void ReadDescriptors(std::span<const uint8_t> at)
    {
        constexpr uint8_t kElementaryStream = 3, kDecoderConfiguration = 4, kDecoderSpecific = 5;
        while (at.size() >= 2) {
            const uint8_t tag = at[0];
            size_t length = 0, used = 1;
            bool more = true;
            while (more && used < 5 && used < at.size()) {
                length = length << 7 | (at[used] & 0x7F);
                more = (at[used++] & 0x80) != 0;
            }
            at = at.subspan(used);
            if (tag == kDecoderSpecific) {
                bytes = at.first(std::min(length, at.size()));
                return;
            }
            const size_t fields = tag == kElementaryStream ? 3 : tag == kDecoderConfiguration ? 13 : length;
            at = at.subspan(std::min(fields, at.size()));
        }
    }
};

class CodecDecoder : public FrameDecoder {
public:
    static std::unique_ptr<FrameDecoder> Make(const ImageDescription& description, AVCodecID codec)
    {
        auto decoder = std::make_unique<CodecDecoder>();
        return decoder->Open(description, codec) ? std::move(decoder) : nullptr;
    }

    Result Decode(std::span<const uint8_t> frame, const PortPixels& target) override
    {
        if (target.width != width || target.height != height)
            return paramErr;
        if (frame.empty() || !FillPacket(frame))
            return codecBadDataErr;
        if (const int sent = avcodec_send_packet(context.get(), packet.get()); sent < 0)
            return Refuse(sent);
        const int received = avcodec_receive_frame(context.get(), picture.get());
        if (received == AVERROR(EAGAIN))
            return codecConditionErr;
        if (received < 0)
            return Refuse(received);
        if (picture->width != width || picture->height != height)
            return codecSizeErr;
        if (isInterFrame && ((picture->flags & AV_FRAME_FLAG_CORRUPT) != 0 || picture->decode_error_flags != 0))
            return codecBadDataErr;
        return conversion.To32(*picture, target.pixels, target.rowBytes) ? noErr : codecErr;
    }

private:
    bool Open(const ImageDescription& description, AVCodecID codec)
    {
        SilenceLibav();
        const AVCodec* implementation = avcodec_find_decoder(codec);
        context.reset(avcodec_alloc_context3(implementation));
        packet.reset(av_packet_alloc());
        picture.reset(av_frame_alloc());
        if (implementation == nullptr || !context || !packet || !picture)
            return false;
        width = description.width;
        height = description.height;
        isInterFrame = IsInterFrame(description.codec);
        context->width = width;
        context->height = height;
        context->codec_tag = __builtin_bswap32(description.codec);
        context->bits_per_coded_sample = description.depth;
        context->thread_count = 1;
        context->flags |= AV_CODEC_FLAG_LOW_DELAY;
        context->err_recognition = 0;
        // What the description states applies where the frames state nothing.
        if (FindAtom(description.extensions, CodeOf("colr"))) {
            const VideoColors colors = ColorsIn(description);
            context->colorspace = static_cast<AVColorSpace>(colors.matrix);
            context->color_range = colors.isFullRange ? AVCOL_RANGE_JPEG : AVCOL_RANGE_UNSPECIFIED;
        }
        // A frame that claims a far larger size is rejected before memory is allocated for it. The margin is for codecs
        // that round sides up to blocks and add borders around the picture.
        constexpr int32_t kMargin = 512;
        context->max_pixels = int64_t{width + kMargin} * (height + kMargin);
        const CodecSetUp setUp(description.extensions);
        const int result =
            AddExtraData(setUp.bytes) ? avcodec_open2(context.get(), implementation, nullptr) : AVERROR(ENOMEM);
        if (result < 0)
            compressionLog.Warning(implementation->name, ": open: ", LibavErrorText(result));
        return result >= 0;
    }

    bool AddExtraData(std::span<const uint8_t> bytes)
    {
        if (bytes.empty())
            return true;
        context->extradata = static_cast<uint8_t*>(av_mallocz(bytes.size() + AV_INPUT_BUFFER_PADDING_SIZE));
        if (context->extradata == nullptr)
            return false;
        std::memcpy(context->extradata, bytes.data(), bytes.size());
        context->extradata_size = static_cast<int>(bytes.size());
        return true;
    }

    // The packet's buffer is reused unless the codec still holds the last frame's.
    bool FillPacket(std::span<const uint8_t> frame)
    {
        const size_t needed = frame.size() + AV_INPUT_BUFFER_PADDING_SIZE;
        if (!buffer || buffer->size < needed || av_buffer_is_writable(buffer.get()) == 0)
            buffer.reset(av_buffer_alloc(needed + needed / 4));
        if (!buffer)
            return false;
        std::memcpy(buffer->data, frame.data(), frame.size());
        std::memset(buffer->data + frame.size(), 0, AV_INPUT_BUFFER_PADDING_SIZE);
        av_packet_unref(packet.get());
        packet->buf = av_buffer_ref(buffer.get());
        packet->data = buffer->data;
        packet->size = static_cast<int>(frame.size());
        packet->flags = AV_PKT_FLAG_KEY;
        return packet->buf != nullptr;
    }

    // Discards the state left by a bad frame, so that it doesn't affect the next one.
    Result Refuse(int error)
    {
        compressionLog.Debug(context->codec->name, ": decode: ", LibavErrorText(error));
        av_packet_unref(packet.get());
        avcodec_flush_buffers(context.get());
        return codecBadDataErr;
    }

    CodecContextOwner context;
    PacketOwner packet;
    FrameOwner picture;
    BufferOwner buffer;
    PictureConversion conversion;
    int32_t width = 0;
    int32_t height = 0;
    bool isInterFrame = false; ///< damage spoils the frames after it: then nothing of it is shown
};

} // namespace

std::unique_ptr<FrameDecoder> MakeCodecDecoder(const ImageDescription& description)
{
    const CodecTag* tag = FindCodecTag(description.codec);
    return tag == nullptr ? nullptr : CodecDecoder::Make(description, tag->codec);
}

} // namespace platform
