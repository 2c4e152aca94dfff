#include "framework/Support.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QMenu>
#include <QWindow>

// What a window system does with a key: Qt's own tests press keys by the same function.
Q_GUI_EXPORT bool qt_sendShortcutOverrideEvent(QObject* receiver, ulong time, int key, Qt::KeyboardModifiers modifiers,
                                               const QString& text, bool isRepeat, ushort count);

namespace framework {
namespace {

template <typename Item = MenuItem>
Reference<MenuItem> MakeItem(const Reference<MenuItem>& menu, const char* name, const char* text,
                             const char* shortcut = "", bool autoEnable = true)
{
    const Reference<MenuItem> item = New<Item>();
    item->Name = name;
    item->Text = text;
    item->KeyboardShortcut = shortcut;
    item->AutoEnable = autoEnable;
    menu->Append(item);
    return item;
}

class MenuTest : public testing::Test {
protected:
    void SetUp() override
    {
        const auto file = MakeItem(bar, "FileMenu", "&File", "", false);
        MakeItem(file, "FileClose", "Close", "Cmd+W", false);
        MakeItem(file, "FileSave", "Save", "Cmd+S");
        MakeItem(file, "Separator", "-");
        MakeItem<QuitMenuItem>(file, "FileQuit", "Quit", "Cmd+Q");
        const auto video = MakeItem(bar, "VideoMenu", "Video");
        MakeItem(video, "VideoEnabled", "Enabled");
        MakeItem(video, "Unbound", "Unbound");
        MakeItem(video, "DeviceMenu", "Devices", "", false);
        const auto application = std::make_shared<Application>();
        application->MenuBar(bar);
        RegisterApplication(application);

        window.handlers = [this](TestWindow& w) {
            for (const char* name : {"FileSave", "VideoEnabled", "testmenu"})
                w._AddMenuHandler(name, [this, name] {
                    chosen.push_back(name);
                    return false;
                });
        };
        window.controls = [](TestWindow& w) { w.Add<TestCanvas>("Canvas1")->log = &w.log; };
        window.Construct();
        window.log.clear();
    }

    void TearDown() override { RegisterApplication(nullptr); }

    QWidget* Top() { return window.ControlNamed<Canvas>("Canvas1")->Widget()->window(); }
    QAction* ActionNamed(const char* name)
    {
        for (auto* action : Top()->findChildren<QAction*>(name))
            if (!action->associatedObjects().isEmpty())
                return action;
        return nullptr;
    }
    // As the menu does when it opens.
    void OpenMenu(const char* name) { emit ActionNamed(name)->menu<QMenu*>()->aboutToShow(); }

    bool Enabled(const char* name) { return bar->_Lookup(name)->Enabled; }

    Reference<MenuBar> bar = New<MenuBar>();
    TestWindow window;
    Log chosen;
};

TEST_F(MenuTest, EnablesByTheFrontWindowsHandlersBeforeItAsksForMore)
{
    window.onEnable = [this] {
        EXPECT_FALSE(Enabled("FileClose")) << "starts disabled at each update";
        EXPECT_TRUE(Enabled("FileSave"));
        bar->_Lookup("FileClose")->Enable();
        bar->_Lookup("FileSave")->Enabled = false;
    };
    OpenMenu("FileMenu");
    EXPECT_EQ(window.log, (Log{"Canvas1 enable", "window enable"}));
    const std::pair<const char*, bool> expected[] = {
        {"FileClose", true}, {"FileSave", false}, {"FileQuit", true},    {"VideoEnabled", true},
        {"Unbound", false},  {"FileMenu", true},  {"DeviceMenu", false}, {"VideoMenu", true},
    };
    for (const auto& [name, enabled] : expected)
        EXPECT_EQ(ActionNamed(name)->isEnabled(), enabled) << name;
    window.onEnable = {};
    OpenMenu("VideoMenu");
    EXPECT_FALSE(Enabled("FileClose"));
    EXPECT_TRUE(Enabled("FileSave"));
}

TEST_F(MenuTest, ChoosesOnlyWhatIsEnabledAndBound)
{
    window.UpdateMenus();
    EXPECT_TRUE(window.ChooseMenuItem(bar->_Lookup("FileSave")));
    EXPECT_FALSE(window.ChooseMenuItem(bar->_Lookup("Unbound")));
    EXPECT_FALSE(window.ChooseMenuItem(bar->_Lookup("FileClose")));
    EXPECT_FALSE(window.ChooseMenuItem(bar->_Lookup("FileMenu")));
    EXPECT_EQ(chosen, Log{"FileSave"});
}

TEST_F(MenuTest, AShortcutActsWithTheEnablingOfThatMoment)
{
    Top()->activateWindow();
    ASSERT_TRUE(TurnUntil([this] { return QApplication::activeWindow() == Top(); }));
    const auto press = [this](int key) {
        window.log.clear();
        qt_sendShortcutOverrideEvent(Top()->windowHandle(), 0, key, Qt::ControlModifier, QString(), false, 1);
        Turn();
    };
    bool closeEnabled = false;
    int closed = 0;
    window.onEnable = [&] { bar->_Lookup("FileClose")->Enabled = closeEnabled; };
    window._AddMenuHandler("FileClose", [&] { return ++closed > 0; });
    press(Qt::Key_W);
    EXPECT_EQ(closed, 0);
    EXPECT_EQ(window.log, (Log{"Canvas1 enable", "window enable"}));
    closeEnabled = true;
    press(Qt::Key_W);
    EXPECT_EQ(closed, 1);
    press(Qt::Key_S);
    EXPECT_EQ(chosen, Log{"FileSave"});
    press(Qt::Key_J);
    EXPECT_EQ(window.log, Log{}) << "a key that is no shortcut raises nothing";
}

} // namespace
} // namespace framework
