// SPDX-License-Identifier: MIT
#include "TestSession.h"

using namespace grabbertest;

class SettingsTest : public GrabberTest {
protected:
    SettingsTest()
    {
        devices.cameraList = {{"Other", "id of Other", {}, true}, {"Camera", "id of Camera", {}, true}};
        sound = NewChannel(kSoundMediaType, 5);
        video = NewChannel(kVideoMediaType, 7);
        Poke(cell.Get(), std::array<char, 7>{6, 'C', 'a', 'm', 'e', 'r', 'a'});
        EXPECT_EQ(SGSetChannelDevice(video, cell.Get()), noErr);
    }

    SGChannel ChannelAt(int16_t index)
    {
        return SGGetIndChannel(session, index, cell.Get(), cell.Get() + 4) == noErr ? Peek<SGChannel>(cell.Get()) : 0;
    }

    void ChangeEverything()
    {
        TestCamera& camera = *devices.Camera();
        camera.inputs = {"Composite", "S-Video"};
        camera.input = 1;
        camera.format = {CodeOf("yuvs"), 320, 240, 29.97};
        camera.analog[AnalogControl::Hue] = 777;
        SGSetVideoCompressor(video, 32, CodeOf("png "), 11, 22, 33);
        Poke(cell.Get(), std::array<int16_t, 4>{-1, 2, 300, 400});
        SGSetChannelBounds(video, cell.Get());
        SGSetChannelUsage(video, 3);
        SGSetChannelPlayFlags(video, 16);
        SGSetSoundInputParameters(sound, 8, 1, CodeOf("raw "));
        SGSetSoundInputRate(sound, 22050 << 16);
        SGSetChannelVolume(sound, 99);
        devices.Microphone()->gain = 0.25;
    }
};

TEST_F(SettingsTest, EverythingComesBack)
{
    const auto standard = Save();
    EXPECT_EQ(Save(), standard);
    ChangeEverything();
    const auto changed = Save();
    EXPECT_NE(changed, standard);
    devices.Camera()->inputs.clear();
    EXPECT_EQ(Restore(standard), noErr);
    EXPECT_EQ(SGSetChannelUsage(video, 1), badSGChannel); // channels are new ones
    sound = ChannelAt(1);
    video = ChannelAt(2);
    EXPECT_EQ(ChannelAt(3), 0);
    EXPECT_EQ(Save(), standard);
    EXPECT_EQ(devices.Camera()->analog[AnalogControl::Hue], 2);
    devices.Camera()->inputs = {"Composite", "S-Video"};
    EXPECT_EQ(Restore(changed), noErr);
    video = ChannelAt(2);
    EXPECT_EQ(devices.Camera()->format, (CaptureFormat{CodeOf("yuvs"), 320, 240, 29.97}));
    EXPECT_EQ(devices.Camera()->analog[AnalogControl::Hue], 777);
    EXPECT_EQ(devices.Microphone()->gain, 0.25);
    EXPECT_EQ(devices.Microphone()->format, (SoundFormat{22050, 1, 8}));
    EXPECT_EQ(Save(), changed);
}

// Nothing that a file may hold does harm, and what is refused leaves the session as it was.
TEST_F(SettingsTest, DamagedSettingsAreRefused)
{
    ChangeEverything();
    const auto saved = Save();
    for (size_t length = 0; length < saved.size(); ++length)
        EXPECT_EQ(Restore({saved.data(), saved.data() + length}), paramErr) << length;
    EXPECT_EQ(ChannelAt(2), video);
    EXPECT_EQ(Save(), saved);
    NewUserData(cell.Get());
    const auto empty = Peek<UserData>(cell.Get());
    EXPECT_EQ(SGSetSettings(session, empty, 0), paramErr);
    DisposeUserData(empty);
}

// Devices are started once, and restarted only by what differs.
TEST_F(GrabberTest, DevicesRestartOnlyForWhatChanged)
{
    StartBoth();
    int camera = 1;
    int microphone = 1;
    const auto expectStarts = [&](int ofCamera, int ofMicrophone, const char* action) {
        EXPECT_EQ(devices.Camera()->starts, camera += ofCamera) << action;
        EXPECT_EQ(devices.Microphone()->starts, microphone += ofMicrophone) << action;
    };
    const auto apply = [&](const std::vector<uint8_t>& settings) {
        SGStop(session);
        EXPECT_EQ(Restore(settings), noErr);
        SGGetIndChannel(session, 2, cell.Get(), cell.Get() + 4);
        video = Peek<SGChannel>(cell.Get());
        SGStartRecord(session);
    };
    expectStarts(0, 0, "start of the program");
    SGStop(session);
    IdleAt(TestDevices::Time() + 400 * kMillisecond);
    SGStartRecord(session);
    expectStarts(0, 0, "stop and start");
    SGSetFrameRate(video, 30 << 16);
    SGSetVideoFrameSize(video, 64, 48);
    SGSetVideoFrameSize(video, 66, 47); // the nearest is in use
    expectStarts(0, 0, "the rate and size in use");
    const auto settings = Save();
    apply(settings);
    expectStarts(0, 0, "the same settings");
    SGSetVideoFrameSize(video, 32, 24);
    expectStarts(1, 0, "another size");
    apply(settings);
    expectStarts(1, 0, "settings with another size");
    TestCamera* const first = devices.Camera();
    devices.cameraList.push_back({"Other", "id of Other", {}, true});
    const OwnedBlock name(64);
    Poke(name.Get(), std::array<char, 6>{5, 'O', 't', 'h', 'e', 'r'});
    EXPECT_EQ(SGSetChannelDevice(video, name.Get()), noErr);
    EXPECT_NE(devices.Camera(), first) << "the camera left is closed";
    EXPECT_EQ(devices.Camera("Other")->starts, 1);
    SGStop(session);
    EXPECT_NE(devices.Camera("Other")->sink, nullptr);
    IdleAt(TestDevices::Time() + 600 * kMillisecond);
    EXPECT_EQ(devices.Camera("Other")->sink, nullptr) << "nobody started again";
    SGStartRecord(session);
    EXPECT_EQ(SGRelease(session), noErr);
    EXPECT_EQ(devices.Camera("Other")->sink, nullptr);
}
