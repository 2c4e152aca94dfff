// SPDX-License-Identifier: MIT
// Decompression sequences.
//
// A sequence contains everything needed to draw frames of one description into one port, created once and used for each
// frame: the decoder and the transform. A frame of 32-bit pixels is drawn directly. Any other is decoded into a picture
// first, here or ahead by a worker (`FrameInHand`). A picture that fits its port upright and unscaled is swapped with
// the port's pixels. All others are drawn.
//
// A sequence whose frames fill a view of the port exactly draws them into the view from then on, wherever that moves.
//
// A port may have only a reduced picture. Then that is drawn, and the port's own pixels are not read here.
//
// The port is only borrowed: its pixels are looked up again for each frame, since a window may have been resized or
// closed. A sequence is used by one thread at a time.
//
// Frames may change during a sequence: a camcorder's tape changes from one television system to the other, a user
// chooses another compressor. If the change is known, everything is set up again, and the new frames are shown in the
// place of the original ones, with bars if their aspect ratio differs.
#include "platform/compression/DecompressionSequence.h"

#include "platform/compression/Matrix.h"
#include "platform/compression/PictureDrawing.h"
#include "platform/compression/RawPictures.h"
#include "platform/compression/ReducingDecoder.h"
#include "platform/compression/ViewDrawing.h"
#include "platform/memory/ReferenceTable.h"

#include <cmath>
#include <utility>
#include <vector>

namespace platform {
namespace {

struct Sides {
    int16_t top, left, bottom, right;
};

bool IsIdentity(const Transform& t)
{
    return t.a == 1 && t.b == 0 && t.c == 0 && t.d == 1 && t.tx == 0 && t.ty == 0;
}

SourcePixels SourceOf(const PortPixels& pixels)
{
    return {pixels.pixels, pixels.rowBytes, pixels.width, pixels.height};
}

class Sequence final : public DecompressionSequence, public std::enable_shared_from_this<Sequence> {
public:
    Result Begin(const ImageDescription& newDescription, PortReference newPort, Address sourceRect, Address matrix)
    {
        description = newDescription;
        return ReadMatrix(matrix) && ReadPart(sourceRect) ? BeginOn(newPort) : paramErr;
    }

    Result Begin(const ImageDescription& newDescription, PortReference newPort, const Transform& mapping)
    {
        description = newDescription;
        transform = mapping;
        part = {0, 0, description.width, description.height};
        return BeginOn(newPort);
    }

    Result ShowFrame(Address data, int32_t dataSize) override
    {
        FrameInHand* known = FrameInHand::At(data);
        const bool isShown = known == nullptr || known->IsShown();
        const auto inPort = PictureWithBase(data);
        if (inPort && dataSize > 0 && dataSize <= inPort->bytes && DrawsFrom(*inPort))
            return isShown ? ShowPort(*inPort, data) : noErr;
        // What is shown instead is shown without reading the frame, whose bytes may not have been made.
        const bool hasOther = known != nullptr && !known->IsPictureAt(data) && !known->Instead().empty();
        const auto frame = hasOther ? known->Instead() : BytesAt(data, dataSize);
        if (frame.empty())
            return paramErr;
        if (known == nullptr || known->IsPictureAt(data))
            return isShown ? Show(data, frame) : noErr;
        Result result = isShown ? Adapt(known->Description()) : noErr;
        if (isShown && result == noErr)
            result = Show(data, frame);
        NotePictureOf(*known);
        return result;
    }

private:
    Result BeginOn(PortReference newPort)
    {
        const auto target = LayoutOfPort(newPort);
        if (!target || target->format != kPixelFormat32)
            return paramErr;
        port = newPort;
        begun = {description.width, description.height, part, transform};
        onView.emplace(port, part, transform);
        return MakeDecoder();
    }

    // Adapts to frames of another description. A part of the image becomes the same part of the new one.
    Result Adapt(const ImageDescription& changed)
    {
        if (IsDecodedAlike(changed, description))
            return noErr;
        if (changed.width < 1 || changed.height < 1)
            return codecBadDataErr;
        description = changed;
        part = Scaled(begun.part, double{1} * changed.width / begun.width, double{1} * changed.height / begun.height);
        FitIntoPlace();
        kept = nullptr;
        return MakeDecoder();
    }

    // Whether this sequence's frames are pixels like those of that port's picture, which then need not be read.
    bool DrawsFrom(const PortPicture& picture) const
    {
        return !NeedsDecoder() && picture.width == description.width && picture.height == description.height;
    }

    Result ShowPort(const PortPicture& picture, Address base)
    {
        kept = nullptr;
        inPlace = base;
        shownFrom = base;
        return Draw(SourceOf(picture.pixels));
    }

    // Tells the frame where its picture is, in this sequence's port.
    void NotePictureOf(FrameInHand& frame) const
    {
        if (const auto layout = LayoutOfPort(port))
            frame.NotePicture(AddressOf(layout->pixels));
    }

    Result Show(Address data, std::span<const uint8_t> frame)
    {
        shownFrom = data;
        if (!NeedsDecoder())
            return ShowInPlace(frame);
        if (!LayoutOfPort(port))
            return paramErr;
        std::unique_ptr<DecodedPicture> picture;
        if (FrameInHand* known = FrameInHand::At(data); known != nullptr && !known->IsPictureAt(data))
            picture = known->TakePicture(description.width, description.height);
        if (!picture)
            if (const Result result = decoder.Decode({nullptr, frame}, description, kWholeSize, picture);
                result != noErr)
                return result;
        if (GiveToPort(*picture))
            return noErr;
        kept = std::move(picture);
        inPlace = 0;
        return Draw(SourceOf(kept->picture.pixels));
    }

    Result ShowInPlace(std::span<const uint8_t> frame)
    {
        const auto picture =
            PictureIn(frame, kPixelFormat32, description.width, description.height, description.rowBytes);
        if (!picture)
            return codecBadDataErr;
        kept = nullptr;
        inPlace = 0;
        return Draw({picture->pixels, picture->rowBytes, picture->width, picture->height});
    }

    // Swaps the pixels if the picture fits the port upright and unscaled.
    bool GiveToPort(DecodedPicture& picture) const
    {
        const auto target = LayoutOfPort(port);
        if (onView->Target() || target->left != 0 || target->top != 0 || !IsIdentity(transform) || !IsWhole() ||
            target->width != description.width || target->height != description.height)
            return false;
        bool taken = false;
        if (picture.IsReduced())
            taken = TakeReducedPicture(port, std::move(picture.picture),
                                       [frame = picture.frame, image = picture.description](const PortPixels& whole) {
                                           return ReducingDecoder::DecodeWhole(frame, image, whole) == noErr;
                                       });
        else
            taken = ExchangePixels(port, picture.picture);
        if (taken)
            NotePortChanged(port, {0, 0, target->width, target->height});
        return taken;
    }

    Result Draw(const SourcePixels& source)
    {
        const auto view = onView->Target();
        if (view && view->IsAlive()) {
            DrawOn(*view, source);
            return noErr;
        }
        const auto target = PixelsOfPort(port);
        if (!target)
            return paramErr;
        if (std::exchange(placeIsStale, false))
            ClearPlace(*target);
        Transform mapping = transform;
        mapping.tx += mapping.a * part.left + mapping.c * part.top - target->left;
        mapping.ty += mapping.b * part.left + mapping.d * part.top - target->top;
        NoteShown(std::hypot(mapping.a, mapping.b), std::hypot(mapping.c, mapping.d));
        const double scaleX = double{1} * description.width / source.width;
        const double scaleY = double{1} * description.height / source.height;
        mapping.a *= scaleX;
        mapping.b *= scaleX;
        mapping.c *= scaleY;
        mapping.d *= scaleY;
        NotePortChanged(port, drawing.Draw(PartOf(source), mapping, *target));
        return noErr;
    }

    void DrawOn(View& view, const SourcePixels& source)
    {
        const auto redraw = [weak = weak_from_this()] {
            const auto sequence = weak.lock();
            return sequence && sequence->Redraw();
        };
        const PortRect place = onView->Draw(PartOf(source), Shape(), view, drawing, redraw);
        const ShownSize shown = SizeIn(place);
        NoteShown(double{1} * shown.width / part.width, double{1} * shown.height / part.height);
    }

    // The size of a place in a view along the picture's own rows.
    ShownSize SizeIn(const PortRect& place) const
    {
        return onView->IsTurned() ? ShownSize{place.height, place.width} : ShownSize{place.width, place.height};
    }

    // Stores the scales of the image's width and height.
    void NoteShown(double scaleX, double scaleY) const
    {
        const auto scaled = [](int32_t side, double scale) {
            return static_cast<int32_t>(std::clamp<long>(std::lround(side * scale), 1, INT16_MAX));
        };
        if (FrameInHand* known = FrameInHand::At(shownFrom))
            known->NoteShown({scaled(description.width, scaleX), scaled(description.height, scaleY)});
    }

    // Draws the newest picture again, from the copy kept here or the port from which it was drawn. If it is too small
    // for its new place it is decoded at full size.
    bool Redraw()
    {
        const auto view = onView->Target();
        if (!view)
            return false;
        const ShownSize shown = SizeIn(onView->PlaceOf(Shape(), *view));
        if (kept) {
            if (kept->IsReduced() && kept->picture.pixels.width < shown.width)
                decoder.Decode(kept->frame, description, kWholeSize, kept);
            DrawOn(*view, SourceOf(kept->picture.pixels));
            return true;
        }
        auto picture = PictureWithBase(inPlace);
        if (!picture || !DrawsFrom(*picture))
            return false;
        if (picture->pixels.width < std::min(shown.width, picture->width)) {
            BytesFrom(inPlace);
            picture = PictureWithBase(inPlace);
        }
        DrawOn(*view, SourceOf(picture->pixels));
        return true;
    }

    PictureShape Shape() const { return ShapeOfFrame(part.width, part.height); }

    Result MakeDecoder() { return NeedsDecoder() ? decoder.Prepare(description) : noErr; }

    // Maps the part to the centre of the original place, as large as its aspect ratio permits.
    void FitIntoPlace()
    {
        const PictureShape place = ShapeOfFrame(begun.part.width, begun.part.height);
        const PictureShape shape = Shape();
        const double fit = std::min(place.width / shape.width, place.height / shape.height);
        const double filledX = shape.width * fit / place.width;
        const double filledY = shape.height * fit / place.height;
        const double scaleX = filledX * begun.part.width / part.width;
        const double scaleY = filledY * begun.part.height / part.height;
        const double left = begun.part.left + begun.part.width * (1 - filledX) / 2 - part.left * scaleX;
        const double top = begun.part.top + begun.part.height * (1 - filledY) / 2 - part.top * scaleY;
        const Transform& t = begun.transform;
        transform = {t.a * scaleX,
                     t.b * scaleX,
                     t.c * scaleY,
                     t.d * scaleY,
                     t.a * left + t.c * top + t.tx,
                     t.b * left + t.d * top + t.ty};
        placeIsStale = true;
    }

    // Blackens what the previous frames may have left beside the present ones.
    void ClearPlace(const PortPixels& target) const
    {
        const PortRect& place = begun.part;
        const Transform& t = begun.transform;
        const double x = t.a * place.left + t.c * place.top + t.tx - target.left;
        const double y = t.b * place.left + t.d * place.top + t.ty - target.top;
        const double acrossX = t.a * place.width, acrossY = t.b * place.width;
        const double downX = t.c * place.height, downY = t.d * place.height;
        const auto [left, right] = std::minmax({x, x + acrossX, x + downX, x + acrossX + downX});
        const auto [top, bottom] = std::minmax({y, y + acrossY, y + downY, y + acrossY + downY});
        const auto rounded = [](double value) {
            return static_cast<int32_t>(std::clamp(std::round(value), -1e6, 1e6));
        };
        Blacken(target, {rounded(left), rounded(top), rounded(right) - rounded(left), rounded(bottom) - rounded(top)});
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

    static PortRect Scaled(const PortRect& rect, double scaleX, double scaleY)
    {
        const auto scaled = [](int32_t side, double by) { return static_cast<int32_t>(std::lround(side * by)); };
        return {scaled(rect.left, scaleX), scaled(rect.top, scaleY), std::max(scaled(rect.width, scaleX), 1),
                std::max(scaled(rect.height, scaleY), 1)};
    }

    // The sequence's part of a picture, which may be a reduced one.
    SourcePixels PartOf(SourcePixels source) const
    {
        if (IsWhole())
            return source;
        const PortRect inSource =
            Scaled(part, double{1} * source.width / description.width, double{1} * source.height / description.height);
        source.pixels += ptrdiff_t{inSource.top} * source.rowBytes + ptrdiff_t{inSource.left} * 4;
        source.width = std::min(inSource.width, source.width - inSource.left);
        source.height = std::min(inSource.height, source.height - inSource.top);
        return source;
    }

    ImageDescription description;
    PortReference port = 0;
    Transform transform;
    PortRect part;

    // As at the start of the sequence.
    struct {
        int32_t width, height;
        PortRect part;
        Transform transform;
    } begun{};

    bool placeIsStale = false; ///< frames of another aspect ratio may have left something in it
    ReducingDecoder decoder;
    std::unique_ptr<DecodedPicture> kept; ///< the newest drawn picture
    PictureDrawing drawing;
    std::optional<ViewDrawing> onView;
    Address inPlace = 0;   ///< base of the port from which the newest picture was drawn
    Address shownFrom = 0; ///< address of the last shown picture
};

ReferenceTable<Sequence>& Sequences()
{
    static auto* table = new ReferenceTable<Sequence>(kSequenceReference);
    return *table;
}

// The frames being delivered: at most one per session.
std::vector<FrameInHand*>& FramesInHand()
{
    static std::vector<FrameInHand*> frames;
    return frames;
}

} // namespace

FrameInHand::FrameInHand(Address frame, const ImageDescription& description, bool shown,
                         std::unique_ptr<DecodedPicture> picture)
    : frame(frame), description(&description), shown(shown), picture(std::move(picture))
{
    FramesInHand().push_back(this);
}

FrameInHand::~FrameInHand()
{
    std::erase(FramesInHand(), this);
}

void FrameInHand::ShowInstead(std::span<const uint8_t> other, const ImageDescription& itsDescription)
{
    instead = {AddressOf(other.data()), other};
    description = &itsDescription;
}

FrameInHand* FrameInHand::At(Address data)
{
    const auto isThere = [data](const FrameInHand* known) {
        return data != 0 && (data == known->frame || data == known->instead.start || known->IsPictureAt(data));
    };
    const auto found = std::ranges::find_if(FramesInHand(), isThere);
    return found == FramesInHand().end() ? nullptr : *found;
}

std::unique_ptr<DecodedPicture> FrameInHand::TakePicture(int32_t width, int32_t height)
{
    const bool fits = picture && picture->description.width == width && picture->description.height == height;
    return fits ? std::move(picture) : nullptr;
}

std::shared_ptr<DecompressionSequence> DecompressionSequence::Begin(const ImageDescription& image, PortReference port,
                                                                    const Transform& mapping, Result& result)
{
    auto sequence = std::make_shared<Sequence>();
    result = sequence->Begin(image, port, mapping);
    return result == noErr ? std::move(sequence) : nullptr;
}

Result DecompressSequenceBeginS(Address sequence, Handle description, Address, int32_t, PortReference port, int32_t,
                                Address sourceRect, Address matrix, int16_t, int32_t, uint32_t, int32_t, int32_t)
{
    const auto record = HandleBytes(description);
    const auto target = LayoutOfPort(port);
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
    if (!found || (outFlags != 0 && !Poke(outFlags, int32_t{0})))
        return paramErr;
    return found->ShowFrame(data, dataSize);
}

Result CDSequenceEnd(int32_t sequence)
{
    return Sequences().Remove(sequence) ? noErr : paramErr;
}

} // namespace platform
