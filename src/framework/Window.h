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

/// A window with its controls. `Construct` runs `Layout`, `CreateControls` and `AddMenuHandlers`, raises the controls'
/// `Open` events in order and then the window's own, and shows the window.
class Window {
public:
    /// A window that is not on the screen yet; see `Construct`.
    Window();
    virtual ~Window();
    Window(const Window&) = delete;
    Window& operator=(const Window&) = delete;

    enum : int32_t { Document = 0, Floating = 3 };

    // Properties to be set in `Layout`, with their defaults.
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

    /// Closing this window ends the program, even if other windows are open. If the user closes it, the application's
    /// `MayQuit` is called first.
    bool EndsProgram = false;

    /// Called before a menu item's handler. Return true to suppress the item, after telling the user why.
    std::function<bool(const MenuItem& item)> RefusesMenuItem;

    /// Carries out a menu item by calling `action`, and may check the result. Not set: `action` is called directly.
    std::function<void(const MenuItem& item, const std::function<void()>& action)> CarriesOutMenuItem;

    String Title() const;            ///< the title; empty: the title bar shows the program's name
    void Title(const String& value); ///< sets the title

    String TitleNote() const;            ///< a temporary state shown after the title; empty: none
    void TitleNote(const String& value); ///< sets the text after the title
    int32_t Width() const;               ///< of the content in pixels, without the menu bar
    void Width(int32_t value);           ///< clamped to `MinWidth` to `MaxWidth`
    int32_t Height() const;              ///< of the content in pixels, without the menu bar
    void Height(int32_t value);          ///< clamped to `MinHeight` to `MaxHeight`
    bool Visible() const;                ///< whether the window is shown
    void Visible(bool value);            ///< shows or hides the window

    /// The picture behind the controls, drawn at the top left corner; nil without one.
    Reference<Picture> Backdrop() const;
    /// Sets the picture behind the controls.
    void Backdrop(Reference<Picture> value);

    /// Shows the window and brings it to the front.
    void Show();

    /// Closes the window: raises its `Close` event and those of its controls, hides it and releases an implicit
    /// instance.
    void Close();

    /// Adds a control of class `T` under a name, which is the first of the three steps.
    template <typename T> T* Add(const String& name, std::shared_ptr<T> control = std::make_shared<T>())
    {
        AddControl(name, control);
        return control.get();
    }

    /// The control of that name and class, or null; in a control array, the one with that index.
    template <typename T> T* ControlNamed(const String& name, int32_t index = -1) const
    {
        return dynamic_cast<T*>(FindControl(name, index).get());
    }

    /// The same as a counted reference, for a caller that keeps the control.
    template <typename T> Reference<T> ControlReference(const String& name, int32_t index = -1) const
    {
        return Reference<T>(std::dynamic_pointer_cast<T>(FindControl(name, index)));
    }

    /// Sets the handler of the menu items of that name for this window. It returns whether it handled the command.
    void _AddMenuHandler(const String& itemName, std::function<bool()> handler);

    /// The platform's reference to the window.
    int32_t WindowReference() const;

    /// The port of the window's content.
    platform::PortReference Port() const;

    /// Runs the start sequence of a new window. Does nothing the second time.
    void Construct();

    /// Disables menu items without a handler, then raises `EnableMenuItems` of the controls and the window.
    void UpdateMenus();

    /// Runs the handler of a menu item. Returns false if the item is disabled or has none.
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
    friend class WindowWidget;
    struct State;
    std::unique_ptr<State> state;
};

/// The implicit instance of a window class, stored under a name ("MovieWindow.MovieWindow"). If there is none, `make`
/// creates the object and its start sequence runs. It is removed when the window is closed.
std::shared_ptr<Window> _GetImplicitWindow(const String& name, const std::function<std::shared_ptr<Window>()>& make);

/// Whether there is an implicit window of that name. Creates none.
bool HasImplicitWindow(const String& name);

/// Closes and releases all implicit windows, at the end of the process.
void ReleaseImplicitWindows();

} // namespace framework
