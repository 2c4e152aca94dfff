// SPDX-License-Identifier: MIT
#include "TestSession.h"

#include <QAbstractSlider>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>
#include <QSpinBox>
#include <QTabWidget>
#include <QTimer>

using namespace grabbertest;

namespace {

class SettingsDialogTest : public GrabberTest {
protected:
    SettingsDialogTest()
    {
        devices.cameraList = {{"Camera", "id of Camera", {}, true}, {"Other", "id of Other", {}, true}};
        devices.microphoneList = {{"Microphone", "id of Microphone", {}, true}};
        CollectDeliveries();
        video = NewChannel(kVideoMediaType, seqGrabRecord | seqGrabPreview);
        sound = NewChannel(kSoundMediaType);
        devices.Camera()->formats = {{CodeOf("jpeg"), 64, 48, 30}, {CodeOf("jpeg"), 32, 24, 15}};
        devices.Camera()->inputs = {"Composite", "S-Video"};
        devices.Camera()->controls = {
            {.identity = 1, .name = "Zoom & more", .maximum = 90, .deviceDefault = 7, .value = 10, .choices = {}},
            {.identity = 2,
             .name = "Automatic",
             .kind = ImageControl::Kind::Boolean,
             .maximum = 1,
             .value = 1,
             .choices = {}},
            {.identity = 3,
             .name = "Mains",
             .kind = ImageControl::Kind::Menu,
             .maximum = 2,
             .choices = {{0, "Off"}, {2, "60"}}},
            {.identity = 4, .name = "Temperature", .maximum = 9, .deviceDefault = 5, .readOnly = true, .choices = {}}};
    }

    /// Shows a channel's dialog, works it, and returns what the call returned. Work that leaves it open cancels it.
    Result Show(SGChannel channel, const std::function<void()>& work)
    {
        QTimer::singleShot(0, qApp, [&] {
            dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
            ASSERT_NE(dialog, nullptr);
            work();
            if (dialog->isVisible())
                dialog->reject();
        });
        return SGSettingsDialog(session, channel, 0, 0, 0, 0, 0);
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
        Choose("Frame size", "32 × 24");
        Choose("Frame rate", "15 frames a second");
        Open(1);
        Choose("Compressor", "ProRes 422");
        Slide("Quality", 900);
        Open(2);
        Slide("Zoom & more", 33);
        Named<QCheckBox>("Automatic")->click();
        Choose("Mains", "60");
        EXPECT_FALSE(Named<QAbstractSlider>("Temperature")->isEnabled());
    }

    void ChangeSound()
    {
        Slide("Gain", 50);
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
    EXPECT_EQ(devices.Microphone()->format, (SoundFormat{22050, 1, 16}));
    SGGetVideoCompressor(video, 0, cell.Get(), cell.Get() + 4, 0, 0);
    EXPECT_EQ(Peek<FourCharCode>(cell.Get()), CodeOf("apcn"));
    EXPECT_EQ(Peek<int32_t>(cell.Get() + 4), 900);
}

TEST_F(SettingsDialogTest, DevicesComeAndGoWhileItIsOpen)
{
    Show(video, [&] {
        Choose("Device", "Other");
        devices.Camera("Other")->analog[AnalogControl::Hue] = 5;
        devices.Camera("Other")->Fail(noDeviceForChannel);
        devices.cameraList = {{"Третья", "id of Third", {}, false}};
        Named<QComboBox>("Device")->showPopup();
        Named<QComboBox>("Device")->hidePopup();
        EXPECT_EQ(Named<QComboBox>("Device")->currentText(), "Other (not connected)");
        EXPECT_GE(Named<QComboBox>("Device")->findText("Третья (in use)"), 0);
        QTimer::singleShot(100, qApp, [&] {
            EXPECT_TRUE(Said().contains("\"Other\" is not there")) << Said().toStdString();
            Press(Qt::Key_Escape);
        });
        while (dialog->isVisible())
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
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
    const auto picture = JpegPicture(64, 48, 100);
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
            QTimer::singleShot(100, qApp, [&] { dialog->accept(); });
            while (dialog->isVisible())
                QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
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
        Choose("Format", "Photo JPEG");
        Press(Qt::Key_Return);
    });
    SGGetVideoCompressorType(video, cell.Get());
    EXPECT_EQ(Peek<FourCharCode>(cell.Get()), CodeOf("jpeg"));
}

// What only inter-frame compressors have can be set for them alone.
TEST_F(SettingsDialogTest, KeyFramesBelongToInterFrameCompressors)
{
    Show(video, [&] {
        Open(1);
        EXPECT_FALSE(Named<QComboBox>("Key frames")->isEnabled());
        EXPECT_EQ(Named<QComboBox>("Key frames")->currentText(), "Every frame");
        Choose("Compressor", "H.264");
        Choose("Key frames", "Every 30 frames");
        Choose("Rate limit", "4 Mbit a second");
        Slide("Quality between key frames", 700);
        Press(Qt::Key_Return);
    });
    SGGetVideoCompressor(video, 0, cell.Get(), 0, cell.Get() + 4, cell.Get() + 8);
    EXPECT_EQ(Peek<FourCharCode>(cell.Get()), CodeOf("avc1"));
    EXPECT_EQ(Peek<int32_t>(cell.Get() + 4), 700);
    EXPECT_EQ(Peek<int32_t>(cell.Get() + 8), 30);
}
