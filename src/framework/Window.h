// SPDX-License-Identifier: MIT
#pragma once

#include "framework/Color.h"
#include "framework/Control.h"
#include "framework/Menu.h"
#include "framework/Picture.h"
#include "framework/Reference.h"

#include <functional>
#include <map>
#include <memory>
#include <vector>

namespace framework {

/// A window with its controls. Making one runs `Layout`, `CreateControls` and `AddMenuHandlers`; `Open` then raises the
/// controls' `Open` events in order, after them the window's own, and shows it.
class Window {
public:
    Window();
    virtual ~Window();
    Window(const Window&) = delete;
    Window& operator=(const Window&) = delete;

    enum : int32_t { Document = 0, Floating = 3 };

    // Properties that `Layout` gives where they are to differ from what stands here.
    int32_t Placement = 0;
    int32_t Frame = Document;
    bool Composite = false;
    bool HasBackColor = false;
    Color BackColor{255, 255, 255};
    bool FullScreen = false;
    bool MenuBarVisible = true;
    bool CloseButton = true;
    bool MinimizeButton = true;
    bool MaximizeButton = true;
    bool Resizeable = true;
    bool LiveResize = true;
    int32_t MacProcID = 0;
    int32_t MinWidth = 64;
    int32_t MinHeight = 64;
    int32_t MaxWidth = 32000;
    int32_t MaxHeight = 32000;

    /// Closing this window ends the program, whatever others are open; the application's `MayQuit` is asked first when
    /// the user closes it.
    bool EndsProgram = false;

    /// Asked before a menu item does anything in front of this window. True: it is not to be done, which the user has
    /// been told.
    std::function<bool(const MenuItem& item)> RefusesMenuItem;

    /// Carries out what a menu item does by calling `action`, and may look at what came of it. Empty: just that.
    std::function<void(const MenuItem& item, const std::function<void()>& action)> CarriesOutMenuItem;

    String Title() const;
    void Title(const String& value);

    /// What the title bar shows behind the title: a passing state. Empty: nothing.
    String TitleNote() const;
    void TitleNote(const String& value);
    int32_t Width() const; ///< of the content, without the menu bar
    void Width(int32_t value);
    int32_t Height() const;
    void Height(int32_t value);
    bool Visible() const;
    void Visible(bool value);

    /// A picture behind the controls, drawn at the top left corner.
    Reference<Picture> Backdrop() const;
    void Backdrop(Reference<Picture> value);

    /// Shows the window and brings it to the front.
    void Show();

    /// Closes the window: its own `Close` event, those of its controls, then it is gone from the screen and an implicit
    /// instance ends.
    void Close();

    /// Makes a control of class `T` a part of the window under a name (the first of the three steps).
    template <typename T> T* Add(const String& name, std::shared_ptr<T> control = std::make_shared<T>())
    {
        AddControl(name, control);
        return control.get();
    }

    /// The control of that name and class, or null; of an array, the member with that index.
    template <typename T> T* ControlNamed(const String& name, int32_t index = -1) const
    {
        return dynamic_cast<T*>(FindControl(name, index).get());
    }

    /// The same as a counted reference, for a caller that keeps the control or may find none.
    template <typename T> Reference<T> ControlReference(const String& name, int32_t index = -1) const
    {
        return Reference<T>(std::dynamic_pointer_cast<T>(FindControl(name, index)));
    }

    /// Binds the menu items of a name to a handler while this window is in front. A handler answers whether the command
    /// was dealt with.
    void _AddMenuHandler(const String& itemName, std::function<bool()> handler);

    /// The platform's number for the window.
    int32_t WindowReference() const;

    /// Port that holds the window's content.
    platform::PortReference Port() const;

    /// Runs the start sequence of a window that was just made.
    void Construct();

    /// Raises `EnableMenuItems` for the controls and the window and applies the auto-enable rule to the bar.
    void UpdateMenus();

    /// Runs the handler bound to an item, as choosing it does. False when the item is disabled or has none.
    bool ChooseMenuItem(const Reference<MenuItem>& item);

protected:
    virtual void Layout() {}
    virtual void CreateControls() {}
    virtual void AddMenuHandlers() {}
    virtual void Event_Open() {}
    virtual void Event_Close() {}
    virtual void Event_Resized() {}
    virtual void Event_EnableMenuItems() {}

private:
    void AddControl(const String& name, std::shared_ptr<Control> control);
    std::shared_ptr<Control> FindControl(const String& name, int32_t index) const;
    void MakeWidget();
    String ShownTitle() const;
    void SetSize(int32_t width, int32_t height);
    void ContentResized(int32_t width, int32_t height);
    void BringToScreen();
    void RaiseCloseEvents();
    void FinishClosing();
    friend class Application;
    friend class WindowWidget;
    friend class RectControl;
    struct State;
    std::unique_ptr<State> state;
};

/// The implicit instance of a window class, kept under a name ("MovieWindow.MovieWindow"): when there is none, `make`
/// makes the object and its start sequence is run; it is forgotten when the window closes.
std::shared_ptr<Window> _GetImplicitWindow(const String& name, const std::function<std::shared_ptr<Window>()>& make);

/// Whether an implicit window lives under that name, which this does not make.
bool HasImplicitWindow(const String& name);

/// Closes all implicit windows and forgets them: a step of the process's end.
void ReleaseImplicitWindows();

} // namespace framework
