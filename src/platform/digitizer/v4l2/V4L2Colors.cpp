// SPDX-License-Identifier: MIT
#include "platform/digitizer/v4l2/V4L2Colors.h"

#include "platform/digitizer/v4l2/V4L2Pictures.h"

#include <algorithm>

namespace platform {
namespace {

// A kernel's number and its code point in ITU-T H.273.
struct Meaning {
    uint32_t number;
    uint8_t code;
};

constexpr uint8_t kUnspecified = 2;

constexpr Meaning kPrimaries[] = {
    {V4L2_COLORSPACE_SMPTE170M, 6},      {V4L2_COLORSPACE_SMPTE240M, 7},        {V4L2_COLORSPACE_REC709, 1},
    {V4L2_COLORSPACE_470_SYSTEM_M, 4},   {V4L2_COLORSPACE_470_SYSTEM_BG, 5},    {V4L2_COLORSPACE_JPEG, 1},
    {V4L2_COLORSPACE_SRGB, 1},           {V4L2_COLORSPACE_OPRGB, kUnspecified}, {V4L2_COLORSPACE_BT2020, 9},
    {V4L2_COLORSPACE_RAW, kUnspecified}, {V4L2_COLORSPACE_DCI_P3, 11},
};

constexpr Meaning kTransfers[] = {
    {V4L2_XFER_FUNC_709, 1},        {V4L2_XFER_FUNC_SRGB, 13}, {V4L2_XFER_FUNC_OPRGB, kUnspecified},
    {V4L2_XFER_FUNC_SMPTE240M, 7},  {V4L2_XFER_FUNC_NONE, 8},  {V4L2_XFER_FUNC_DCI_P3, 17},
    {V4L2_XFER_FUNC_SMPTE2084, 16},
};

// The two for extended gamut only differ from the others outside of the range.
constexpr Meaning kMatrices[] = {
    {V4L2_YCBCR_ENC_601, 6},       {V4L2_YCBCR_ENC_709, 1},    {V4L2_YCBCR_ENC_XV601, 6},
    {V4L2_YCBCR_ENC_XV709, 1},     {V4L2_YCBCR_ENC_BT2020, 9}, {V4L2_YCBCR_ENC_BT2020_CONST_LUM, 10},
    {V4L2_YCBCR_ENC_SMPTE240M, 7},
};

template <size_t size> const Meaning* Find(const Meaning (&meanings)[size], uint32_t number)
{
    const auto* found = std::ranges::find(meanings, number, &Meaning::number);
    return found == std::end(meanings) ? nullptr : found;
}

// The number reported by the driver, or else the kernel's default for it, which is in the list.
template <size_t size> Meaning FindOr(const Meaning (&meanings)[size], uint32_t number, uint32_t standard)
{
    const Meaning* found = Find(meanings, number);
    return found != nullptr ? *found : *Find(meanings, standard);
}

} // namespace

VideoColors ColorsOfLayout(const V4L2Layout& layout)
{
    const bool isTelevision = V4L2_FIELD_HAS_BOTH(layout.field) || IsFieldByField(layout.field);
    const Meaning primaries = FindOr(kPrimaries, layout.colorspace, V4L2_MAP_COLORSPACE_DEFAULT(isTelevision, false));
    const uint32_t space = primaries.number;
    const Meaning transfer = FindOr(kTransfers, layout.transfer, V4L2_MAP_XFER_FUNC_DEFAULT(space));
    const Meaning matrix = FindOr(kMatrices, layout.encoding, V4L2_MAP_YCBCR_ENC_DEFAULT(space));
    if (FormatOfPixelFormat(layout.pixelFormat) == CodeOf("jpeg"))
        return {primaries.code, transfer.code, 6, true};
    const bool isStated =
        layout.quantization == V4L2_QUANTIZATION_LIM_RANGE || layout.quantization == V4L2_QUANTIZATION_FULL_RANGE;
    const uint32_t standard = V4L2_MAP_QUANTIZATION_DEFAULT(false, space, matrix.number);
    const uint32_t range = isStated ? layout.quantization : standard;
    return {primaries.code, transfer.code, matrix.code, range == V4L2_QUANTIZATION_FULL_RANGE};
}

} // namespace platform
