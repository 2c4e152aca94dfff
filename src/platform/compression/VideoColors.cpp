// SPDX-License-Identifier: MIT
#include "platform/compression/VideoColors.h"

#include <libyuv.h>
#include <libyuv/row.h>

#include <algorithm>

namespace platform {
namespace {

constexpr FourCharCode kColorAtom = CodeOf("colr");
constexpr FourCharCode kWithoutRange = CodeOf("nclc");
constexpr FourCharCode kWithRange = CodeOf("nclx");

// Code points of matrices.
constexpr uint8_t kBt709 = 1, kBt601Pal = 5, kBt601 = 6, kSmpte240 = 7, kBt2020 = 9, kBt2020Constant = 10;

bool IsJpeg(FourCharCode codec)
{
    return codec == CodeOf("jpeg") || codec == CodeOf("mjpa") || codec == CodeOf("mjpb");
}

// The library limits the coefficient of blue, in units of 1/64, to 128. With the limited ranges of BT.709 and BT.2020
// it is larger. On x86 it is a byte without sign, so that the right one can be put in its place.
libyuv::YuvConstants WithBlue(libyuv::YuvConstants constants, [[maybe_unused]] uint8_t coefficient)
{
#if defined(__x86_64__) || defined(__i386__)
    constexpr uint8_t kLimit = 128;
    std::ranges::replace(constants.kUVToB, kLimit, coefficient);
#endif
    return constants;
}

// 2 * (1 - Kb) * 255 / 224, of Kb 0.0722 and 0.0593. The library loads them as whole vectors.
alignas(32) const libyuv::YuvConstants kLimited709 = WithBlue(libyuv::kYuvH709Constants, 135);
alignas(32) const libyuv::YuvConstants kLimited2020 = WithBlue(libyuv::kYuv2020Constants, 137);

} // namespace

bool HasMatrix601(const VideoColors& colors)
{
    return colors.matrix == kBt601 || colors.matrix == kBt601Pal;
}

VideoColors InLimited601(const VideoColors& colors)
{
    return {colors.primaries, colors.transfer, kBt601, false};
}

void AppendColors(ImageDescription& description, const VideoColors& colors)
{
    const bool statesRange = colors.isFullRange && !IsJpeg(description.codec);
    const FourCharCode type = statesRange ? kWithRange : kWithoutRange;
    std::vector<uint8_t> content;
    for (int shift = 24; shift >= 0; shift -= 8)
        content.push_back(static_cast<uint8_t>(type >> shift));
    for (const uint8_t code : {colors.primaries, colors.transfer, colors.matrix})
        content.insert(content.end(), {0, code});
    if (statesRange)
        content.push_back(0x80);
    AppendExtension(description, kColorAtom, content);
}

VideoColors ColorsIn(const ImageDescription& description)
{
    constexpr size_t kType = 4, kCodes = 6;
    const auto atom = FindAtom(description.extensions, kColorAtom);
    if (!atom || atom->size() < kType + kCodes)
        return {};
    const auto bytes = *atom;
    const FourCharCode type =
        FourCharCode{bytes[0]} << 24 | FourCharCode{bytes[1]} << 16 | FourCharCode{bytes[2]} << 8 | bytes[3];
    if (type != kWithoutRange && type != kWithRange)
        return {};
    const bool isFull = type == kWithRange && bytes.size() > kType + kCodes && (bytes[kType + kCodes] & 0x80) != 0;
    return {bytes[5], bytes[7], bytes[9], isFull};
}

const libyuv::YuvConstants& ConstantsOf(const VideoColors& colors)
{
    switch (colors.matrix) {
    case kBt709:
    case kSmpte240: // the nearest that the library has
        return colors.isFullRange ? libyuv::kYuvF709Constants : kLimited709;
    case kBt2020:
    case kBt2020Constant:
        return colors.isFullRange ? libyuv::kYuvV2020Constants : kLimited2020;
    default:
        return colors.isFullRange ? libyuv::kYuvJPEGConstants : libyuv::kYuvI601Constants;
    }
}

} // namespace platform
