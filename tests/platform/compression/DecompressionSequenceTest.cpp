#include "platform/compression/DecompressionSequence.h"

#include "platform/compression/Matrix.h"
#include "platform/compression/PictureDrawing.h"
#include "platform/compression/Pictures.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <tuple>

using namespace platform;
using namespace pictures;

namespace {

constexpr int32_t kLeft = 20, kTop = 12;

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

    OwnedBlock number{4}, matrix{36}, rects{16};
    Handle description = NewHandle(0);
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

} // namespace

TEST_F(Sequence, FlipsAndTurnsPutEveryQuarterWhereItBelongsAndCoverTheRectangle)
{
    struct Case {
        bool turn, mirror, upsideDown;
        std::array<Color, 4> expected; ///< in reading order
    };
    const Case cases[] = {
        {false, false, false, {kRed, kGreen, kBlue, kWhite}}, {false, true, false, {kGreen, kRed, kWhite, kBlue}},
        {false, false, true, {kBlue, kWhite, kRed, kGreen}},  {true, false, false, {kWhite, kBlue, kGreen, kRed}},
        {true, true, false, {kBlue, kWhite, kRed, kGreen}},   {true, true, true, {kRed, kGreen, kBlue, kWhite}},
    };
    const TestPort window(400, 300);
    for (const auto& [frameWidth, frameHeight] : {std::pair<int16_t, int16_t>{64, 48}, {1023, 577}})
        for (const auto& [width, height] : {std::pair<int16_t, int16_t>{64, 48}, {320, 240}, {33, 71}}) {
            const TestPort picture(frameWidth, frameHeight);
            PaintQuarters(picture);
            const PixMapReference map = GetGWorldPixMap(picture.Number());
            Poke(number.Get(), description);
            ASSERT_EQ(MakeImageDescriptionForPixMap(map, number.Get()), noErr);
            for (const Case& c : cases) {
                SCOPED_TRACE(testing::Message()
                             << c.turn << c.mirror << c.upsideDown << " " << frameWidth << " to " << width);
                const Address m = matrix.Get();
                Poke(rects.Get(), std::array<int16_t, 4>{0, 0, frameHeight, frameWidth});
                Poke(rects.Get() + 8, std::array<int16_t, 4>{kTop, kLeft, static_cast<int16_t>(kTop + height),
                                                             static_cast<int16_t>(kLeft + width)});
                RectMatrix(m, rects.Get(), rects.Get() + 8);
                if (c.turn) {
                    RotateMatrix(m, Long2Fix(180), Long2Fix(kLeft), Long2Fix(kTop));
                    TranslateMatrix(m, Long2Fix(width), Long2Fix(height));
                }
                ScaleMatrix(m, Long2Fix(c.mirror ? -1 : 1), Long2Fix(c.upsideDown ? -1 : 1), Long2Fix(kLeft),
                            Long2Fix(kTop));
                TranslateMatrix(m, c.mirror ? Long2Fix(width) : 0, c.upsideDown ? Long2Fix(height) : 0);
                window.Clear();
                ASSERT_EQ(Begin(window.Number(), m), noErr);
                ASSERT_EQ(Show(GetPixBaseAddr(map), frameHeight * GetPixRowBytes(map)), noErr);
                EXPECT_EQ(CDSequenceEnd(Number()), noErr);
                const Color* corner = c.expected.data();
                for (const auto& [x, y] : QuarterCentres(width, height))
                    EXPECT_LE(Distance(window.ColorAt(kLeft + x, kTop + y), *corner++), 3) << x << "," << y;
                int wrong = 0;
                for (int32_t y = 0; y < 300; ++y)
                    for (int32_t x = 0; x < 400; ++x) {
                        const bool isInside = x >= kLeft && y >= kTop && x < kLeft + width && y < kTop + height;
                        wrong += (ColorIn(window.Pixels(), x, y) != Color{}) == isInside ? 0 : 1;
                    }
                EXPECT_EQ(wrong, 0) << "pixels left out or drawn outside";
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
    const OwnedBlock frame(static_cast<int64_t>(jpeg.size()));
    std::ranges::copy(jpeg, frame.Bytes().begin());
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

// A device may change its frames while a caller goes on with the sequence that it began: what the grabber tells about
// a frame is believed, and the picture keeps its place.
TEST_F(Sequence, ShowsFramesThatChangedUnderIt)
{
    const TestPort window(64, 48);
    ASSERT_EQ(Begin(window.Number()), noErr);
    const ImageDescription small = DescriptionOfPassThrough(CodeOf("raw "), 32, 24);
    const auto pixels = Quarters(kRGB24PixelFormat, 32, 24);
    const OwnedBlock frame(static_cast<int64_t>(pixels.size()));
    std::ranges::copy(pixels, frame.Bytes().begin());
    EXPECT_NE(Show(frame.Get(), frame.Bytes().size()), noErr); // no JPEG
    {
        const FrameInHand skipped(frame.Get(), small, false);
        EXPECT_EQ(Show(frame.Get(), frame.Bytes().size()), noErr);
        EXPECT_EQ(window.ColorAt(50, 40), Color{}) << "nothing is drawn of a frame that is not to be shown";
        EXPECT_EQ(Show(0, 4), paramErr);
    }
    for (int repeated = 0; repeated < 2; ++repeated) {
        const FrameInHand known(frame.Get(), small);
        EXPECT_EQ(Show(frame.Get(), frame.Bytes().size()), noErr);
        // Scaling loses up to a hundredth of the brightness.
        EXPECT_NEAR(window.ColorAt(50, 40).green, kWhite.green, 3);
        EXPECT_NEAR(window.ColorAt(10, 40).blue, kBlue.blue, 3);
        EXPECT_NEAR(window.ColorAt(10, 40).green, kBlue.green, 3);
    }
    ImageDescription unknown = small;
    unknown.codec = CodeOf("????");
    const FrameInHand known(frame.Get(), unknown);
    EXPECT_EQ(Show(frame.Get(), frame.Bytes().size()), noCodecErr);
    EXPECT_EQ(Show(frame.Get(), frame.Bytes().size()), noCodecErr);
}
