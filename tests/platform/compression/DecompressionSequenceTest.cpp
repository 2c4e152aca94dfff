#include "platform/compression/DecompressionSequence.h"

#include "platform/compression/Matrix.h"
#include "platform/compression/PictureDrawing.h"
#include "platform/compression/Pictures.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>

using namespace platform;
using namespace pictures;

namespace {

constexpr int32_t kLeft = 20, kTop = 12;

// A picture port, a window port and the sequence between them, with the control's matrix.
class Sequence : public testing::Test {
protected:
    Sequence() { SetHandleBytes(description, RecordOf(DescriptionOfPassThrough(CodeOf("jpeg"), 64, 48))); }
    ~Sequence() override { DisposeHandle(description); }

    void DescribePort(const TestPort& port)
    {
        const OwnedBlock cell(4);
        Poke(cell.Get(), description);
        ASSERT_EQ(MakeImageDescriptionForPixMap(GetGWorldPixMap(port.Number()), cell.Get()), noErr);
    }

    Result Begin(PortReference port, Address matrixAddress = 0, Address sourceRect = 0)
    {
        Poke(number.Get(), 99);
        return DecompressSequenceBeginS(number.Get(), description, 0, 0, port, 0, sourceRect, matrixAddress, 0, 0, 0,
                                        kCodecNormalQuality, kBestSpeedCodec);
    }

    int32_t Number() const { return Peek<int32_t>(number.Get()); }

    Result Show(const OwnedBlock& frame, int64_t size = -1)
    {
        return DecompressSequenceFrameWhen(Number(), frame.Get(), static_cast<int32_t>(size < 0 ? frame.Size() : size),
                                           0, flags.Get(), 0, 0);
    }

    Result ShowPort(const TestPort& port)
    {
        const PixMapReference map = GetGWorldPixMap(port.Number());
        return DecompressSequenceFrameWhen(Number(), GetPixBaseAddr(map), port.Pixels().height * GetPixRowBytes(map), 0,
                                           flags.Get(), 0, 0);
    }

    OwnedBlock number{4}, flags{4}, matrix{36}, rects{16};
    Handle description = NewHandle(0);
};

OwnedBlock BlockWith(const std::vector<uint8_t>& bytes)
{
    OwnedBlock block(static_cast<int64_t>(bytes.size()));
    std::ranges::copy(bytes, block.Bytes().begin());
    return block;
}

void PaintQuarters(const TestPort& port)
{
    const auto pixels = port.Pixels();
    for (int32_t y = 0; y < pixels.height; ++y)
        for (int32_t x = 0; x < pixels.width; ++x)
            SetIn(pixels, x, y, QuarterColor(x, y, pixels.width, pixels.height));
}

// Waves that change slowly, so that half a pixel more or less makes little difference.
void PaintWaves(const TestPort& port)
{
    const auto pixels = port.Pixels();
    for (int32_t y = 0; y < pixels.height; ++y)
        for (int32_t x = 0; x < pixels.width; ++x) {
            const auto wave = [&](double a, double b) { return static_cast<int>(128 + 90 * std::sin(a * x + b * y)); };
            SetIn(pixels, x, y, {wave(0.04, 0.02), wave(-0.03, 0.05), wave(0.02, 0.03)});
        }
}

} // namespace

TEST_F(Sequence, FlipsAndTurnsPutEveryQuarterWhereItBelongsAndCoverTheRectangle)
{
    struct Case {
        const char* name;
        bool turn, mirror, upsideDown;
        std::array<Color, 4> expected; ///< in reading order
    };
    const Case cases[] = {
        {"as it is", false, false, false, {kRed, kGreen, kBlue, kWhite}},
        {"mirrored", false, true, false, {kGreen, kRed, kWhite, kBlue}},
        {"upside down", false, false, true, {kBlue, kWhite, kRed, kGreen}},
        {"both", false, true, true, {kWhite, kBlue, kGreen, kRed}},
        {"turned", true, false, false, {kWhite, kBlue, kGreen, kRed}},
        {"turned and mirrored", true, true, false, {kBlue, kWhite, kRed, kGreen}},
        {"turned and upside down", true, false, true, {kGreen, kRed, kWhite, kBlue}},
        {"all three", true, true, true, {kRed, kGreen, kBlue, kWhite}},
    };
    PortRect noted;
    const TestPort window(400, 300, [&](const PortRect& area) { noted = area; });
    for (const auto& [frameWidth, frameHeight] : {std::pair{64, 48}, std::pair{1023, 577}})
        for (const auto& [width, height] : {std::pair{64, 48}, std::pair{320, 240}, std::pair{33, 71}}) {
            const TestPort picture(frameWidth, frameHeight);
            PaintQuarters(picture);
            DescribePort(picture);
            for (const Case& c : cases) {
                const std::string name =
                    std::string(c.name) + " " + std::to_string(frameWidth) + " to " + std::to_string(width);
                const std::array<int16_t, 8> sides = {
                    0,    0,     static_cast<int16_t>(frameHeight),   static_cast<int16_t>(frameWidth),
                    kTop, kLeft, static_cast<int16_t>(kTop + height), static_cast<int16_t>(kLeft + width)};
                Poke(rects.Get(), sides);
                const Address m = matrix.Get();
                RectMatrix(m, rects.Get(), rects.Get() + 8);
                if (c.turn) {
                    RotateMatrix(m, Long2Fix(180), Long2Fix(kLeft), Long2Fix(kTop));
                    TranslateMatrix(m, Long2Fix(width), Long2Fix(height));
                }
                if (c.mirror) {
                    ScaleMatrix(m, Long2Fix(-1), Long2Fix(1), Long2Fix(kLeft), 0);
                    TranslateMatrix(m, Long2Fix(width), 0);
                }
                if (c.upsideDown) {
                    ScaleMatrix(m, Long2Fix(1), Long2Fix(-1), 0, Long2Fix(kTop));
                    TranslateMatrix(m, 0, Long2Fix(height));
                }
                window.Clear();
                ASSERT_EQ(Begin(window.Number(), m), noErr) << name;
                ASSERT_EQ(ShowPort(picture), noErr) << name;
                EXPECT_EQ(CDSequenceEnd(Number()), noErr);
                const auto centres = QuarterCentres(width, height);
                for (size_t i = 0; i < 4; ++i)
                    EXPECT_LE(Distance(window.ColorAt(kLeft + centres[i].x, kTop + centres[i].y), c.expected[i]), 3)
                        << name << i;
                const auto shown = window.Pixels();
                int32_t drawn = 0, inside = 0;
                for (int32_t y = 0; y < 300; ++y)
                    for (int32_t x = 0; x < 400; ++x) {
                        const bool isDrawn = ColorIn(shown, x, y) != Color{};
                        drawn += isDrawn ? 1 : 0;
                        inside += isDrawn && x >= kLeft && y >= kTop && x < kLeft + width && y < kTop + height;
                    }
                EXPECT_EQ(drawn, width * height) << name;
                EXPECT_EQ(inside, width * height) << name;
                EXPECT_EQ(noted.left, kLeft) << name;
                EXPECT_EQ(noted.height, height) << name;
            }
        }
}

TEST(PictureDrawing, QuarterTurnsMovePixelsExactly)
{
    const TestPort picture(30, 20), port(60, 60);
    PaintQuarters(picture);
    const auto from = picture.Pixels();
    const SourcePixels source{from.pixels, from.rowBytes, from.width, from.height};
    PictureDrawing drawing;
    for (const int quarter : {1, 3}) {
        port.Clear();
        Transform turn;
        turn.a = turn.d = 0;
        turn.b = quarter == 1 ? 1 : -1;
        turn.c = -turn.b;
        turn.tx = quarter == 1 ? 40 : 15;
        turn.ty = quarter == 1 ? 10 : 45;
        drawing.Draw(source, turn, port.Pixels());
        for (int32_t y = 0; y < 20; ++y)
            for (int32_t x = 0; x < 30; ++x) {
                const int32_t toX = quarter == 1 ? 39 - y : 15 + y;
                const int32_t toY = quarter == 1 ? 10 + x : 44 - x;
                ASSERT_EQ(port.ColorAt(toX, toY), picture.ColorAt(x, y)) << quarter << " " << x << "," << y;
            }
        EXPECT_EQ(port.ColorAt(quarter == 1 ? 40 : 14, 30), Color{});
        EXPECT_EQ(port.ColorAt(quarter == 1 ? 19 : 35, 30), Color{});
    }
}

// The quick roads and the sampler, which has one rule for all transforms, must agree on what is covered and closely
// on its colours, wherever the picture lies.
TEST(PictureDrawing, QuickRoadsAgreeWithTheSampler)
{
    const TestPort picture(120, 90), quick(160, 120), sampled(160, 120);
    PaintWaves(picture);
    const auto from = picture.Pixels();
    const SourcePixels source{from.pixels, from.rowBytes, from.width, from.height};
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
                ASSERT_EQ(PixelIn(quickly, x, y)[3] != 0, PixelIn(slowly, x, y)[3] != 0)
                    << round << " at " << x << "," << y;
                largest = std::max(largest, Distance(ColorIn(quickly, x, y), ColorIn(slowly, x, y)));
            }
        EXPECT_LE(largest, scaled ? 9 : 0) << round << ": " << width << "x" << height << " at " << left << "," << top;
    }
}

TEST(PictureDrawing, AnyTransformStaysWithinThePort)
{
    const TestPort picture(50, 40), port(64, 64);
    PaintWaves(picture);
    const auto from = picture.Pixels();
    const SourcePixels source{from.pixels, from.rowBytes, from.width, from.height};
    PictureDrawing drawing;
    std::mt19937 random(4);
    const double values[] = {0, 1, -1, 0.001, 30000, -30000, 0.7071, -0.3, 2.5, 1e-5};
    const auto pick = [&] { return values[random() % std::size(values)]; };
    for (int round = 0; round < 1000; ++round) {
        const Transform t{pick(), pick(), pick(), pick(), pick() * 20, pick() * 20};
        const PortRect touched = drawing.Draw(source, t, port.Pixels());
        EXPECT_TRUE(touched.left >= 0 && touched.top >= 0 && touched.width >= 0 && touched.height >= 0 &&
                    touched.left + touched.width <= 64 && touched.top + touched.height <= 64);
    }
}

// Stripes one pixel wide become an even grey, not stripes of another width.
TEST(PictureDrawing, ShrinkingAveragesInsteadOfSkipping)
{
    const TestPort picture(640, 480), port(200, 150);
    for (int32_t y = 0; y < 480; ++y)
        for (int32_t x = 0; x < 640; ++x)
            SetIn(picture.Pixels(), x, y, x % 2 == 0 ? Color{255, 255, 255} : Color{});
    const auto from = picture.Pixels();
    PictureDrawing drawing;
    drawing.Draw({from.pixels, from.rowBytes, 640, 480}, {200.0 / 640, 0, 0, 150.0 / 480, 0, 0}, port.Pixels());
    for (int32_t x = 0; x < 200; ++x)
        EXPECT_NEAR(port.ColorAt(x, 70).green, 128, 2) << x;
}

TEST_F(Sequence, CompressedFramesGoStraightOrThroughAMatrix)
{
    const OwnedBlock frame = BlockWith(QuartersJpeg(64, 48));
    int changes = 0;
    const TestPort same(64, 48, [&](const PortRect& area) { changes += area.width == 64 && area.height == 48; });
    ASSERT_EQ(Begin(same.Number()), noErr);
    Poke(flags.Get(), 77);
    ASSERT_EQ(Show(frame), noErr);
    EXPECT_EQ(Peek<int32_t>(flags.Get()), 0);
    EXPECT_EQ(changes, 1);
    EXPECT_LE(Distance(same.ColorAt(16, 12), kRed), 10);
    const int32_t first = Number();

    // A port of another size is clipped to, and a part of the image keeps its place.
    const TestPort other(100, 40);
    const std::array<int16_t, 4> right = {0, 32, 48, 64};
    Poke(rects.Get(), right);
    ASSERT_EQ(Begin(other.Number(), 0, rects.Get()), noErr);
    ASSERT_EQ(Show(frame), noErr);
    EXPECT_EQ(other.ColorAt(16, 12), Color{});
    EXPECT_LE(Distance(other.ColorAt(48, 12), kGreen), 10);
    EXPECT_EQ(other.ColorAt(70, 12), Color{});

    // After the first frame the address space stays as it is.
    const int64_t inUse = BytesInUse();
    for (int i = 0; i < 5; ++i)
        ASSERT_EQ(Show(frame), noErr);
    EXPECT_EQ(BytesInUse(), inUse);

    // A bad frame is refused and the next one shows.
    same.Clear();
    EXPECT_EQ(DecompressSequenceFrameWhen(first, frame.Get(), 60, 0, 0, 0, 0), codecBadDataErr);
    EXPECT_EQ(DecompressSequenceFrameWhen(first, frame.Get(), static_cast<int32_t>(frame.Size()), 0, 0, 0, 0), noErr);
    EXPECT_LE(Distance(same.ColorAt(16, 12), kRed), 10);
    EXPECT_EQ(CDSequenceEnd(first), noErr);
    EXPECT_EQ(CDSequenceEnd(first), paramErr);
    EXPECT_EQ(CDSequenceEnd(Number()), noErr);
}

TEST_F(Sequence, BadArgumentsGiveCodes)
{
    const TestPort port(64, 48);
    const OwnedBlock frame = BlockWith(QuartersJpeg(64, 48));
    const auto describe = [&](const char* codec, int32_t width, int32_t height) {
        SetHandleBytes(description, RecordOf(DescriptionOfPassThrough(CodeOf(codec), width, height)));
    };
    struct Case {
        const char* name;
        std::function<Result()> begin;
        Result result;
    };
    const std::array<int16_t, 4> outside = {0, 0, 48, 65};
    Poke(rects.Get(), outside);
    const std::vector<Case> cases = {
        {"dead port", [&] { return Begin(port.Number() + 1); }, paramErr},
        {"no port", [&] { return Begin(0); }, paramErr},
        {"matrix cut short", [&] { return Begin(port.Number(), matrix.Get() + 1); }, paramErr},
        {"part outside of the image", [&] { return Begin(port.Number(), 0, rects.Get()); }, paramErr},
        {"empty part", [&] { return Begin(port.Number(), 0, matrix.Get()); }, paramErr},
        {"unknown codec",
         [&] {
             describe("what", 64, 48);
             return Begin(port.Number());
         },
         noCodecErr},
        {"no size",
         [&] {
             describe("jpeg", 0, 48);
             return Begin(port.Number());
         },
         codecBadDataErr},
        {"enormous",
         [&] {
             describe("jpeg", 30000, 30000);
             return Begin(port.Number());
         },
         codecBadDataErr},
        {"empty handle",
         [&] {
             SetHandleSize(description, 0);
             return Begin(port.Number());
         },
         codecBadDataErr},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(c.begin(), c.result) << c.name;
        EXPECT_EQ(Number(), 0) << c.name;
    }
    const Handle dead = NewHandle(4);
    DisposeHandle(dead);
    EXPECT_EQ(DecompressSequenceBeginS(number.Get(), dead, 0, 0, port.Number(), 0, 0, 0, 0, 0, 0, 0, 0), paramErr);
    EXPECT_EQ(DecompressSequenceFrameWhen(0, frame.Get(), 10, 0, 0, 0, 0), paramErr);

    describe("jpeg", 64, 48);
    auto shortLived = std::make_unique<TestPort>(64, 48);
    ASSERT_EQ(Begin(shortLived->Number()), noErr);
    EXPECT_EQ(Show(frame, frame.Size() + 1), paramErr);
    EXPECT_EQ(Show(frame, 0), paramErr);
    ASSERT_TRUE(ResizePort(shortLived->Number(), 20, 20));
    EXPECT_EQ(Show(frame), noErr);
    EXPECT_LE(Distance(shortLived->ColorAt(16, 12), kRed), 10);
    shortLived.reset();
    EXPECT_EQ(Show(frame), paramErr);
    CDSequenceEnd(Number());

    DescribePort(port);
    ASSERT_EQ(Begin(port.Number()), noErr);
    EXPECT_EQ(Show(frame, 500), codecBadDataErr); // fewer pixels than described
    CDSequenceEnd(Number());
}
