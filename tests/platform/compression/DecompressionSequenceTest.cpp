// SPDX-License-Identifier: MIT
#include "platform/compression/DecompressionSequence.h"

#include "platform/compression/Matrix.h"
#include "platform/compression/PictureDrawing.h"
#include "platform/compression/Pictures.h"
#include "platform/compression/RawPictures.h"
#include "platform/compression/ViewDrawing.h"

#include <memory>
#include <random>
#include <tuple>

using namespace platform;
using namespace pictures;

namespace {

constexpr int32_t kLeft = 20, kTop = 12;
constexpr int kScalingLoss = 5; // of brightness, for each time that a picture is scaled, up to a hundredth

// A picture port, a window port and the sequence between them, with the control's matrix.
class Sequence : public testing::Test {
protected:
    Sequence() { SetHandleBytes(description, RecordOf(DescriptionOfPassThrough(CodeOf("jpeg"), 64, 48))); }
    ~Sequence() override { DisposeHandle(description); }

    Result Begin(PortReference port, Address matrixAddress = 0, Address sourceRect = 0)
    {
        return DecompressSequenceBeginS(number.Get(), description, 0, 0, port, 0, sourceRect, matrixAddress, 0, 0, 0,
                                        kCodecNormalQuality, kBestSpeedCodec);
    }

    int32_t Number() const { return Peek<int32_t>(number.Get()); }

    Result Show(Address frame, int64_t size)
    {
        return DecompressSequenceFrameWhen(Number(), frame, static_cast<int32_t>(size), 0, 0, 0, 0);
    }

    // Makes the matrix of the control: the frame onto a rectangle, turned over as wanted.
    void MapOnto(const PortRect& to, int32_t frameWidth, int32_t frameHeight, bool turn, bool mirror, bool upsideDown)
    {
        const Address m = matrix.Get();
        const auto poke = [](Address at, int32_t top, int32_t left, int32_t width, int32_t height) {
            Poke(at, std::array<int16_t, 4>{static_cast<int16_t>(top), static_cast<int16_t>(left),
                                            static_cast<int16_t>(top + height), static_cast<int16_t>(left + width)});
        };
        poke(rects.Get(), 0, 0, frameWidth, frameHeight);
        poke(rects.Get() + 8, to.top, to.left, to.width, to.height);
        RectMatrix(m, rects.Get(), rects.Get() + 8);
        if (turn) {
            RotateMatrix(m, Long2Fix(180), Long2Fix(to.left), Long2Fix(to.top));
            TranslateMatrix(m, Long2Fix(to.width), Long2Fix(to.height));
        }
        ScaleMatrix(m, Long2Fix(mirror ? -1 : 1), Long2Fix(upsideDown ? -1 : 1), Long2Fix(to.left), Long2Fix(to.top));
        TranslateMatrix(m, mirror ? Long2Fix(to.width) : 0, upsideDown ? Long2Fix(to.height) : 0);
    }

    OwnedBlock number{4}, matrix{36}, rects{16};
    Handle description = NewHandle(0);
};

struct TurnedOver {
    bool turn, mirror, upsideDown;
    std::array<Color, 4> expected; ///< in reading order
};

const TurnedOver kTurnedOver[] = {
    {false, false, false, {kRed, kGreen, kBlue, kWhite}}, {false, true, false, {kGreen, kRed, kWhite, kBlue}},
    {false, false, true, {kBlue, kWhite, kRed, kGreen}},  {true, false, false, {kWhite, kBlue, kGreen, kRed}},
    {true, true, false, {kBlue, kWhite, kRed, kGreen}},   {true, true, true, {kRed, kGreen, kBlue, kWhite}},
};

template <typename ColorAt> void Paint(const TestPort& port, ColorAt colorAt)
{
    const auto pixels = port.Pixels();
    for (int32_t y = 0; y < pixels.height; ++y)
        for (int32_t x = 0; x < pixels.width; ++x) {
            const Color color = colorAt(x, y);
            uint8_t* pixel = pixels.pixels + ptrdiff_t{y} * pixels.rowBytes + ptrdiff_t{x} * 4;
            for (const int value : {color.blue, color.green, color.red, 255})
                *pixel++ = static_cast<uint8_t>(value);
        }
}

void PaintQuarters(const TestPort& port)
{
    const int32_t width = port.Pixels().width, height = port.Pixels().height;
    Paint(port, [=](int32_t x, int32_t y) { return QuarterColor(x, y, width, height); });
}

SourcePixels SourceOf(const TestPort& port)
{
    const auto from = port.Pixels();
    return {from.pixels, from.rowBytes, from.width, from.height};
}

// The four quarters in the middle of a rectangle of pixels, and black around it.
void ExpectPicture(const PortPixels& pixels, const PortRect& place, const std::array<Color, 4>& expected,
                   int loss = kScalingLoss)
{
    const Color* corner = expected.data();
    for (const auto& [x, y] : QuarterCentres(place.width, place.height))
        EXPECT_LE(Distance(ColorIn(pixels, place.left + x, place.top + y), *corner++), loss) << x << "," << y;
    int wrong = 0;
    for (int32_t y = 0; y < pixels.height; ++y)
        for (int32_t x = 0; x < pixels.width; ++x) {
            const bool isInside =
                x >= place.left && y >= place.top && x < place.left + place.width && y < place.top + place.height;
            wrong += (ColorIn(pixels, x, y) != Color{}) == isInside ? 0 : 1;
        }
    EXPECT_EQ(wrong, 0) << "pixels without picture, or bars that are not black";
}

} // namespace

TEST_F(Sequence, FlipsAndTurnsPutEveryQuarterWhereItBelongsAndCoverTheRectangle)
{
    const TestPort window(400, 300);
    for (const auto& [frameWidth, frameHeight] : {std::pair<int16_t, int16_t>{64, 48}, {1023, 577}})
        for (const auto& [width, height] : {std::pair<int16_t, int16_t>{64, 48}, {320, 240}, {33, 71}}) {
            const TestPort picture(frameWidth, frameHeight);
            PaintQuarters(picture);
            const PixMapReference map = GetGWorldPixMap(picture.Number());
            Poke(number.Get(), description);
            ASSERT_EQ(MakeImageDescriptionForPixMap(map, number.Get()), noErr);
            for (const TurnedOver& c : kTurnedOver) {
                SCOPED_TRACE(testing::Message()
                             << c.turn << c.mirror << c.upsideDown << " " << frameWidth << " to " << width);
                MapOnto({kLeft, kTop, width, height}, frameWidth, frameHeight, c.turn, c.mirror, c.upsideDown);
                window.Clear();
                ASSERT_EQ(Begin(window.Number(), matrix.Get()), noErr);
                ASSERT_EQ(Show(GetPixBaseAddr(map), frameHeight * GetPixRowBytes(map)), noErr);
                EXPECT_EQ(CDSequenceEnd(Number()), noErr);
                ExpectPicture(window.Pixels(), {kLeft, kTop, width, height}, c.expected, 3);
            }
        }
}

// The quick roads and the sampler, which has one rule for all transforms, must agree on what is covered and closely
// on its colours, wherever the picture lies.
TEST(PictureDrawing, QuickRoadsAgreeWithTheSampler)
{
    const TestPort picture(120, 90), quick(160, 120), sampled(160, 120);
    // Waves that change slowly, so that half a pixel more or less makes little difference.
    Paint(picture, [](int32_t x, int32_t y) {
        const auto wave = [&](double a, double b) { return static_cast<int>(128 + 90 * std::sin(a * x + b * y)); };
        return Color{wave(0.04, 0.02), wave(-0.03, 0.05), wave(0.02, 0.03)};
    });
    const SourcePixels source = SourceOf(picture);
    PictureDrawing drawing;
    std::mt19937 random(3);
    const auto between = [&](int low, int high) { return low + static_cast<int>(random() % (high - low + 1U)); };
    for (int round = 0; round < 200; ++round) {
        const bool scaled = round % 4 != 0;
        const int width = scaled ? between(62, 400) : 120, height = scaled ? between(46, 300) : 90;
        const int left = between(-width, 160), top = between(-height, 120);
        Transform t;
        t.a = width / 120.0 * (round & 1 ? -1 : 1);
        t.d = height / 90.0 * (round & 2 ? -1 : 1);
        t.tx = left + (t.a < 0 ? width : 0);
        t.ty = top + (t.d < 0 ? height : 0);
        quick.Clear();
        sampled.Clear();
        const auto quickly = quick.Pixels(), slowly = sampled.Pixels();
        drawing.Draw(source, t, quickly);
        PictureDrawing::DrawSampled(source, t, slowly);
        int largest = 0;
        for (int32_t y = 0; y < 120; ++y)
            for (int32_t x = 0; x < 160; ++x) {
                ASSERT_EQ(ColorIn(quickly, x, y) != Color{}, ColorIn(slowly, x, y) != Color{})
                    << round << " at " << x << "," << y;
                largest = std::max(largest, Distance(ColorIn(quickly, x, y), ColorIn(slowly, x, y)));
            }
        EXPECT_LE(largest, scaled ? 9 : 0) << round << ": " << width << "x" << height << " at " << left << "," << top;
    }
}

TEST(PictureDrawing, AnyTransformStaysWithinThePort)
{
    const TestPort picture(50, 40), port(64, 64);
    PaintQuarters(picture);
    PictureDrawing drawing;
    std::mt19937 random(4);
    const double values[] = {0, 1, -1, 0.001, 30000, -30000, 0.7071, -0.3, 2.5, 1e-5};
    const auto pick = [&] { return values[random() % std::size(values)]; };
    for (int round = 0; round < 1000; ++round) {
        const Transform t{pick(), pick(), pick(), pick(), pick() * 20, pick() * 20};
        const PortRect touched = drawing.Draw(SourceOf(picture), t, port.Pixels());
        EXPECT_TRUE(touched.left >= 0 && touched.top >= 0 && touched.width >= 0 && touched.height >= 0 &&
                    touched.left + touched.width <= 64 && touched.top + touched.height <= 64);
    }
}

TEST_F(Sequence, CompressedFramesShowAndBadOnesHarmNotTheNext)
{
    const auto jpeg = QuartersJpeg(64, 48);
    const OwnedBlock frame = BlockOf(jpeg);
    const TestPort port(64, 48);
    ASSERT_EQ(Begin(port.Number()), noErr);
    EXPECT_EQ(Show(frame.Get(), 60), codecBadDataErr);
    for (const int64_t size : {frame.Size() + 1, int64_t{0}})
        EXPECT_EQ(Show(frame.Get(), size), paramErr);
    ASSERT_EQ(Show(frame.Get(), frame.Size()), noErr);
    EXPECT_LE(Distance(port.ColorAt(16, 12), kRed), 10);
    EXPECT_EQ(CDSequenceEnd(Number()), noErr);
    EXPECT_EQ(CDSequenceEnd(Number()), paramErr);
    EXPECT_EQ(Show(frame.Get(), frame.Size()), paramErr);

    // A part of the image keeps its place, and a port that shrinks or goes is no harm.
    auto other = std::make_unique<TestPort>(100, 40);
    Poke(rects.Get(), std::array<int16_t, 4>{0, 32, 48, 64});
    ASSERT_EQ(Begin(other->Number(), 0, rects.Get()), noErr);
    ASSERT_EQ(Show(frame.Get(), frame.Size()), noErr);
    EXPECT_EQ(other->ColorAt(16, 12), Color{});
    EXPECT_LE(Distance(other->ColorAt(48, 12), kGreen), 10);
    const int64_t inUse = BytesInUse();
    ASSERT_EQ(Show(frame.Get(), frame.Size()), noErr);
    EXPECT_EQ(BytesInUse(), inUse) << "the address space stays as it is after the first frame";
    ASSERT_TRUE(ResizePort(other->Number(), 20, 20));
    EXPECT_EQ(Show(frame.Get(), frame.Size()), noErr);
    other.reset();
    EXPECT_EQ(Show(frame.Get(), frame.Size()), paramErr);
    CDSequenceEnd(Number());
}

TEST_F(Sequence, BadArgumentsGiveCodes)
{
    const TestPort port(64, 48);
    EXPECT_EQ(Begin(port.Number() + 1), paramErr);
    EXPECT_EQ(Begin(port.Number(), matrix.Get() + 1), paramErr) << "cut short";
    for (const auto& [codec, size, result] :
         {std::tuple("what", 48, noCodecErr), {"jpeg", 0, codecBadDataErr}, {"jpeg", 30000, codecBadDataErr}}) {
        SetHandleBytes(description, RecordOf(DescriptionOfPassThrough(CodeOf(codec), size, size)));
        EXPECT_EQ(Begin(port.Number()), result) << codec << size;
    }
}

// A device may change its frames while a caller continues with its sequence: what the grabber reports about
// a frame is believed, and the picture keeps its place.
TEST_F(Sequence, ShowsFramesThatChangedUnderIt)
{
    const TestPort window(64, 48);
    ASSERT_EQ(Begin(window.Number()), noErr);
    const ImageDescription small = DescriptionOfPassThrough(CodeOf("raw "), 32, 24);
    const auto pixels = Quarters(kRGB24PixelFormat, 32, 24);
    const OwnedBlock frame = BlockOf(pixels);
    EXPECT_NE(Show(frame.Get(), frame.Size()), noErr); // no JPEG
    {
        const FrameInHand skipped(frame.Get(), small, false);
        EXPECT_EQ(Show(frame.Get(), frame.Size()), noErr);
        EXPECT_EQ(window.ColorAt(50, 40), Color{}) << "nothing is drawn of a frame that is not to be shown";
        EXPECT_EQ(Show(0, 4), paramErr);
    }
    for (int repeated = 0; repeated < 2; ++repeated) {
        const FrameInHand known(frame.Get(), small);
        EXPECT_EQ(Show(frame.Get(), frame.Size()), noErr);
        // Scaling loses up to a hundredth of the brightness.
        EXPECT_NEAR(window.ColorAt(50, 40).green, kWhite.green, 3);
        EXPECT_NEAR(window.ColorAt(10, 40).blue, kBlue.blue, 3);
        EXPECT_NEAR(window.ColorAt(10, 40).green, kBlue.green, 3);
    }
    ImageDescription unknown = small;
    unknown.codec = CodeOf("????");
    const FrameInHand known(frame.Get(), unknown);
    EXPECT_EQ(Show(frame.Get(), frame.Size()), noCodecErr);
    EXPECT_EQ(Show(frame.Get(), frame.Size()), noCodecErr);
}

// Frames of another shape keep theirs, in the place of the ones before; those that come back fill it again.
TEST_F(Sequence, FramesThatChangeTheirShapeAreNotSqueezed)
{
    const TestPort port(64, 48);
    ASSERT_EQ(Begin(port.Number()), noErr);
    struct Case {
        int32_t width, height;
        PortRect place;
    };
    for (const Case& c : {Case{128, 72, {0, 6, 64, 36}}, Case{48, 64, {14, 0, 36, 48}}, Case{128, 96, {0, 0, 64, 48}},
                          // Frames of standard television, whose pixels are not square, and one that is as wide.
                          Case{720, 480, {0, 0, 64, 48}}, Case{704, 486, {0, 0, 64, 48}},
                          Case{720, 576, {0, 0, 64, 48}}, Case{720, 960, {14, 0, 36, 48}}}) {
        SCOPED_TRACE(c.width);
        const ImageDescription image = DescriptionOfPassThrough(CodeOf("raw "), c.width, c.height);
        const auto pixels = Quarters(kRGB24PixelFormat, c.width, c.height);
        const OwnedBlock frame = BlockOf(pixels);
        const FrameInHand known(frame.Get(), image);
        ASSERT_EQ(Show(frame.Get(), frame.Size()), noErr);
        ExpectPicture(port.Pixels(), c.place, {kRed, kGreen, kBlue, kWhite});
    }
}

// Whatever fills a view when its sequence begins stays in it: through moves and changes of size without a new frame,
// in the frame's shape, at the screen's density, and in the port's own pixels as well.
TEST_F(Sequence, PicturesFollowTheirView)
{
    const PortRect start{kLeft, kTop, 128, 96};
    const std::pair<PortRect, double> steps[] = {
        // with their densities
        {start, 1},        {{kLeft, kTop, 128, 96}, 2}, {{5, 40, 300, 96}, 1.5}, {{5, 40, 32, 200}, 1},
        {{0, 0, 1, 1}, 2}, {{0, 0, 0, 50}, 1},          {{7, 9, 160, 120}, 1}};
    for (const auto& [frameWidth, frameHeight] : {std::pair<int16_t, int16_t>{64, 48}, {320, 180}})
        for (const TurnedOver& c : kTurnedOver) {
            const TestPort window(400, 300);
            auto picture = std::make_unique<TestPort>(frameWidth, frameHeight);
            PaintQuarters(*picture);
            const auto view = View::Register(window.Number(), {});
            view->Update(start, 1);
            const PixMapReference map = GetGWorldPixMap(picture->Number());
            Poke(number.Get(), description);
            ASSERT_EQ(MakeImageDescriptionForPixMap(map, number.Get()), noErr);
            MapOnto(start, frameWidth, frameHeight, c.turn, c.mirror, c.upsideDown);
            ASSERT_EQ(Begin(window.Number(), matrix.Get()), noErr);
            ASSERT_EQ(Show(GetPixBaseAddr(map), frameHeight * GetPixRowBytes(map)), noErr);
            for (const auto& [area, density] : steps) {
                SCOPED_TRACE(testing::Message() << c.turn << c.mirror << c.upsideDown << " " << frameWidth << " in "
                                                << area.width << "x" << area.height << "*" << density);
                if (area.left == 7)
                    picture.reset(); // then the old pixels are all that is left
                view->Update(area, density);
                EXPECT_TRUE(view->ShowsPicture());
                EXPECT_EQ(view->Pixels().width, area.width * density);
                if (area.width < 2 || !picture)
                    continue;
                const double scale = std::min(view->Pixels().width / double{1.0 * frameWidth},
                                              view->Pixels().height / double{1.0 * frameHeight});
                const auto width = static_cast<int32_t>(std::lround(frameWidth * scale));
                const auto height = static_cast<int32_t>(std::lround(frameHeight * scale));
                const PortRect place = view->PlaceFor(ShapeOfFrame(frameWidth, frameHeight));
                EXPECT_EQ(place.width, width);
                EXPECT_EQ(place.height, height);
                EXPECT_EQ(place.left, (view->Pixels().width - width) / 2);
                ExpectPicture(view->Pixels(), place, c.expected);
                const auto whole = window.Pixels();
                EXPECT_LE(Distance(ColorIn(whole, area.left + area.width / 2 - 2, area.top + area.height / 2 - 2),
                                   c.expected[0]),
                          kScalingLoss);
            }
            EXPECT_EQ(CDSequenceEnd(Number()), noErr);
        }
}

TEST_F(Sequence, AViewOfAClosedWindowIsRefusedAndAnotherRectangleIsNotTheViews)
{
    const auto pixels = Quarters(kPixelFormat32, 64, 48);
    const OwnedBlock frame = BlockOf(pixels);
    SetHandleBytes(description, RecordOf(DescriptionOfLayout(kPixelFormat32, 64, 48)));
    auto window = std::make_unique<TestPort>(200, 150);
    int changes = 0;
    const auto view = View::Register(window->Number(), [&] { ++changes; });
    view->Update({10, 10, 64, 48}, 2);
    for (const int32_t left : {10, 20}) {
        MapOnto({left, 10, 64, 48}, 64, 48, false, false, false);
        ASSERT_EQ(Begin(window->Number(), matrix.Get()), noErr);
        ASSERT_EQ(Show(frame.Get(), frame.Size()), noErr);
        // What is drawn beside the view shows in the part of it that it covers.
        EXPECT_LE(Distance(ColorIn(view->Pixels(), 2 * (left - 10) + 16, 12), kRed), kScalingLoss);
        EXPECT_LE(Distance(window->ColorAt(left + 16, 22), kRed), kScalingLoss);
    }
    EXPECT_EQ(changes, 2);
    EXPECT_LE(Distance(ColorIn(view->Pixels(), 4, 12), kRed), kScalingLoss) << "the rest stays";
    MapOnto({10, 10, 64, 48}, 64, 48, false, false, false);
    ASSERT_EQ(Begin(window->Number(), matrix.Get()), noErr);
    window.reset();
    EXPECT_EQ(Show(frame.Get(), frame.Size()), paramErr);
    view->Update({0, 0, 30, 30}, 1);
    EXPECT_EQ(View::Register(1, {}), nullptr);
}
