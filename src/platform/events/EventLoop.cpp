// SPDX-License-Identifier: MIT
// Timers of the main event loop.
//
// One object on the main thread receives the ticks of all timers. A timer is an entry of the reference table, which
// stores its timer id in Qt's event loop. A callback may remove its own timer or any other: the entry is kept until the
// callback has returned.
//
// While a callback runs an event loop of its own (a message box), no timer fires. A repeating timer loses the ticks of
// that time; a single-shot timer is deferred.
//
// The tick of an idle timer posts a marker event behind the pending events. The timer fires when the marker arrives and
// no user event was handled in between; otherwise the marker is posted again.
//
// Another thread may trigger a timer between two ticks: a second kind of marker, of which at most one is pending, fires
// it.
#include "platform/events/EventLoop.h"

#include "platform/memory/CodeAddress.h"
#include "platform/memory/ReferenceTable.h"

#include <QCoreApplication>
#include <QEvent>
#include <QObject>
#include <QTimerEvent>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <map>
#include <memory>
#include <utility>
#include <vector>

namespace platform {
namespace {

constexpr EventLoop kMainEventLoop = 1;
// In seconds: the event loop stores milliseconds in 31 bits.
constexpr double kMaxSeconds = 2147483.0;
constexpr int kDeferMilliseconds = 10;

struct LoopTimer {
    EventLoopTimerProc callback = nullptr;
    int32_t userData = 0;
    int firstDelay = 0; // milliseconds, as the interval
    int interval = 0;
    bool idleOnly = false;
    int tick = 0; // timer id in Qt's event loop; 0: not running
    bool markPosted = false;
    uint64_t userEventsAtMark = 0;
    std::atomic<bool> hastened{false};
};

ReferenceTable<LoopTimer>& Timers()
{
    static auto* table = new ReferenceTable<LoopTimer>(kEventTimerReference);
    return *table;
}

enum class MarkKind { Idle, Hastened };

template <MarkKind Kind> class Mark : public QEvent {
public:
    static Type MarkType()
    {
        static const auto type = static_cast<Type>(registerEventType());
        return type;
    }
    explicit Mark(EventLoopTimer timer) : QEvent(MarkType()), timer(timer) {}
    const EventLoopTimer timer;
};

using IdleMark = Mark<MarkKind::Idle>;
using HastenedMark = Mark<MarkKind::Hastened>;

bool IsMovement(const QEvent& event)
{
    return event.type() == QEvent::MouseMove || event.type() == QEvent::Wheel || event.type() == QEvent::TouchUpdate ||
           event.type() == QEvent::TabletMove;
}

bool IsUserEvent(const QEvent& event)
{
    switch (event.type()) {
    case QEvent::KeyPress:
    case QEvent::KeyRelease:
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonRelease:
    case QEvent::MouseButtonDblClick:
    case QEvent::MouseMove:
    case QEvent::Wheel:
    case QEvent::TouchBegin:
    case QEvent::TouchUpdate:
    case QEvent::TouchEnd:
    case QEvent::TabletMove:
    case QEvent::TabletPress:
    case QEvent::TabletRelease:
        return true;
    default:
        return false;
    }
}

// User events that may trigger an action. Windows receive them first, then the widgets in them.
bool IsAction(const QObject& receiver, const QEvent& event)
{
    return receiver.isWindowType() && (event.type() == QEvent::Close || (IsUserEvent(event) && !IsMovement(event)));
}

std::vector<BeforeInput*>& WaitingForInput()
{
    static auto* waiting = new std::vector<BeforeInput*>;
    return *waiting;
}

class TickReceiver : public QObject {
public:
    void Start(EventLoopTimer number, LoopTimer& timer, int milliseconds)
    {
        Stop(timer);
        timer.tick = startTimer(milliseconds, Qt::PreciseTimer);
        numbers[timer.tick] = number;
    }

    void Stop(LoopTimer& timer)
    {
        if (timer.tick == 0)
            return;
        killTimer(timer.tick);
        numbers.erase(timer.tick);
        timer.tick = 0;
    }

    // Installs the event filter when it is first needed.
    void WatchUserEvents()
    {
        if (watching || QCoreApplication::instance() == nullptr)
            return;
        QCoreApplication::instance()->installEventFilter(this);
        watching = true;
    }

    EventLoopTimer Current() const { return current; }

    void Hasten(EventLoopTimer number, LoopTimer& timer)
    {
        if (!timer.hastened.exchange(true))
            QCoreApplication::postEvent(this, new HastenedMark(number));
    }

protected:
    void timerEvent(QTimerEvent* event) override
    {
        const auto found = numbers.find(event->timerId());
        if (found == numbers.end())
            return;
        const EventLoopTimer number = found->second;
        if (const auto timer = Timers().Find(number))
            Tick(number, *timer);
    }

    bool event(QEvent* event) override
    {
        if (event->type() == IdleMark::MarkType()) {
            const EventLoopTimer number = static_cast<const IdleMark*>(event)->timer;
            if (const auto timer = Timers().Find(number))
                MarkArrived(number, *timer);
        } else if (event->type() == HastenedMark::MarkType()) {
            const EventLoopTimer number = static_cast<const HastenedMark*>(event)->timer;
            if (const auto timer = Timers().Find(number))
                FireHastened(number, *timer);
        } else {
            return QObject::event(event);
        }
        return true;
    }

    bool eventFilter(QObject* receiver, QEvent* event) override
    {
        if (IsUserEvent(*event))
            ++userEvents;
        if (IsAction(*receiver, *event))
            NoteInput();
        return false;
    }

private:
    void Tick(EventLoopTimer number, LoopTimer& timer)
    {
        if (timer.interval == 0)
            Stop(timer);
        else if (timer.interval != timer.firstDelay)
            Repeat(number, timer);
        if (current != 0) {
            Defer(number, timer);
            return;
        }
        if (!timer.idleOnly)
            Fire(number, timer);
        else if (!timer.markPosted)
            PostMark(number, timer);
    }

    void PostMark(EventLoopTimer number, LoopTimer& timer)
    {
        timer.markPosted = true;
        timer.userEventsAtMark = userEvents;
        QCoreApplication::postEvent(this, new IdleMark(number), Qt::LowEventPriority);
    }

    void MarkArrived(EventLoopTimer number, LoopTimer& timer)
    {
        timer.markPosted = false;
        if (timer.userEventsAtMark != userEvents)
            PostMark(number, timer);
        else if (current != 0)
            Defer(number, timer);
        else
            Fire(number, timer);
    }

    void FireHastened(EventLoopTimer number, LoopTimer& timer)
    {
        timer.hastened = false;
        if (current == 0)
            Fire(number, timer);
    }

    // Changes from the first delay to the interval.
    void Repeat(EventLoopTimer number, LoopTimer& timer)
    {
        timer.firstDelay = timer.interval;
        Start(number, timer, timer.interval);
    }

    void Defer(EventLoopTimer number, LoopTimer& timer)
    {
        if (timer.interval == 0)
            Start(number, timer, kDeferMilliseconds);
    }

    void Fire(EventLoopTimer number, const LoopTimer& timer)
    {
        struct Inside {
            Inside(EventLoopTimer& current, EventLoopTimer number) : current(current) { current = number; }
            ~Inside() { current = 0; }
            EventLoopTimer& current;
        } const inside(current, number);
        timer.callback(number, timer.userData);
    }

    std::map<int, EventLoopTimer> numbers;
    uint64_t userEvents = 0;
    EventLoopTimer current = 0; ///< the timer whose callback is running
    bool watching = false;
};

// Never destroyed: timers may be removed after the application object is gone.
TickReceiver& Receiver()
{
    static auto* receiver = new TickReceiver;
    return *receiver;
}

bool IsTime(double seconds)
{
    return std::isfinite(seconds) && seconds >= 0 && seconds <= kMaxSeconds;
}

// Rounds, but never a positive time to 0.
int Milliseconds(double seconds)
{
    return seconds <= 0 ? 0 : std::max(1, static_cast<int>(std::lround(seconds * 1000)));
}

struct Settings {
    int32_t userData = 0;
    bool idleOnly = false;
};

Result Install(EventLoop loop, Settings settings, double firstDelay, double interval, int32_t callback, Address out)
{
    const auto timer = std::make_shared<LoopTimer>();
    timer->callback = CodeAt<void(EventLoopTimer, int32_t)>(callback);
    if (loop != kMainEventLoop || timer->callback == nullptr || !IsTime(firstDelay) || !IsTime(interval) ||
        BytesAt(out, sizeof(EventLoopTimer)).empty())
        return paramErr;
    timer->userData = settings.userData;
    timer->idleOnly = settings.idleOnly;
    timer->firstDelay = Milliseconds(firstDelay);
    timer->interval = Milliseconds(interval);
    const EventLoopTimer number = Timers().Add(timer);
    Receiver().Start(number, *timer, timer->firstDelay);
    Poke(out, number);
    return noErr;
}

} // namespace

EventLoop GetMainEventLoop()
{
    return kMainEventLoop;
}

int32_t NewEventLoopTimerUPP(int32_t codeAddress)
{
    return CodeAt(codeAddress) == nullptr ? 0 : codeAddress;
}

Result InstallEventLoopTimer(EventLoop loop, double firstDelay, double interval, int32_t callback, int32_t userData,
                             Address timer)
{
    return Install(loop, {.userData = userData}, firstDelay, interval, callback, timer);
}

Result InstallEventLoopIdleTimer(EventLoop loop, double firstDelay, double interval, int32_t callback, int32_t userData,
                                 Address timer)
{
    Receiver().WatchUserEvents();
    return Install(loop, {.userData = userData, .idleOnly = true}, firstDelay, interval, callback, timer);
}

Result RemoveEventLoopTimer(EventLoopTimer timer)
{
    const auto removed = Timers().Remove(timer);
    if (!removed)
        return eventLoopInvalidTimer;
    Receiver().Stop(*removed);
    return noErr;
}

BeforeInput::BeforeInput(std::function<void()> toCall) : function(std::move(toCall))
{
    Receiver().WatchUserEvents();
    WaitingForInput().push_back(this);
}

BeforeInput::~BeforeInput()
{
    std::erase(WaitingForInput(), this);
}

void NoteInput()
{
    // A function may destroy objects, including its own.
    const auto waiting = WaitingForInput();
    for (const BeforeInput* each : waiting) {
        if (std::ranges::find(WaitingForInput(), each) == WaitingForInput().end())
            continue;
        const auto function = each->function;
        function();
    }
}

bool IsInsideEventLoopTimer()
{
    return Receiver().Current() != 0;
}

EventLoopTimer CurrentEventLoopTimer()
{
    return Receiver().Current();
}

void HastenEventLoopTimer(EventLoopTimer timer)
{
    if (const auto found = Timers().Find(timer))
        Receiver().Hasten(timer, *found);
}

} // namespace platform
