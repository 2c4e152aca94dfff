// SPDX-License-Identifier: MIT
// Flips and rotation of the live picture. The setters only store the values; the data procedure rebuilds its matrix at
// the next video frame. The recording is never transformed.
#include "capture/VelmoraCanvas.h"

namespace velmora {

bool VelmoraCanvas::VideoFlipHorizontal()
{
    return gFlipH;
}

void VelmoraCanvas::VideoFlipHorizontal(bool value)
{
    gFlipH = value;
    matrixChanged = true;
}

bool VelmoraCanvas::VideoFlipVertical()
{
    return gFlipV;
}

void VelmoraCanvas::VideoFlipVertical(bool value)
{
    gFlipV = value;
    matrixChanged = true;
}

bool VelmoraCanvas::VideoRotate()
{
    return gRotate;
}

void VelmoraCanvas::VideoRotate(bool on, int32_t angle)
{
    gRotate = on;
    gRotateAngle = angle;
    matrixChanged = true;
}

} // namespace velmora
