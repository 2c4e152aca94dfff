// SPDX-License-Identifier: MIT
#include "record/FormatNames.h"

#include "record/NearestNames.h"

#include <algorithm>
#include <strings.h>

namespace velmora {
namespace {

using platform::CodeOf;
using platform::FourCharCode;

// Names of the formats in V4L2, GStreamer and FFmpeg.
constexpr NamedCode Alias(FourCharCode code, const char* name)
{
    return {code, name};
}

const std::vector<NamedCode>& Aliases()
{
    static const std::vector<NamedCode> aliases = {
        Alias(CodeOf("yuvs"), "YUYV"),  Alias(CodeOf("yuvs"), "YUY2"),   Alias(CodeOf("2vuy"), "UYVY"),
        Alias(CodeOf("jpeg"), "MJPG"),  Alias(CodeOf("jpeg"), "MJPEG"),  Alias(CodeOf("y420"), "I420"),
        Alias(CodeOf("y420"), "YU12"),  Alias(CodeOf("avc1"), "H264"),   Alias(CodeOf("hvc1"), "H265"),
        Alias(CodeOf("hvc1"), "HEVC"),  Alias(CodeOf("24RG"), "RGB3"),   Alias(CodeOf("24BG"), "BGR3"),
        Alias(CodeOf("grey"), "GRAY8"), Alias(CodeOf("apcn"), "ProRes"), Alias(CodeOf("dvc "), "DV"),
        Alias(CodeOf("raw "), "RGB"),   Alias(CodeOf("dvcp"), "DV"),     Alias(32, "BGRX"),
    };
    return aliases;
}

bool SameText(const std::string& a, const std::string& b)
{
    return strcasecmp(a.c_str(), b.c_str()) == 0;
}

} // namespace

std::string NameOfFormat(FourCharCode format)
{
    return platform::DescriptionOfPassThrough(format, 16, 16).name;
}

std::string ShownCode(FourCharCode code)
{
    if (code < 256)
        return std::to_string(code);
    std::string text = platform::TextOf(code);
    text.resize(text.find_last_not_of(' ') + 1);
    return text;
}

std::optional<FourCharCode> FindCode(const std::string& wanted, const std::vector<NamedCode>& known)
{
    const auto isMeant = [&](const NamedCode& one) {
        return SameText(wanted, ShownCode(one.code)) || SameText(wanted, one.name) ||
               std::ranges::any_of(Aliases(), [&](const NamedCode& alias) {
                   return alias.code == one.code && SameText(wanted, alias.name);
               });
    };
    const auto found = std::ranges::find_if(known, isMeant);
    return found == known.end() ? std::nullopt : std::optional(found->code);
}

std::string NearestCodes(const std::string& wanted, const std::vector<NamedCode>& known)
{
    std::vector<std::string> names;
    for (const NamedCode& one : known) {
        const std::string code = ShownCode(one.code);
        names.push_back(NameDistance(wanted, one.name) < NameDistance(wanted, code) ? one.name : code);
    }
    return DidYouMean(wanted, names);
}

std::vector<NamedCode> NamedCompressors()
{
    std::vector<NamedCode> names;
    for (const platform::CompressorName& compressor : platform::AvailableCompressors())
        names.push_back({compressor.codec, compressor.name});
    return names;
}

} // namespace velmora
