#include "platform/compression/Matrix.h"

#include <gtest/gtest.h>

#include <array>
#include <functional>

using namespace platform;

namespace {

using Record = std::array<int32_t, 9>;
constexpr int32_t kOne = 65536;
constexpr int32_t kThirdOne = 1 << 30;

Record RecordOf(int32_t a, int32_t b, int32_t c, int32_t d, int32_t tx, int32_t ty)
{
    return {a, b, 0, c, d, 0, tx, ty, kThirdOne};
}

class Matrix : public testing::Test {
protected:
    void MapRects(std::array<int16_t, 4> from, std::array<int16_t, 4> to)
    {
        Poke(rects.Get(), from);
        Poke(rects.Get() + 8, to);
        RectMatrix(matrix.Get(), rects.Get(), rects.Get() + 8);
    }
    Record Value() const { return Peek<Record>(matrix.Get()); }

    OwnedBlock matrix{36};
    OwnedBlock rects{16};
};

} // namespace

TEST_F(Matrix, EachStepFollowsThoseBefore)
{
    const Address m = matrix.Get();
    const Fixed left = Long2Fix(16), top = Long2Fix(50), width = Long2Fix(320), height = Long2Fix(240);
    struct Case {
        const char* name;
        std::function<void()> steps;
        Record expected;
    };
    // The mapping before each: from 640x480 onto 320x240 at (16, 50).
    const int32_t half = kOne / 2;
    const std::vector<Case> cases = {
        {"alone", [] {}, RecordOf(half, 0, 0, half, left, top)},
        {"half a turn",
         [=] {
             RotateMatrix(m, Long2Fix(180), left, top);
             TranslateMatrix(m, width, height);
         },
         RecordOf(-half, 0, 0, -half, left + width, top + height)},
        {"a quarter", [=] { RotateMatrix(m, Long2Fix(90), left, top); }, RecordOf(0, half, -half, 0, left, top)},
        {"a quarter back", [=] { RotateMatrix(m, Long2Fix(-90), left, top); }, RecordOf(0, -half, half, 0, left, top)},
        {"full turns", [=] { RotateMatrix(m, Long2Fix(720), left, top); }, RecordOf(half, 0, 0, half, left, top)},
        {"mirrored",
         [=] {
             ScaleMatrix(m, -kOne, kOne, left, 0);
             TranslateMatrix(m, width, 0);
         },
         RecordOf(-half, 0, 0, half, left + width, top)},
        {"upside down",
         [=] {
             ScaleMatrix(m, kOne, -kOne, 0, top);
             TranslateMatrix(m, 0, height);
         },
         RecordOf(half, 0, 0, -half, left, top + height)},
        {"scaled about the origin", [=] { ScaleMatrix(m, 2 * kOne, 4 * kOne, 0, 0); },
         RecordOf(kOne, 0, 0, 2 * kOne, 2 * left, 4 * top)},
        {"an eighth of a turn about the origin", [=] { RotateMatrix(m, Long2Fix(45), 0, 0); },
         RecordOf(23170, 23170, -23170, 23170, X2Fix((16 - 50) * 0.70710678118), X2Fix((16 + 50) * 0.70710678118))},
        {"identity", [=] { SetIdentityMatrix(m); }, RecordOf(kOne, 0, 0, kOne, 0, 0)},
    };
    for (const Case& c : cases) {
        MapRects({0, 0, 480, 640}, {50, 16, 290, 336});
        c.steps();
        EXPECT_EQ(Value(), c.expected) << c.name;
    }
}

TEST_F(Matrix, RectanglesOfAnyPlaceAndBadOnes)
{
    MapRects({10, 20, 20, 50}, {0, 0, 10, 10});
    EXPECT_EQ(Value(), RecordOf(X2Fix(1.0 / 3), 0, 0, kOne, X2Fix(-20.0 / 3), Long2Fix(-10)));
    MapRects({0, 0, 0, 0}, {7, 9, 100, 100});
    EXPECT_EQ(Value(), RecordOf(kOne, 0, 0, kOne, Long2Fix(9), Long2Fix(7)));

    const Record before = Value();
    RectMatrix(matrix.Get(), 0, rects.Get());
    RectMatrix(matrix.Get(), rects.Get(), rects.Get() + 10);
    RotateMatrix(matrix.Get() + 1, kOne, 0, 0);
    ScaleMatrix(0, kOne, kOne, 0, 0);
    EXPECT_EQ(Value(), before);
    EXPECT_EQ(TransformAt(0).a, 1.0);
    EXPECT_EQ(TransformAt(matrix.Get()).tx, 9.0);
}
