// SPDX-License-Identifier: MIT
#include "platform/movies/PictureAtoms.h"

#include "platform/movies/ByteWriter.h"

#include <algorithm>

namespace platform {
namespace {

// Code points of ITU-T H.273, in the order of the atom.
struct Colours {
    uint16_t primaries;
    uint16_t transfer;
    uint16_t matrix;
};

// The colors of luma and chroma for which a camera reports none, the defaults of USB video: BT.709 with the matrix of
// BT.601. Tape is BT.601 throughout.
std::optional<Colours> ColoursOf(const ImageDescription& description)
{
    if (IsTapeFormat(description.codec))
        return Colours{static_cast<uint16_t>(description.height > 480 ? 5 : 6), 1, 6};
    switch (description.codec) {
    case CodeOf("jpeg"):
    case CodeOf("mjpa"):
    case CodeOf("mjpb"):
    case CodeOf("2vuy"):
    case CodeOf("yuvs"):
    case CodeOf("yuv2"):
    case CodeOf("yuvu"):
        return Colours{1, 1, 6};
    default:
        return {};
    }
}

// The source control pack of IEC 61834-4 (0x61), in the video auxiliary blocks of the frame's first DIF sequence, has
// the aspect ratio in the lowest bits of its third byte: 2 is 16:9, and so is 7 in frames of older equipment.
bool IsWideTapeFrame(std::span<const uint8_t> frame)
{
    constexpr size_t kBlockSize = 80;
    constexpr size_t kPackSize = 5;
    constexpr uint8_t kAuxiliarySection = 2;
    constexpr uint8_t kSourceControl = 0x61;
    for (size_t block = 3; block < 6 && (block + 1) * kBlockSize <= frame.size(); ++block) {
        const auto bytes = frame.subspan(block * kBlockSize, kBlockSize);
        if (bytes[0] >> 5 != kAuxiliarySection)
            continue;
        for (size_t pack = 3; pack + kPackSize <= kBlockSize; pack += kPackSize)
            if (bytes[pack] == kSourceControl) {
                const int shape = bytes[pack + 2] & 7;
                const bool olderEquipment = (frame[4] & 7) == 0;
                return shape == 2 || (shape == 7 && olderEquipment);
            }
    }
    return false;
}

// Pixels of BT.601, whose 720 columns are shown as 4:3 or 16:9.
PixelAspect PixelAspectOf(const ImageDescription& description, std::span<const uint8_t> sample)
{
    if (!IsTapeFormat(description.codec) || description.width != 720)
        return {};
    if (description.height > 480)
        return IsWideTapeFrame(sample) ? PixelAspect{64, 45} : PixelAspect{16, 15};
    return IsWideTapeFrame(sample) ? PixelAspect{32, 27} : PixelAspect{8, 9};
}

void PutColours(ByteWriter& out, const Colours& colours)
{
    const Box box(out, "colr");
    out.U32(CodeOf("nclc"));
    out.U16(colours.primaries);
    out.U16(colours.transfer);
    out.U16(colours.matrix);
}

void PutPixelAspect(ByteWriter& out, const PixelAspect& aspect)
{
    const Box box(out, "pasp");
    out.U32(aspect.horizontal);
    out.U32(aspect.vertical);
}

// Two fields, the lower one first.
void PutTapeFields(ByteWriter& out)
{
    const Box box(out, "fiel");
    out.U8(2);
    out.U8(6);
}

} // namespace

bool IsTapeFormat(FourCharCode codec)
{
    constexpr FourCharCode kFormats[] = {CodeOf("dvc "), CodeOf("dvcp"), CodeOf("dvpp"), CodeOf("dv5n"),
                                         CodeOf("dv5p")};
    return std::ranges::find(kFormats, codec) != std::end(kFormats);
}

void AddPictureAtoms(const ImageDescription& description, std::span<const uint8_t> sample,
                     std::vector<uint8_t>& fileForm)
{
    const auto present = std::span(fileForm).subspan(kImageDescriptionSize);
    ByteWriter added;
    const auto colours = ColoursOf(description);
    if (colours && !FindAtom(present, CodeOf("colr")))
        PutColours(added, *colours);
    if (IsTapeFormat(description.codec) && !FindAtom(present, CodeOf("fiel")))
        PutTapeFields(added);
    if (!FindAtom(present, CodeOf("pasp")))
        PutPixelAspect(added, PixelAspectOf(description, sample));
    ByteWriter whole;
    whole.Raw(fileForm);
    whole.Raw(added.Bytes());
    whole.SetU32(0, static_cast<uint32_t>(whole.Size()));
    fileForm.assign(whole.Bytes().begin(), whole.Bytes().end());
}

PixelAspect PixelAspectIn(std::span<const uint8_t> atoms)
{
    const auto content = FindAtom(atoms, CodeOf("pasp"));
    if (!content)
        return {};
    ByteReader bytes(*content);
    const PixelAspect aspect{bytes.U32(), bytes.U32()};
    return bytes.Failed() || aspect.horizontal == 0 || aspect.vertical == 0 ? PixelAspect{} : aspect;
}

} // namespace platform
