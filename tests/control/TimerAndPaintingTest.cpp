#include "control/ControlTest.h"
#include "platform/drawing/Ports.h"

namespace velmora {
namespace {

// Notes what a timer asks of the platform instead of asking it.
class NotedTimer : public CarbonTimer {
public:
    int32_t AttachTimer(double interval, const Reference<MemoryBlock>&) override
    {
        scripted::TheScript().Note("attach " + framework::Str(interval).Bytes());
        return ++attached;
    }
    void RemoveTimer(int32_t timer) override { scripted::TheScript().Note("remove " + std::to_string(timer)); }
    int32_t attached = 7;
};

TEST_F(ControlTest, TimerStates)
{
    auto timer = framework::New<NotedTimer>();
    timer->Constructor(0.5);
    timer->Stop(); // never started: nothing to remove
    timer->Start();
    timer->Stop();
    timer->Stop();
    timer->Duration(1.5);
    Expect({"attach 0.5", "remove 8", "remove 8", "remove 8", "attach 1.5"});
    EXPECT_EQ(CarbonTimer::timers->back(), timer);
}

TEST_F(ControlTest, TicksFindTheirTimers)
{
    const auto make = [this](const char* name, int32_t ref) {
        auto timer = framework::New<CarbonTimer>();
        timer->Constructor(1);
        timer->ref = ref;
        timer->action = [this, name] { script.Note(name); };
        return timer;
    };
    const auto a = make("a", 500), b = make("b", 501), c = make("c", 500);
    CarbonTimer::timeraction(500, 0);
    CarbonTimer::timeraction(502, 0);
    b->action = [] { CarbonTimer::timers.reset(); }; // the end of the process, from within a tick
    CarbonTimer::timeraction(501, 0);
    CarbonTimer::timeraction(500, 0);
    Expect({"a", "c"});
}

TEST_F(ControlTest, PollTimerOnTheRealLoop)
{
    OpenSession();
    script.Returns("SGIdle", -9400);
    canvas->Close = [this] { script.Note("Close"); };
    canvas->StartPollTimer();
    while (script.calls.size() < 4) // a failure doesn't stop the polling
        framework::TheApplication()->DoEvents(50);
    inside.CloseEvent();
    ExpectAmong({"SGIdle(12)", "Error(-9400)", "SGIdle(12)", "Error(-9400)", "Close"});
    for (int i = 0; i < 3; ++i)
        framework::TheApplication()->DoEvents(15);
    EXPECT_TRUE(script.Take().empty());

    const int32_t breaks = framework::BreakCount();
    framework::New<CaptureClassTimer>()->Constructor(nullptr);
    EXPECT_NO_THROW(CarbonTimer::timers->back()->FireAction());
    CarbonTimer::timers->back()->Duration(-1);
    EXPECT_EQ(CarbonTimer::timers->back()->ref, 0);
    Expect({"MsgBox(AttachTimer error -50)"});
    EXPECT_EQ(framework::BreakCount(), breaks + 2);
}

struct Target {
    Target(int32_t width, int32_t height)
        : port(platform::NewPort(width, height)), graphics(port, platform::PortRect{0, 0, width, height})
    {
    }
    ~Target() { platform::ReleasePort(port); }

    framework::Color At(int x, int y) const
    {
        const auto pixels = platform::PixelsOfPort(port);
        const uint8_t* pixel = pixels->pixels + y * pixels->rowBytes + x * 4;
        return {pixel[2], pixel[1], pixel[0]};
    }

    platform::PortReference port;
    Graphics graphics;
};

TEST_F(ControlTest, ColorBarsAt640By480)
{
    const struct {
        int x, y;
        framework::Color color;
    } cases[] = {
        // Columns are 91 wide and 320 high; the last takes the remainder.
        {90, 319, {204, 204, 204}},
        {91, 0, {254, 254, 0}},
        {545, 319, {255, 0, 0}},
        {639, 319, {0, 0, 255}},
        // The band in the middle begins at 320; the lower band covers it from 360 on.
        {91, 320, {19, 19, 19}},
        {182, 359, {255, 0, 255}},
        {639, 359, {204, 204, 204}},
        // The lower band: each bar begins where its factor says and reaches as far as no other covers it.
        {110, 360, {8, 62, 89}},
        {111, 360, {254, 254, 254}},
        {224, 360, {58, 62, 126}},
        {336, 360, {19, 19, 19}},
        {450, 479, {19, 19, 19}},
        {458, 360, {0, 0, 0}},
        {488, 360, {19, 19, 19}},
        {520, 360, {38, 38, 38}},
        {639, 479, {19, 19, 19}},
    };
    Target target(640, 480);
    canvas->ColorBars = true;
    inside.Paint(target.graphics);
    for (const auto& c : cases)
        EXPECT_EQ(target.At(c.x, c.y), c.color) << c.x << ", " << c.y;
}

TEST_F(ControlTest, BlueScreenAndInactivePicturesOfTheWindow)
{
    constexpr framework::Color white{255, 255, 255}, blue{0, 0, 255};
    Target target(640, 480);
    const auto whitePixels = [&] {
        int count = 0;
        for (int x = 280; x < 360; ++x)
            for (int y = 200; y < 250; ++y)
                count += target.At(x, y) == white;
        return count;
    };
    inside.Paint(target.graphics);
    EXPECT_GT(whitePixels(), 50); // "No Active Device", about the centre
    canvas->BlueScreenCaption = "";
    inside.Paint(target.graphics);
    EXPECT_EQ(whitePixels(), 0);
    EXPECT_EQ(target.At(639, 479), blue);
    bool handled = true;
    canvas->PaintInactive = [&](Graphics& g) {
        g.ForeColor(white);
        g.FillRect(0, 0, 640, 480);
        return handled;
    };
    inside.Paint(target.graphics);
    EXPECT_EQ(target.At(5, 5), white);
    handled = false; // the control's own picture goes over it
    inside.Paint(target.graphics);
    EXPECT_EQ(target.At(5, 5), blue);
}

} // namespace
} // namespace velmora
