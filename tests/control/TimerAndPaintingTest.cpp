// SPDX-License-Identifier: MIT
#include "control/ControlTest.h"

namespace velmora {
namespace {

TEST_F(ControlTest, PollTimerOnTheRealLoop)
{
    OpenSession();
    script.Returns("SGIdle", -9400);
    canvas->Close = [this] { script.Note("Close"); };
    canvas->StartPollTimer();
    while (script.calls.size() < 4) // a failure doesn't stop the polling
        framework::Application::Instance()->DoEvents(50);
    inside.CloseEvent();
    ExpectAmong({"SGIdle(12)", "Error(-9400)", "SGIdle(12)", "Error(-9400)", "Close"});
    for (int i = 0; i < 3; ++i)
        framework::Application::Instance()->DoEvents(15);
    EXPECT_TRUE(script.Take().empty());
}

TEST_F(ControlTest, ColorBarsAt640By480)
{
    const struct {
        int x, y;
        QRgb color;
    } cases[] = {
        // Columns are 91 wide and 320 high; the last takes the remainder.
        {90, 319, qRgb(204, 204, 204)},
        {91, 0, qRgb(254, 254, 0)},
        {545, 319, qRgb(255, 0, 0)},
        {639, 319, qRgb(0, 0, 255)},
        // The band in the middle begins at 320; the lower band covers it from 360 on.
        {91, 320, qRgb(19, 19, 19)},
        {639, 359, qRgb(204, 204, 204)},
        // The lower band: each bar begins where its factor says and reaches as far as no other covers it.
        {110, 360, qRgb(8, 62, 89)},
        {111, 360, qRgb(254, 254, 254)},
        {450, 479, qRgb(19, 19, 19)},
        {458, 360, qRgb(0, 0, 0)},
        {520, 360, qRgb(38, 38, 38)},
        {639, 479, qRgb(19, 19, 19)},
    };
    Picture picture(640, 480);
    canvas->ColorBars = true;
    inside.Paint(picture.Graphics());
    for (const auto& c : cases)
        EXPECT_EQ(picture.Image().pixel(c.x, c.y), c.color) << c.x << ", " << c.y;
}

} // namespace
} // namespace velmora
