// SPDX-License-Identifier: MIT
#include "TestSession.h"

#include <QtWidgets>

using namespace grabbertest;

namespace {

ImageControl Integer(uint32_t identity, const std::string& name, int64_t minimum, int64_t maximum, int64_t value)
{
    return {.identity = identity,
            .name = name,
            .minimum = minimum,
            .maximum = maximum,
            .deviceDefault = maximum / 4,
            .value = value};
}

class SettingsDialogTest : public GrabberTest {
protected:
    SettingsDialogTest()
    {
        devices.cameraList.push_back({"Other", "id of Other", {}, true});
        CollectDeliveries();
        video = NewChannel(kVideoMediaType, seqGrabRecord | seqGrabPreview);
        sound = NewChannel(kSoundMediaType);
        devices.Camera()->formats = {{CodeOf("jpeg"), 64, 48, 30}, {CodeOf("jpeg"), 32, 24, 15}};
        devices.Camera()->inputs = {"Composite", "S-Video"};
        auto& controls = devices.Camera()->controls;
        controls = {Integer(1, "Zoom & more", 0, 90, 10), Integer(2, "Automatic", 0, 1, 1),
                    Integer(3, "Mains", 0, 2, 0), Integer(4, "Temperature", 0, 9, 0)};
        controls[1].kind = ImageControl::Kind::Boolean;
        controls[2].kind = ImageControl::Kind::Menu;
        controls[2].choices = {{0, "Off"}, {2, "60"}};
        controls[3].readOnly = true;
    }

    /// Shows a channel's dialog, works it, and returns what the call returned. Work that leaves it open cancels it.
    Result Show(SGChannel channel, const std::function<void()>& work, int32_t filter = 0)
    {
        QTimer::singleShot(0, qApp, [&] {
            dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
            ASSERT_NE(dialog, nullptr);
            work();
            if (dialog->isVisible())
                dialog->reject();
        });
        return SGSettingsDialog(session, channel, 0, 0, 0, filter, 0);
    }

    template <typename Widget> Widget* Named(const QString& name)
    {
        for (auto* widget : dialog->findChildren<Widget*>())
            if (widget->accessibleName() == name)
                return widget;
        ADD_FAILURE() << name.toStdString() << " is missing";
        return nullptr;
    }

    void Open(int page)
    {
        dialog->findChild<QTabWidget*>()->setCurrentIndex(page);
        Settle();
    }

    /// Leaves the dialog open for a while, works it once more, and waits until it has closed.
    void Linger(const std::function<void()>& work)
    {
        QTimer::singleShot(100, qApp, work);
        while (dialog->isVisible())
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }

    static void Settle()
    {
        for (int i = 0; i < 3; ++i)
            QCoreApplication::processEvents();
    }

    void Choose(const QString& popup, const QString& text)
    {
        auto* found = Named<QComboBox>(popup);
        ASSERT_GE(found->findText(text), 0) << text.toStdString();
        found->setCurrentIndex(found->findText(text));
        emit found->activated(found->currentIndex());
        Settle();
    }

    void Slide(const QString& slider, int value)
    {
        Named<QAbstractSlider>(slider)->setValue(value);
        Settle();
    }

    void Press(Qt::Key key)
    {
        QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier);
        QApplication::sendEvent(dialog, &press);
        Settle();
    }

    QString Said()
    {
        QString all;
        for (const QLabel* label : dialog->findChildren<QLabel*>())
            all += label->text() + '\n';
        return all;
    }

    void ChangeVideo()
    {
        Choose("Input", "S-Video");
        Choose("Picture", "32 × 24, 15 a second, Motion JPEG");
        Open(1);
        EXPECT_FALSE(Named<QComboBox>("Key frames")->isEnabled());
        EXPECT_EQ(Named<QComboBox>("Key frames")->currentText(), "Every frame");
        Choose("Compressor", "H.264");
        Slide("Quality", 900);
        Choose("Key frames", "Every 30 frames");
        Choose("Rate limit", "4 Mbit a second");
        Slide("Quality between key frames", 700);
        Open(2);
        Slide("Zoom & more", 33);
        Named<QCheckBox>("Automatic")->click();
        Choose("Mains", "60");
        EXPECT_FALSE(Named<QAbstractSlider>("Temperature")->isEnabled());
    }

    void ChangeSound()
    {
        Slide("Gain", 50);
        Named<QCheckBox>("Muted")->click();
        Open(1);
        Choose("Rate", "22.05 kHz");
        Choose("Use", "Mono");
    }

    QDialog* dialog = nullptr;
};

} // namespace

TEST_F(SettingsDialogTest, OkKeepsWhatCancelPutsBack)
{
    for (const SGChannel channel : {video, sound})
        for (const bool keep : {false, true}) {
            const auto before = Save();
            EXPECT_EQ(Show(channel,
                           [&] {
                               channel == video ? ChangeVideo() : ChangeSound();
                               Press(keep ? Qt::Key_Return : Qt::Key_Escape);
                           }),
                      keep ? noErr : userCanceledErr);
            EXPECT_EQ(Save() == before, !keep);
        }
    const TestCamera& camera = *devices.Camera();
    EXPECT_EQ(camera.input, 1);
    EXPECT_EQ(camera.format, (CaptureFormat{CodeOf("jpeg"), 32, 24, 15}));
    EXPECT_EQ(camera.controls[0].value, 33);
    EXPECT_EQ(camera.controls[1].value, 0);
    EXPECT_EQ(camera.controls[2].value, 2);
    EXPECT_EQ(devices.Microphone()->gain, 0.5);
    EXPECT_TRUE(devices.Microphone()->muted);
    EXPECT_EQ(devices.Microphone()->format, (SoundFormat{22050, 1, 16}));
    SGGetVideoCompressor(video, 0, cell.Get(), cell.Get() + 4, cell.Get() + 8, cell.Get() + 12);
    EXPECT_EQ(Peek<FourCharCode>(cell.Get()), CodeOf("avc1"));
    EXPECT_EQ((Peek<std::array<int32_t, 3>>(cell.Get() + 4)), (std::array{900, 700, 30}));
}

TEST_F(SettingsDialogTest, DevicesComeAndGoWhileItIsOpen)
{
    Show(video, [&] {
        Choose("Device", "Other");
        devices.Camera("Other")->Fail(noDeviceForChannel);
        devices.cameraList = {{"Третья", "id of Third", {}, false, "may not be opened"}};
        Named<QComboBox>("Device")->showPopup();
        Named<QComboBox>("Device")->hidePopup();
        EXPECT_EQ(Named<QComboBox>("Device")->currentText(), "Other (not connected)");
        EXPECT_GE(Named<QComboBox>("Device")->findText("Третья (not available)"), 0);
        EXPECT_TRUE(Said().contains("may not be opened")) << Said().toStdString();
        Linger([&] {
            EXPECT_TRUE(Said().contains("\"Other\" is not connected")) << Said().toStdString();
            Press(Qt::Key_Escape);
        });
    });
    // Cancel brings the first one back, though it has left the list as well.
    EXPECT_NE(devices.Camera(), nullptr);
    EXPECT_EQ(devices.Camera("Other"), nullptr);
    SGGetChannelDeviceAndInputNames(video, cell.Get(), 0, 0);
    EXPECT_EQ(Peek<char>(cell.Get() + 1), 'C');
}

// Whatever the session does when the dialog opens, it delivers nothing meanwhile and does the same again afterwards.
TEST_F(SettingsDialogTest, TheSessionGoesOnAsItWas)
{
    const auto picture = JpegFrame(64, 48, 100);
    const auto sendAt = [&](int64_t now) {
        devices.Camera()->Send(now, picture);
        IdleAt(now);
    };
    struct {
        const char* name;
        std::function<void()> begin;
        bool delivers;
        bool deviceRuns;
    } const cases[] = {{"stopped", [&] { SGStop(session); }, false, false},
                       {"recording", [&] { SGStartRecord(session); }, true, true},
                       {"paused", [&] { SGPause(session, 1); }, false, true},
                       {"previewing", [&] { SGStartPreview(session); }, false, true}};
    int64_t now = kSecond;
    for (const auto& one : cases) {
        SCOPED_TRACE(one.name);
        one.begin();
        delivered.clear();
        Show(video, [&] {
            for (int i = 0; i < 10; ++i)
                sendAt(now += 100 * kMillisecond);
            Linger([&] { dialog->accept(); });
            EXPECT_TRUE(Said().contains("64 × 48, 10.0 frames a second")) << Said().toStdString();
            EXPECT_TRUE(delivered.empty());
        });
        sendAt(now += kSecond);
        EXPECT_EQ(devices.Camera()->sink != nullptr, one.deviceRuns);
        EXPECT_EQ(VideoCount(), one.delivers ? 1U : 0U);
    }
}

// What the device itself does meanwhile is none of the dialog's business, and no other format may be left without a
// compressor.
TEST_F(SettingsDialogTest, DevicesKeepTheirOwnWays)
{
    TestCamera& camera = *devices.Camera();
    camera.controls[0].inactive = true;
    camera.formats = {{CodeOf("grey"), 64, 48, 30}, {CodeOf("jpeg"), 64, 48, 30}};
    camera.format = camera.formats[0];
    EXPECT_EQ(SGSetVideoCompressorType(video, CodeOf("grey")), noErr);
    Show(video, [&] { camera.controls[0].value = 77; });
    EXPECT_EQ(camera.controls[0].value, 77);
    Show(video, [&] {
        Choose("Format", "Motion JPEG");
        Press(Qt::Key_Return);
    });
    SGGetVideoCompressorType(video, cell.Get());
    EXPECT_EQ(Peek<FourCharCode>(cell.Get()), CodeOf("jpeg"));
}

TEST_F(SettingsDialogTest, AFilterSeesClicksAndKeysFirst)
{
    static std::vector<int32_t> seen;
    const int32_t filter = NewSGModalFilterUPP([](int32_t, int32_t event, int32_t, int32_t) {
        seen.push_back(event);
        return event == 3;
    });
    Show(
        video,
        [&] {
            seen.clear();
            for (const auto type :
                 {QEvent::MouseButtonPress, QEvent::MouseButtonDblClick, QEvent::MouseButtonRelease}) {
                QMouseEvent click(type, QPointF(1, 1), QPointF(1, 1), Qt::LeftButton, Qt::LeftButton, Qt::NoModifier);
                QApplication::sendEvent(dialog, &click);
            }
            Press(Qt::Key_Escape);
            EXPECT_TRUE(dialog->isVisible()) << "the filter has taken the key";
        },
        filter);
    EXPECT_EQ(seen, (std::vector<int32_t>{1, 1, 3}));
}

// Each range is shown in its unit, moved by slider and number, and reset; a short value of a wide range has its place.
TEST_F(SettingsDialogTest, RangesAreMovedAndReset)
{
    auto& controls = devices.Camera()->controls;
    controls = {Integer(1, "Signed", -64, 64, 0),
                Integer(2, "Byte", 0, 255, 128),
                Integer(3, "Part", 0, 100, 50),
                Integer(4, "Wide", 100, 10000, 200),
                Integer(5, "All", INT64_MIN, INT64_MAX, 7),
                Integer(6, "Exposure", 1, 10000, 166)};
    controls[5].unit = "× 0.1 ms";
    const struct {
        const char* shown;
        int position;
        int64_t moved;
    } cases[] = {{"0", -64, -64},    {"128", 255, 255},      {"50 %", 20, 20},
                 {"200", 500, 1000}, {"7", 1000, INT64_MAX}, {"16.6 ms", 250, 10}};
    Show(video, [&] {
        Open(2);
        for (size_t i = 0; i < std::size(cases); ++i) {
            const QString name = QString::fromStdString(controls[i].name);
            SCOPED_TRACE(controls[i].name);
            EXPECT_EQ(Named<QDoubleSpinBox>(name + " value")->text(), cases[i].shown);
            Slide(name, cases[i].position);
            EXPECT_EQ(controls[i].value, cases[i].moved);
            Named<QAbstractButton>("Reset " + name)->click();
            Settle();
            EXPECT_EQ(controls[i].value, controls[i].deviceDefault);
            EXPECT_FALSE(Named<QAbstractButton>("Reset " + name)->isEnabled());
        }
        // A key on the slider moves by a step of the device, also where the slider is coarser or finer than that.
        controls[3].value = 100;
        Open(1);
        Open(2);
        QKeyEvent right(QEvent::KeyPress, Qt::Key_Right, Qt::NoModifier);
        QApplication::sendEvent(Named<QAbstractSlider>("Wide"), &right);
        EXPECT_EQ(controls[3].value, 101);
        Named<QDoubleSpinBox>("Exposure value")->setValue(33.3);
        EXPECT_EQ(controls[5].value, 333);
        devices.Camera()->controlResult = ioErr;
        for (auto* button : dialog->findChildren<QPushButton*>())
            if (button->text() == "&All to default")
                button->click();
        Settle();
        EXPECT_TRUE(Said().contains("did not accept this")) << Said().toStdString();
    });
}

// Text of devices is text, an automatic switch frees what it holds, and a control may go under the hand.
TEST_F(SettingsDialogTest, DevicesMaySayAnything)
{
    auto& controls = devices.Camera()->controls;
    controls = {Integer(1, "<b>Bold</b>\n\x01", 0, 9, 5), Integer(2, std::string(10000, 'W'), 0, 9, 5),
                Integer(3, "\xD7\x90\xE2\x80\xAE", 0, 9, 5)};
    controls.push_back({.identity = 4, .name = "Auto", .kind = ImageControl::Kind::Boolean, .maximum = 1, .value = 1});
    controls[0].automaticSwitch = 4;
    for (uint32_t i = 10; i < 500; ++i)
        controls.push_back(Integer(i, "Control " + std::to_string(i), 0, 1000, 1));
    Show(video, [&] {
        Open(2);
        auto* held = Named<QAbstractSlider>("<b>Bold</b>");
        EXPECT_FALSE(held->isEnabled());
        Named<QCheckBox>("Auto")->click();
        Settle();
        EXPECT_TRUE(held->isEnabled());
        EXPECT_TRUE(Named<QAbstractSlider>(QString(79, 'W') + "…"));
        for (const QLabel* label : dialog->findChildren<QLabel*>())
            EXPECT_EQ(label->textFormat(), label->text().contains('<') ? Qt::PlainText : label->textFormat());
        auto* last = Named<QAbstractSlider>("Control 499");
        last->setSliderDown(true);
        controls.resize(2);
        last->setValue(7);
        Settle();
        Open(1);
        Open(2);
        EXPECT_TRUE(Named<QAbstractSlider>("<b>Bold</b>"));
    });
}
