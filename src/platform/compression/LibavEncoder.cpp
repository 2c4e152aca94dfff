// SPDX-License-Identifier: MIT
#include "platform/compression/LibavEncoder.h"

#include "platform/log/Log.h"

namespace platform {

bool LibavEncoder::Open(const char* name, const AVFrame& picture, const Options& options,
                        const std::function<void(AVCodecContext&)>& configure)
{
    SilenceLibav();
    const AVCodec* codec = avcodec_find_encoder_by_name(name);
    context.reset(codec == nullptr ? nullptr : avcodec_alloc_context3(codec));
    if (!packet)
        packet.reset(av_packet_alloc());
    if (!context || !packet)
        return false;
    context->width = picture.width;
    context->height = picture.height;
    context->pix_fmt = static_cast<AVPixelFormat>(picture.format);
    context->colorspace = picture.colorspace;
    context->color_primaries = picture.color_primaries;
    context->color_trc = picture.color_trc;
    context->color_range = picture.color_range;
    context->thread_count = 1;
    configure(*context);
    AVDictionary* given = nullptr;
    for (const auto& [option, value] : options)
        av_dict_set(&given, option.c_str(), value.c_str(), 0);
    const int result = avcodec_open2(context.get(), codec, &given);
    av_dict_free(&given);
    next = 0;
    if (result < 0) {
        compressionLog.Warning(name, ": open: ", LibavErrorText(result));
        Close();
    }
    return result >= 0;
}

std::span<const uint8_t> LibavEncoder::Encode(AVFrame& picture, bool isKeyWanted)
{
    picture.pts = next++;
    picture.pict_type = isKeyWanted ? AV_PICTURE_TYPE_I : AV_PICTURE_TYPE_NONE;
    int result = avcodec_send_frame(context.get(), &picture);
    if (result >= 0)
        result = avcodec_receive_packet(context.get(), packet.get());
    if (result < 0) {
        compressionLog.Warning(context->codec->name, ": encode: ", LibavErrorText(result));
        Close();
        return {};
    }
    return {packet->data, static_cast<size_t>(packet->size)};
}

std::span<const uint8_t> LibavEncoder::Header() const
{
    return {context->extradata, static_cast<size_t>(context->extradata_size)};
}

} // namespace platform
