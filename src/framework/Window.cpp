// SPDX-License-Identifier: MIT
// Windows and their implicit instances.
//
// A window's content consists of a widget on the screen, the port into which its canvases and the platform draw, and
// the platform's reference to the window. All have the same size, which only `ContentResized` changes, for code and for
// the user.
//
// An implicit instance is owned by the table of instances, any other window by its creator. Closing hides a window at
// once. The table's reference is released when control returns to the event loop, since the present handler may be the
// window's own. Controls may outlive their window; they then have neither window nor widget.
#include "framework/Window.h"

#include "framework/Application.h"
#include "framework/QtText.h"
#include "framework/Runtime.h"
#include "framework/Timer.h"
#include "framework/WindowWidget.h"

#include <QCoreApplication>
#include <QWindow>

#include <algorithm>
#include <cstdlib>

namespace framework {
namespace {

using platform::kMaxPictureSide;

constexpr int32_t kNearMainWindow = 3; // value of `Placement`

using ImplicitWindows = std::map<std::string, std::shared_ptr<Window>>;

ImplicitWindows& Instances()
{
    static auto& instances = *new ImplicitWindows; // never destroyed: see the exit handler in Termination.cpp
    return instances;
}

// Holds a reference until control returns to the event loop.
class LastReference : public QObject {
public:
    explicit LastReference(std::shared_ptr<Window> window) : window(std::move(window)) { deleteLater(); }

private:
    std::shared_ptr<Window> window;
};

void ForgetInstance(const Window& window)
{
    auto& instances = Instances();
    const auto found = std::ranges::find_if(instances, [&](const auto& each) { return each.second.get() == &window; });
    if (found == instances.end())
        return;
    new LastReference(std::move(found->second)); // owned by the event loop
    instances.erase(found);
}

Qt::WindowFlags FlagsOf(const Window& window)
{
    Qt::WindowFlags flags = window.Frame == Window::Floating ? Qt::Tool : Qt::Window;
    flags |= Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowSystemMenuHint;
    flags.setFlag(Qt::WindowCloseButtonHint, window.CloseButton);
    flags.setFlag(Qt::WindowMinimizeButtonHint, window.MinimizeButton);
    flags.setFlag(Qt::WindowMaximizeButtonHint, window.MaximizeButton);
    return flags;
}

// Moves and resizes a control with the edges that it is locked to.
void FollowEdges(RectControl& control, int32_t dx, int32_t dy)
{
    const Anchors& locked = control.LockedTo;
    control.Place(control.Left() + (locked.right && !locked.left ? dx : 0),
                  control.Top() + (locked.bottom && !locked.top ? dy : 0),
                  control.Width() + (locked.right && locked.left ? dx : 0),
                  control.Height() + (locked.bottom && locked.top ? dy : 0));
}

int32_t Middle(const RectControl& control)
{
    return control.Top() + control.Height() / 2;
}

// The Tab key visits the controls in reading order: row by row, left to right. Controls of a row may differ a little in
// height and position.
void OrderForTabKey(const std::vector<std::shared_ptr<Control>>& controls)
{
    std::vector<RectControl*> ordered;
    for (const auto& control : controls)
        if (auto* placed = dynamic_cast<RectControl*>(control.get());
            placed != nullptr && placed->Widget()->focusPolicy() != Qt::NoFocus)
            ordered.push_back(placed);
    std::ranges::stable_sort(ordered, {}, [](const RectControl* each) { return Middle(*each); });
    for (auto row = ordered.begin(); row != ordered.end();) {
        const auto end = std::find_if(row, ordered.end(), [first = *row](const RectControl* each) {
            return Middle(*each) - Middle(*first) > first->Height() / 2;
        });
        std::ranges::stable_sort(row, end, {}, [](const RectControl* each) { return each->Left(); });
        row = end;
    }
    for (size_t i = 1; i < ordered.size(); ++i)
        QWidget::setTabOrder(ordered[i - 1]->Widget(), ordered[i]->Widget());
}

int32_t Within(int32_t value, int32_t low, int32_t high)
{
    return std::clamp(value, std::max(low, 1), std::max({low, 1, std::min(high, kMaxPictureSide)}));
}

bool IsMenu(const MenuItem& item)
{
    return item.Count() > 0;
}

template <typename Visit> void ForEachItem(const MenuItem& owner, const Visit& visit)
{
    for (int32_t i = 0; i < owner.Count(); ++i) {
        visit(*owner.Item(i));
        ForEachItem(*owner.Item(i), visit);
    }
}

} // namespace

Window::Window() : state(std::make_unique<State>()) {}

Window::~Window()
{
    if (state->opened && !state->closed)
        NoteWindowClosed(*this);
    for (const auto& control : state->controls) {
        control->window = nullptr;
        if (auto* placed = dynamic_cast<RectControl*>(control.get()))
            placed->widget = nullptr;
    }
    state->widget.reset();
    platform::UnregisterWindow(state->reference);
    platform::ReleasePort(state->port);
}

void Window::MakeWidget()
{
    if (state->widget)
        return;
    state->port = platform::NewPort(state->width, state->height);
    state->reference = platform::RegisterWindow(state->port);
    state->widget = std::make_unique<WindowWidget>(*this);
    state->widget->setWindowTitle(OneLine(ShownTitle()));
}

void Window::Construct()
{
    if (state->opened)
        return;
    Layout();
    MakeWidget();
    state->widget->setWindowFlags(FlagsOf(*this));
    state->widget->ApplyLimits();
    state->widget->FitContent(state->width, state->height);
    CreateControls();
    AddMenuHandlers();
    OrderForTabKey(state->controls);
    state->opened = true;
    NoteWindowOpened(*this, [this] { state->widget->RebuildMenus(); });
    for (size_t i = 0; i < state->controls.size(); ++i)
        state->controls[i]->Event_Open();
    Event_Open();
    if (state->visible && !state->closed)
        BringToScreen();
}

void Window::BringToScreen()
{
    WindowWidget& widget = *state->widget;
    const auto& windows = OpenWindows();
    const auto document = std::ranges::find_if(
        windows, [](const Window* each) { return each->Frame == Document && each->Visible() && each->state->opened; });
    if (!widget.isVisible() && document != windows.end() && *document != this) {
        const WindowWidget& below = *(*document)->state->widget;
        if (Frame == Floating) {
            // A floating window is transient for the document window, which keeps it above that.
            widget.winId();
            widget.windowHandle()->setTransientParent(below.windowHandle());
        }
        if (Placement == kNearMainWindow)
            widget.move(below.geometry().center() - widget.rect().center());
    }
    if (FullScreen)
        widget.showFullScreen();
    else
        widget.show();
    widget.raise();
    widget.activateWindow();
}

String Window::Title() const
{
    return state->title;
}

void Window::Title(const String& value)
{
    state->title = value;
    if (state->widget)
        state->widget->setWindowTitle(OneLine(ShownTitle()));
}

String Window::TitleNote() const
{
    return state->titleNote;
}

void Window::TitleNote(const String& value)
{
    if (value == state->titleNote)
        return;
    state->titleNote = value;
    Title(state->title);
}

String Window::ShownTitle() const
{
    const String title = state->title.IsEmpty() ? FromQt(QCoreApplication::applicationName()) : state->title;
    return state->titleNote.IsEmpty() ? title : title + " - " + state->titleNote;
}

int32_t Window::Width() const
{
    return state->width;
}

void Window::Width(int32_t value)
{
    SetSize(value, state->height);
}

int32_t Window::Height() const
{
    return state->height;
}

void Window::Height(int32_t value)
{
    SetSize(state->width, value);
}

void Window::SetSize(int32_t width, int32_t height)
{
    if (!state->widget) {
        state->width = Within(width, 1, kMaxPictureSide);
        state->height = Within(height, 1, kMaxPictureSide);
        return;
    }
    width = Within(width, MinWidth, MaxWidth);
    height = Within(height, MinHeight, MaxHeight);
    ContentResized(width, height);
    state->widget->FitContent(width, height);
}

void Window::ContentResized(int32_t width, int32_t height)
{
    width = Within(width, 1, kMaxPictureSide);
    height = Within(height, 1, kMaxPictureSide);
    const int32_t dx = width - state->width;
    const int32_t dy = height - state->height;
    if (dx == 0 && dy == 0)
        return;
    state->width = width;
    state->height = height;
    platform::ResizePort(state->port, width, height);
    for (const auto& control : state->controls)
        if (auto* placed = dynamic_cast<RectControl*>(control.get()))
            FollowEdges(*placed, dx, dy);
    if (state->opened && !state->closed)
        Event_Resized();
}

bool Window::Visible() const
{
    return state->visible && !state->closed;
}

void Window::Visible(bool value)
{
    state->visible = value;
    if (!state->opened || state->closed)
        return;
    if (value)
        BringToScreen();
    else
        state->widget->hide();
}

void Window::Show()
{
    Visible(true);
}

Reference<Picture> Window::Backdrop() const
{
    return state->backdrop;
}

void Window::Backdrop(Reference<Picture> value)
{
    state->backdrop = std::move(value);
    if (!state->widget)
        return;
    state->widget->Content()->update();
    for (const auto& control : state->controls)
        control->BackdropChanged();
}

void Window::Close()
{
    if (!state->opened || state->closed)
        return;
    state->closed = true;
    try {
        RaiseCloseEvents();
    } catch (...) {
        FinishClosing();
        throw;
    }
    FinishClosing();
}

void Window::RaiseCloseEvents()
{
    Event_Close();
    for (size_t i = 0; i < state->controls.size(); ++i)
        state->controls[i]->Event_Close();
}

void Window::FinishClosing()
{
    for (const auto& control : state->controls)
        if (auto* timer = dynamic_cast<Timer*>(control.get()))
            timer->Mode(Timer::Off);
    state->widget->hide();
    ForgetInstance(*this);
    NoteWindowClosed(*this);
    if (EndsProgram && EventLoopRuns())
        EndEventLoop(EXIT_SUCCESS);
}

void Window::AddControl(const String& name, std::shared_ptr<Control> control)
{
    MakeWidget();
    control->name = name;
    control->window = this;
    state->controls.push_back(control);
    control->Added(state->widget->Content());
}

std::shared_ptr<Control> Window::FindControl(const String& name, int32_t index) const
{
    for (const auto& control : state->controls)
        if (control->name == name && (index < 0 || control->Index == index))
            return control;
    return nullptr;
}

void Window::_AddMenuHandler(const String& itemName, std::function<bool()> handler)
{
    state->handlers[itemName.Bytes()] = std::move(handler);
}

int32_t Window::WindowReference() const
{
    return state->reference;
}

platform::PortReference Window::Port() const
{
    return state->port;
}

void Window::UpdateMenus()
{
    const auto application = Application::Instance();
    if (!application || !application->MenuBar() || state->closed)
        return;
    ForEachItem(*application->MenuBar(), [this](MenuItem& item) {
        if (!IsMenu(item))
            item.Enabled = item.AutoEnable && (dynamic_cast<QuitMenuItem*>(&item) != nullptr ||
                                               state->handlers.contains(item.Name.Bytes()));
    });
    for (size_t i = 0; i < state->controls.size(); ++i)
        state->controls[i]->Event_EnableMenuItems();
    Event_EnableMenuItems();
    if (state->widget && state->widget->Menus() != nullptr)
        state->widget->Menus()->Follow();
}

bool Window::ChooseMenuItem(const Reference<MenuItem>& item)
{
    if (!item->Enabled || IsMenu(*item) || state->closed)
        return false;
    if (RefusesMenuItem && RefusesMenuItem(*item))
        return true;
    const auto found = state->handlers.find(item->Name.Bytes());
    if (found != state->handlers.end()) {
        const auto handler = found->second;
        bool dealtWith = false;
        const auto action = [&] { dealtWith = handler(); };
        if (const auto carryOut = CarriesOutMenuItem)
            carryOut(*item, action);
        else
            action();
        if (dealtWith || !item.As<QuitMenuItem>())
            return true;
    }
    if (!item.As<QuitMenuItem>())
        return false;
    RequestQuit();
    return true;
}

std::shared_ptr<Window> _GetImplicitWindow(const String& name, const std::function<std::shared_ptr<Window>()>& make)
{
    auto& instances = Instances();
    const auto found = instances.find(name.Bytes());
    if (found != instances.end())
        return found->second;
    // Register it before its start sequence runs, which may ask for it.
    const auto window = make();
    instances[name.Bytes()] = window;
    try {
        window->Construct();
    } catch (...) {
        ForgetInstance(*window);
        throw;
    }
    return window;
}

bool HasImplicitWindow(const String& name)
{
    return Instances().contains(name.Bytes());
}

void ReleaseImplicitWindows()
{
    while (!Instances().empty()) {
        const auto window = Instances().begin()->second;
        window->Close();
        ForgetInstance(*window);
    }
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

} // namespace framework
