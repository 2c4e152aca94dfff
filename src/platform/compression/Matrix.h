// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/AddressSpace.h"
#include "platform/memory/FixedPoint.h"

namespace platform {

/// Matrices are records of 36 bytes, nine signed 32-bit values by rows: a b u, c d v, tx ty w. All are `Fixed` except
/// the third column (u, v, w), which has 30 fraction bits. A point (x, y) maps to (a x + c y + tx, b x + d y + ty).
/// Each call appends its step to those already in the matrix. An invalid address changes nothing.

/// Sets `matrix` to the mapping from the rectangle at `source` to that at `target` (top, left, bottom, right as signed
/// 16-bit values). The scale is 1 if the source is empty.
void RectMatrix(Address matrix, Address source, Address target);

/// Scales around the point (x, y).
void ScaleMatrix(Address matrix, Fixed scaleX, Fixed scaleY, Fixed aboutX, Fixed aboutY);

/// Rotates around the point (x, y) by an angle in degrees, clockwise on a screen whose y axis points down.
void RotateMatrix(Address matrix, Fixed degrees, Fixed aboutX, Fixed aboutY);

/// Translates by (deltaX, deltaY).
void TranslateMatrix(Address matrix, Fixed deltaX, Fixed deltaY);

/// Sets `matrix` to the identity.
void SetIdentityMatrix(Address matrix);

/// The same matrix in doubles, for drawing.
struct Transform {
    double a = 1, b = 0, c = 0, d = 1, tx = 0, ty = 0;
};

/// Reads the record at `matrix`; the identity for address 0.
Transform TransformAt(Address matrix);

} // namespace platform
