// SPDX-License-Identifier: MIT
#pragma once

#include "framework/Application.h"
#include "framework/Canvas.h"
#include "framework/PortImage.h"
#include "framework/Timer.h"
#include "framework/Widgets.h"
#include "framework/Window.h"
#include "support/Await.h"

#include <QCoreApplication>
#include <QWidget>

#include <functional>
#include <string>
#include <vector>

namespace framework {

using Log = std::vector<std::string>;

/// Handles pending events and those that they cause.
inline void Turn()
{
    for (int i = 0; i < 5; ++i)
        QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

/// Runs the event loop until a condition is true; false if that took too long.
inline bool TurnUntil(const std::function<bool()>& done)
{
    return Await([&] {
        QCoreApplication::processEvents();
        return done();
    });
}

/// A canvas that logs its events and paints one colour.
class TestCanvas : public Canvas {
public:
    Log* log = nullptr;
    int paints = 0;

protected:
    void Event_Open() override { Tell("open"); }
    void Event_Close() override { Tell("close"); }
    void Event_Paint(Graphics& graphics) override
    {
        ++paints;
        graphics.ForeColor({10, 20, 30});
        graphics.FillRect(0, 0, Width(), Height());
    }

private:
    void Tell(const std::string& what)
    {
        if (log != nullptr)
            log->push_back(Name().Bytes() + " " + what);
    }
};

/// A window whose parts are functions of the test.
class TestWindow : public Window {
public:
    std::function<void(TestWindow&)> layout, controls, handlers;
    std::function<void()> onOpen;
    Log log;

protected:
    void Layout() override { Run("layout", layout); }
    void CreateControls() override { Run("controls", controls); }
    void AddMenuHandlers() override { Run("handlers", handlers); }
    void Event_Open() override
    {
        log.push_back("window open");
        if (onOpen)
            onOpen();
    }
    void Event_Close() override { log.push_back("window close"); }

private:
    void Run(const char* what, const std::function<void(TestWindow&)>& step)
    {
        log.push_back(std::string("window ") + what);
        if (step)
            step(*this);
    }
};

inline Color PixelAt(platform::PortReference port, int x, int y)
{
    const QRgb pixel = ImageOfPort(port).pixel(x, y);
    return RGB(qRed(pixel), qGreen(pixel), qBlue(pixel));
}

/// A widget's picture as shown on the screen.
inline Color ShownAt(QWidget* widget, int x, int y)
{
    const QRgb pixel = widget->grab().toImage().pixel(x, y);
    return RGB(qRed(pixel), qGreen(pixel), qBlue(pixel));
}

} // namespace framework
