// SPDX-License-Identifier: MIT
// Painting. `Event_Paint` draws the inactive picture when the framework asks for it; live frames are drawn over it.
// `triggerPaintEvent` lets the window draw on each frame before it is shown.
#include "capture/VelmoraCanvas.h"

#include "recording/Utilities.h"

namespace velmora {

using framework::Color;
using framework::RGB;
using Utilities::double2int;

namespace {

struct Column {
    Color top;
    Color middle;
};

constexpr int kColumns = 7;
const Column columns[kColumns] = {
    {{204, 204, 204}, {0, 0, 255}}, {{254, 254, 0}, {19, 19, 19}},  {{0, 255, 255}, {255, 0, 255}},
    {{0, 255, 0}, {19, 19, 19}},    {{255, 0, 255}, {0, 255, 255}}, {{255, 0, 0}, {19, 19, 19}},
    {{0, 0, 255}, {204, 204, 204}},
};

// The lower band, as fractions of the width: each is a whole number of 640ths.
struct LowerBar {
    Color color;
    double left;
    double span;
};

const LowerBar lowerBars[] = {
    {{8, 62, 89}, 0, 0.1765625},       {{254, 254, 254}, 0.1734375, 0.178125}, {{58, 62, 126}, 0.35, 0.178125},
    {{19, 19, 19}, 0.525, 0.165625},   {{0, 0, 0}, 0.715625, 0.171875},        {{19, 19, 19}, 0.7625, 0.053125},
    {{38, 38, 38}, 0.8125, 0.1390625}, {{19, 19, 19}, 0.8609375, 0.171875},
};

void PaintBlueScreen(Graphics& g, int32_t width, int32_t height, const String& caption)
{
    g.ForeColor(RGB(0, 0, 255));
    g.FillRect(0, 0, width, height);
    g.ForeColor(RGB(255, 255, 255));
    g.TextSize(18);
    g.Bold(true);
    const int32_t x = width / 2 - double2int(g.StringWidth(caption)) / 2;
    const int32_t y = height / 2 - g.StringHeight(caption, width) / 2;
    g.DrawString(caption, x, y, 0, false);
}

// A test card from top to bottom. Each bar is as wide as its right edge is far: the next bar paints over the excess,
// and the last one covers the remainder of the division by 7.
void PaintColorBars(Graphics& g, int32_t width, int32_t height)
{
    const int32_t barWidth = double2int(width / 7.0);
    const int32_t topHeight = double2int(height * 0.6666666666666666);
    const int32_t midHeight = double2int(height * 0.125);
    for (int i = 0; i < kColumns; ++i) {
        g.ForeColor(columns[i].top);
        g.FillRect(barWidth * i, 0, barWidth * (i + 1), topHeight);
        g.ForeColor(columns[i].middle);
        g.FillRect(barWidth * i, topHeight, barWidth * i + barWidth, midHeight);
    }
    for (const LowerBar& bar : lowerBars) {
        const int32_t left = double2int(width * bar.left);
        g.ForeColor(bar.color);
        g.FillRect(left, double2int(height * 0.75), left + double2int(width * bar.span), double2int(height * 0.25));
    }
}

} // namespace

void VelmoraCanvas::Event_Paint(Graphics& g)
{
    const bool handled = PaintInactive && PaintInactive(g);
    if (handled)
        return;
    if (ColorBars)
        PaintColorBars(g, Width(), Height());
    else
        PaintBlueScreen(g, Width(), Height(), BlueScreenCaption);
}

void VelmoraCanvas::triggerPaintEvent(Graphics& g)
{
    if (PaintActive)
        PaintActive(g);
}

} // namespace velmora
