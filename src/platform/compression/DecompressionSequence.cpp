// Decompression sequences.
//
// A sequence is everything that one description needs to get onto one port, built once and used for each frame: the
// decoder, the transform, the block that a frame is decoded into before it is transformed. Which of these a sequence
// has is settled when it begins:
//
//   32-bit pixels                     no decoder; drawn from where they lie
//   anything else, upright, unscaled  decoded straight into the port when that has the picture's size
//   anything else                     decoded into the block, drawn from there
//
// A sequence whose frames fill a view of the port exactly draws them into the view from then on, wherever that goes.
//
// The port is only borrowed: its pixels are asked for again with each frame, since a window may have changed size or
// gone. A sequence is used by one thread at a time.
//
// Frames may change under a sequence: a camcorder's tape goes over from one television system to the other, a user
// chooses another compressor. Where the change is known, everything is settled anew, and the new frames fill the place
// of those that the sequence was begun for.
#include "platform/compression/DecompressionSequence.h"

#include "platform/compression/FrameDecoder.h"
#include "platform/compression/Matrix.h"
#include "platform/compression/PictureDrawing.h"
#include "platform/compression/RawPictures.h"
#include "platform/compression/ViewDrawing.h"
#include "platform/memory/ReferenceTable.h"

#include <cmath>
#include <utility>

namespace platform {
namespace {

constexpr int32_t kRowAlignment = 64;

struct Sides {
    int16_t top, left, bottom, right;
};

bool IsIdentity(const Transform& t)
{
    return t.a == 1 && t.b == 0 && t.c == 0 && t.d == 1 && t.tx == 0 && t.ty == 0;
}

class Sequence : public std::enable_shared_from_this<Sequence> {
public:
    Result Begin(const ImageDescription& newDescription, PortReference newPort, Address sourceRect, Address matrix)
    {
        description = newDescription;
        port = newPort;
        if (!ReadMatrix(matrix) || !ReadPart(sourceRect))
            return paramErr;
        onView.emplace(port, part, transform);
        return MakeDecoder();
    }

    /// Settles for frames of another description. A part of the image becomes the same part of the new one.
    Result Adapt(const ImageDescription& changed)
    {
        if (changed.codec == description.codec && changed.depth == description.depth &&
            changed.width == description.width && changed.height == description.height)
            return noErr;
        if (changed.width < 1 || changed.height < 1)
            return codecBadDataErr;
        const double across = double{1} * changed.width / description.width;
        const double down = double{1} * changed.height / description.height;
        transform.a /= across;
        transform.b /= across;
        transform.c /= down;
        transform.d /= down;
        const auto scaled = [](int32_t side, double by) { return static_cast<int32_t>(std::lround(side * by)); };
        part = {scaled(part.left, across), scaled(part.top, down), scaled(part.width, across),
                scaled(part.height, down)};
        description = changed;
        decoded = OwnedBlock();
        return MakeDecoder();
    }

    Result Show(std::span<const uint8_t> frame)
    {
        if (NeedsDecoder() && !decoder)
            return noCodecErr;
        const auto view = onView->Target();
        if (view && view->IsAlive())
            return ShowOn(*view, frame);
        const auto target = PixelsOfPort(port);
        if (!target)
            return paramErr;
        Transform mapping = transform;
        mapping.tx -= target->left;
        mapping.ty -= target->top;
        if (decoder && IsWhole() && IsIdentity(mapping) && target->width == description.width &&
            target->height == description.height) {
            const Result result = decoder->Decode(frame, *target);
            if (result == noErr)
                NotePortChanged(port, {0, 0, target->width, target->height});
            return result;
        }
        SourcePixels source;
        if (const Result result = ReadPicture(frame, source); result != noErr)
            return result;
        mapping.tx += mapping.a * part.left + mapping.c * part.top;
        mapping.ty += mapping.b * part.left + mapping.d * part.top;
        NotePortChanged(port, drawing.Draw(PartOf(source), mapping, *target));
        return noErr;
    }

private:
    Result ShowOn(View& view, std::span<const uint8_t> frame)
    {
        SourcePixels source;
        if (const Result result = ReadPicture(frame, source); result != noErr)
            return result;
        inPlace = decoder ? 0 : AddressOf(frame.data());
        DrawOn(view, source);
        return noErr;
    }

    void DrawOn(View& view, const SourcePixels& source)
    {
        const auto redraw = [weak = weak_from_this()] {
            const auto sequence = weak.lock();
            return sequence && sequence->Redraw();
        };
        onView->Draw(PartOf(source), ShapeOfFrame(part.width, part.height), view, drawing, redraw);
    }

    // Draws the newest picture again, from the block or from the port that it was drawn from.
    bool Redraw()
    {
        const auto view = onView->Target();
        SourcePixels source = SourceIn(decoded);
        if (!decoder) {
            const auto from = PixelsWithBase(inPlace);
            if (!from || from->width != description.width || from->height != description.height)
                return false;
            source = {from->pixels, from->rowBytes, from->width, from->height};
        }
        if (!view || source.pixels == nullptr)
            return false;
        DrawOn(*view, source);
        return true;
    }

    Result ReadPicture(std::span<const uint8_t> frame, SourcePixels& source)
    {
        return decoder ? DecodeAside(frame, source) : UseInPlace(frame, source);
    }

    Result MakeDecoder()
    {
        decoder = NeedsDecoder() ? FrameDecoder::Create(description) : nullptr;
        return NeedsDecoder() && !decoder ? noCodecErr : noErr;
    }

    bool NeedsDecoder() const { return LayoutOf(description) != kPixelFormat32; }

    bool ReadMatrix(Address matrix)
    {
        if (matrix != 0 && BytesAt(matrix, 36).empty())
            return false;
        transform = TransformAt(matrix);
        return true;
    }

    bool ReadPart(Address sourceRect)
    {
        part = {0, 0, description.width, description.height};
        if (sourceRect == 0)
            return true;
        if (BytesAt(sourceRect, sizeof(Sides)).empty())
            return false;
        const auto sides = Peek<Sides>(sourceRect);
        part = {sides.left, sides.top, sides.right - sides.left, sides.bottom - sides.top};
        return sides.left >= 0 && sides.top >= 0 && part.width > 0 && part.height > 0 &&
               sides.right <= description.width && sides.bottom <= description.height;
    }

    bool IsWhole() const { return part.width == description.width && part.height == description.height; }

    int32_t DecodedRowBytes() const
    {
        return (description.width * 4 + kRowAlignment - 1) / kRowAlignment * kRowAlignment;
    }

    SourcePixels SourceIn(const OwnedBlock& block) const
    {
        return {PointerAt<uint8_t>(block.Get()), DecodedRowBytes(), description.width, description.height};
    }

    Result DecodeAside(std::span<const uint8_t> frame, SourcePixels& source)
    {
        if (decoded.Get() == 0)
            decoded = OwnedBlock(int64_t{DecodedRowBytes()} * description.height);
        if (decoded.Get() == 0)
            return memFullErr;
        source = SourceIn(decoded);
        PortPixels pixels;
        pixels.pixels = PointerAt<uint8_t>(decoded.Get());
        pixels.rowBytes = source.rowBytes;
        pixels.width = source.width;
        pixels.height = source.height;
        return decoder->Decode(frame, pixels);
    }

    Result UseInPlace(std::span<const uint8_t> frame, SourcePixels& source) const
    {
        const auto picture =
            PictureIn(frame, kPixelFormat32, description.width, description.height, description.rowBytes);
        if (!picture)
            return codecBadDataErr;
        source = {picture->pixels, picture->rowBytes, picture->width, picture->height};
        return noErr;
    }

    SourcePixels PartOf(SourcePixels source) const
    {
        source.pixels += ptrdiff_t{part.top} * source.rowBytes + ptrdiff_t{part.left} * 4;
        source.width = part.width;
        source.height = part.height;
        return source;
    }

    ImageDescription description;
    PortReference port = 0;
    Transform transform;
    PortRect part;
    std::unique_ptr<FrameDecoder> decoder;
    OwnedBlock decoded;
    PictureDrawing drawing;
    std::optional<ViewDrawing> onView;
    Address inPlace = 0; ///< of the newest picture drawn from where it lay
};

ReferenceTable<Sequence>& Sequences()
{
    static auto* table = new ReferenceTable<Sequence>(kSequenceReference);
    return *table;
}

const FrameInHand*& InHand()
{
    static const FrameInHand* newest = nullptr;
    return newest;
}

} // namespace

FrameInHand::FrameInHand(Address frame, const ImageDescription& description, bool shown)
    : frame(frame), description(description), shown(shown), outer(std::exchange(InHand(), this))
{
}

FrameInHand::~FrameInHand()
{
    InHand() = outer;
}

const ImageDescription* DescriptionInHand(Address frame)
{
    const FrameInHand* newest = InHand();
    return newest != nullptr && newest->frame == frame ? &newest->description : nullptr;
}

// The picture goes through several sequences on its way to the screen, each with an address of its own.
bool IsShowingSkipped()
{
    return InHand() != nullptr && !InHand()->shown;
}

Result DecompressSequenceBeginS(Address sequence, Handle description, Address, int32_t, PortReference port, int32_t,
                                Address sourceRect, Address matrix, int16_t, int32_t, uint32_t, int32_t, int32_t)
{
    const auto record = HandleBytes(description);
    const auto target = PixelsOfPort(port);
    if (!Poke(sequence, int32_t{0}) || record.data() == nullptr || !target || target->format != kPixelFormat32)
        return paramErr;
    ImageDescription read;
    if (!ReadImageDescription(record, read))
        return codecBadDataErr;
    const auto begun = std::make_shared<Sequence>();
    if (const Result result = begun->Begin(read, port, sourceRect, matrix); result != noErr)
        return result;
    Poke(sequence, Sequences().Add(begun));
    return noErr;
}

Result DecompressSequenceFrameWhen(int32_t sequence, Address data, int32_t dataSize, int32_t, Address outFlags, int32_t,
                                   Address)
{
    const auto found = Sequences().Find(sequence);
    const auto frame = BytesAt(data, dataSize);
    if (!found || frame.empty() || (outFlags != 0 && !Poke(outFlags, int32_t{0})))
        return paramErr;
    if (IsShowingSkipped())
        return noErr;
    if (const ImageDescription* changed = DescriptionInHand(data))
        if (const Result result = found->Adapt(*changed); result != noErr)
            return result;
    return found->Show(frame);
}

Result CDSequenceEnd(int32_t sequence)
{
    return Sequences().Remove(sequence) ? noErr : paramErr;
}

} // namespace platform
