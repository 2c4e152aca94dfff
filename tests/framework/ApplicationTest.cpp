#include "framework/Date.h"
#include "framework/FolderItem.h"
#include "framework/Guard.h"
#include "framework/Support.h"
#include "framework/TextStreams.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QFileDialog>
#include <QLineEdit>
#include <QMessageBox>
#include <QTemporaryDir>
#include <QTimer>

#include <stdexcept>

namespace framework {
namespace {

// Does something with the dialog that opens next, from within its own event loop.
void WithDialog(const std::function<void(QDialog&)>& answer)
{
    QTimer::singleShot(0, [answer] {
        auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
        if (dialog != nullptr)
            answer(*dialog);
        else
            WithDialog(answer);
    });
}

TEST(MsgBox, ShowsPlainTextAndWaitsForOK)
{
    QString shown;
    WithDialog([&](QDialog& dialog) {
        auto& box = dynamic_cast<QMessageBox&>(dialog);
        shown = box.text();
        EXPECT_EQ(box.textFormat(), Qt::PlainText);
        EXPECT_EQ(box.standardButtons(), QMessageBox::Ok);
        box.accept();
    });
    MsgBox("SoundVolume = <b>1</b>\n…");
    EXPECT_EQ(shown, "SoundVolume = <b>1</b>\n…");
}

TEST(FileDialog, KeepsTheNameAsTyped)
{
    const QTemporaryDir folder;
    const QString typed = folder.filePath("My movie.1");
    WithDialog([&](QDialog& dialog) {
        auto& files = dynamic_cast<QFileDialog&>(dialog);
        EXPECT_EQ(files.acceptMode(), QFileDialog::AcceptSave);
        EXPECT_FALSE(files.testOption(QFileDialog::DontConfirmOverwrite));
        auto* name = files.findChild<QLineEdit*>("fileNameEdit");
        ASSERT_NE(name, nullptr);
        EXPECT_EQ(name->text(), "UntitledMovie");
        name->setText(typed);
        QMetaObject::invokeMethod(&files, "accept");
    });
    const auto chosen = GetSaveFolderItem("", "UntitledMovie");
    ASSERT_TRUE(chosen);
    EXPECT_EQ(chosen->AbsolutePath().Bytes(), typed.toStdString());

    chosen->CreateTextFile()->Write("x");
    WithDialog([&](QDialog& dialog) {
        auto& files = dynamic_cast<QFileDialog&>(dialog);
        EXPECT_EQ(files.directory().absolutePath().toStdString(), folder.path().toStdString())
            << "begins where the last choice was";
        EXPECT_TRUE(files.nameFilters().constFirst().startsWith("text "));
        files.findChild<QLineEdit*>("fileNameEdit")->setText("My movie.1");
        QMetaObject::invokeMethod(&files, "accept");
    });
    const auto opened = GetOpenFolderItem("text");
    ASSERT_TRUE(opened);
    EXPECT_EQ(opened->Name(), "My movie.1");
    WithDialog([](QDialog& dialog) { dialog.reject(); });
    EXPECT_FALSE(GetOpenFolderItem("text"));
}

// Collects the texts of message boxes.
struct Boxes {
    Boxes()
    {
        SetMsgBoxHandler([this](const String& text) { texts.push_back(text.Bytes()); });
    }
    ~Boxes() { SetMsgBoxHandler({}); }
    Log texts;
};

TEST(Exceptions, OfTheFrameworkAreShownAndTheProgramRunsOn)
{
    Boxes boxes;
    Guard([] { throw NilObjectException(); });
    Guard([] { throw Reference<RuntimeException>(New<RuntimeException>("by reference")); });
    Guard([] { throw Reference<RuntimeException>(); });
    Guard([] {});
    EXPECT_EQ(boxes.texts, (Log{"Nil object", "by reference", "An exception was raised."}));

    // Also from what others hang into the event loop, and not again while the box is open.
    SetMsgBoxHandler([&](const String& text) {
        boxes.texts.push_back(text.Bytes());
        Guard([] { throw RuntimeException("behind the box"); });
    });
    boxes.texts.clear();
    QTimer::singleShot(0, [] { throw RuntimeException("in the loop"); });
    Turn();
    EXPECT_EQ(boxes.texts, Log{"in the loop"});
}

TEST(Exceptions, OfOthersEndTheProgramWithAFailure)
{
    Boxes boxes;
    TestWindow window;
    auto* timer = window.Add<Timer>("Timer");
    timer->Action = [] { throw std::logic_error("a fault"); };
    timer->Period(1);
    timer->Mode(Timer::Single);
    window.Construct();
    testing::internal::CaptureStderr();
    EXPECT_EQ(RunEventLoop(), EXIT_FAILURE);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("a fault"), std::string::npos);
    EXPECT_EQ(boxes.texts, Log{});
}

TEST(Application, WaitsForAnEventNoLongerThanAsked)
{
    Application application;
    bool fired = false;
    QTimer::singleShot(0, [&] { fired = true; });
    application.DoEvents(0);
    EXPECT_TRUE(fired);
    QTimer::singleShot(20, [&] { fired = false; });
    while (fired)
        application.DoEvents(10000);
    EXPECT_FALSE(fired);
}

TEST(Application, SmallServices)
{
    const int32_t before = BreakCount();
    Break();
    EXPECT_EQ(BreakCount(), before + 1);
    std::string opened;
    SetShowURLHandler([&](const String& url) { opened = url.Bytes(); });
    ShowURL("https://example.org/velmora/");
    SetShowURLHandler({});
    EXPECT_EQ(opened, "https://example.org/velmora/");
    const Date date;
    EXPECT_LT(date.Hour(), 24);
    EXPECT_NE(date.LongDate().Bytes().find(std::to_string(QDate::currentDate().year())), std::string::npos);
}

} // namespace
} // namespace framework
