// SPDX-License-Identifier: MIT
#include "platform/compression/Matrix.h"

#include <array>
#include <cmath>
#include <numbers>
#include <optional>

namespace platform {
namespace {

constexpr double kFixedOne = 65536.0;
constexpr int32_t kThirdColumnOne = 1 << 30;

// The record: a b u, c d v, tx ty w.
using MatrixRecord = std::array<int32_t, 9>;

// One step of a call in doubles. A matrix record has at most 32 significant bits per element and the steps have 16
// more, so a double is exact for the products that matter.
Transform Followed(const Transform& first, const Transform& next)
{
    Transform result;
    result.a = first.a * next.a + first.b * next.c;
    result.b = first.a * next.b + first.b * next.d;
    result.c = first.c * next.a + first.d * next.c;
    result.d = first.c * next.b + first.d * next.d;
    result.tx = first.tx * next.a + first.ty * next.c + next.tx;
    result.ty = first.tx * next.b + first.ty * next.d + next.ty;
    return result;
}

Transform About(const Transform& step, double x, double y)
{
    Transform moved = step;
    moved.tx = x - x * step.a - y * step.c;
    moved.ty = y - x * step.b - y * step.d;
    return moved;
}

bool IsMatrix(Address matrix)
{
    return !BytesAt(matrix, sizeof(MatrixRecord)).empty();
}

void Write(Address matrix, const Transform& transform)
{
    const MatrixRecord record = {X2Fix(transform.a),  X2Fix(transform.b),  0,
                                 X2Fix(transform.c),  X2Fix(transform.d),  0,
                                 X2Fix(transform.tx), X2Fix(transform.ty), kThirdColumnOne};
    Poke(matrix, record);
}

void Append(Address matrix, const Transform& step)
{
    if (IsMatrix(matrix))
        Write(matrix, Followed(TransformAt(matrix), step));
}

struct Sides {
    int16_t top, left, bottom, right;
};

// Sine and cosine that are exact for quarter turns, where pixels must map to pixels.
std::pair<double, double> SineAndCosine(double degrees)
{
    const double turn = std::fmod(degrees, 360.0);
    const double quarters = turn / 90.0;
    if (quarters != std::round(quarters)) {
        const double radians = turn * std::numbers::pi / 180.0;
        return {std::sin(radians), std::cos(radians)};
    }
    switch ((static_cast<int>(quarters) + 4) % 4) {
    case 1:
        return {1, 0};
    case 2:
        return {0, -1};
    case 3:
        return {-1, 0};
    default:
        return {0, 1};
    }
}

} // namespace

void RectMatrix(Address matrix, Address source, Address target)
{
    if (!IsMatrix(matrix) || BytesAt(source, sizeof(Sides)).empty() || BytesAt(target, sizeof(Sides)).empty())
        return;
    const auto from = Peek<Sides>(source);
    const auto to = Peek<Sides>(target);
    Transform mapping;
    if (from.right > from.left && from.bottom > from.top) {
        mapping.a = static_cast<double>(to.right - to.left) / (from.right - from.left);
        mapping.d = static_cast<double>(to.bottom - to.top) / (from.bottom - from.top);
    }
    mapping.tx = to.left - from.left * mapping.a;
    mapping.ty = to.top - from.top * mapping.d;
    Write(matrix, mapping);
}

void ScaleMatrix(Address matrix, Fixed scaleX, Fixed scaleY, Fixed aboutX, Fixed aboutY)
{
    Transform scale;
    scale.a = Fix2X(scaleX);
    scale.d = Fix2X(scaleY);
    Append(matrix, About(scale, Fix2X(aboutX), Fix2X(aboutY)));
}

void RotateMatrix(Address matrix, Fixed degrees, Fixed aboutX, Fixed aboutY)
{
    const auto [sine, cosine] = SineAndCosine(Fix2X(degrees));
    Transform rotation;
    rotation.a = cosine;
    rotation.b = sine;
    rotation.c = -sine;
    rotation.d = cosine;
    Append(matrix, About(rotation, Fix2X(aboutX), Fix2X(aboutY)));
}

void TranslateMatrix(Address matrix, Fixed deltaX, Fixed deltaY)
{
    Transform move;
    move.tx = Fix2X(deltaX);
    move.ty = Fix2X(deltaY);
    Append(matrix, move);
}

void SetIdentityMatrix(Address matrix)
{
    if (IsMatrix(matrix))
        Write(matrix, {});
}

Transform TransformAt(Address matrix)
{
    if (!IsMatrix(matrix))
        return {};
    const auto record = Peek<MatrixRecord>(matrix);
    Transform transform;
    transform.a = record[0] / kFixedOne;
    transform.b = record[1] / kFixedOne;
    transform.c = record[3] / kFixedOne;
    transform.d = record[4] / kFixedOne;
    transform.tx = record[6] / kFixedOne;
    transform.ty = record[7] / kFixedOne;
    return transform;
}

} // namespace platform
