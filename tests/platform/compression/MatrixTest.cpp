#include "platform/compression/Matrix.h"

#include <gtest/gtest.h>

#include <array>
#include <functional>

using namespace platform;

namespace {

using Record = std::array<int32_t, 9>;
constexpr int32_t kOne = 65536;

Record RecordOf(int32_t a, int32_t b, int32_t c, int32_t d, int32_t tx, int32_t ty)
{
    return {a, b, 0, c, d, 0, tx, ty, 1 << 30};
}

} // namespace

TEST(Matrix, EachStepFollowsThoseBefore)
{
    const OwnedBlock matrix(36), rects(16);
    Poke(rects.Get(), std::array<int16_t, 8>{0, 0, 480, 640, 50, 16, 290, 336});
    const Address m = matrix.Get();
    const Fixed left = Long2Fix(16), top = Long2Fix(50);
    const int32_t half = kOne / 2;
    const std::pair<std::function<void()>, Record> cases[] = {
        {[=] { RotateMatrix(m, Long2Fix(90), left, top); }, RecordOf(0, half, -half, 0, left, top)},
        {[=] { RotateMatrix(m, Long2Fix(-90), left, top); }, RecordOf(0, -half, half, 0, left, top)},
        {[=] { ScaleMatrix(m, -kOne, kOne, left, 0); }, RecordOf(-half, 0, 0, half, left, top)},
        {[=] { TranslateMatrix(m, 5, -7); }, RecordOf(half, 0, 0, half, left + 5, top - 7)},
        {[=] { RotateMatrix(m, Long2Fix(45), 0, 0); },
         RecordOf(23170, 23170, -23170, 23170, X2Fix((16 - 50) * 0.70710678118), X2Fix((16 + 50) * 0.70710678118))},
    };
    for (const auto& [step, expected] : cases) {
        RectMatrix(m, rects.Get(), rects.Get() + 8);
        step();
        EXPECT_EQ(Peek<Record>(m), expected);
    }
}
