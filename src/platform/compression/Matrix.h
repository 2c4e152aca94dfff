// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/AddressSpace.h"
#include "platform/memory/FixedPoint.h"

namespace platform {

/// Matrices are records of 36 bytes, nine signed 32-bit values by rows: a b u, c d v, tx ty w. All are `Fixed` but for
/// the third column (u, v, w), which has 30 fraction bits. A point (x, y) goes to (a x + c y + tx, b x + d y + ty).
/// Each call adds its step behind those already in the matrix. A bad address leaves everything as it was.

/// Makes `matrix` the mapping from the rectangle at `source` onto that at `target` (top, left, bottom, right as
/// signed 16-bit values). An empty source gives the identity's scale.
void RectMatrix(Address matrix, Address source, Address target);

/// Scales about the point (x, y).
void ScaleMatrix(Address matrix, Fixed scaleX, Fixed scaleY, Fixed aboutX, Fixed aboutY);

/// Rotates about the point (x, y) by degrees, clockwise as seen on a screen whose y grows downwards.
void RotateMatrix(Address matrix, Fixed degrees, Fixed aboutX, Fixed aboutY);

/// Moves by (deltaX, deltaY).
void TranslateMatrix(Address matrix, Fixed deltaX, Fixed deltaY);

/// Makes `matrix` the identity.
void SetIdentityMatrix(Address matrix);

/// The same matrix in doubles, as drawing uses it.
struct Transform {
    double a = 1, b = 0, c = 0, d = 1, tx = 0, ty = 0;
};

/// Reads the record at `matrix`; the identity for address 0.
Transform TransformAt(Address matrix);

} // namespace platform
