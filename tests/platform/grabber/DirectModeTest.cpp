#include "TestSession.h"

#include "platform/drawing/GraphicsWorlds.h"
#include "platform/drawing/Ports.h"
#include "platform/files/DirectoryNumbers.h"
#include "platform/movies/MovieRecovery.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

using namespace grabbertest;

namespace {

/// Average of the blue, green and red of a pixel.
int Brightness(const PortPixels& pixels, int x, int y)
{
    const uint8_t* pixel = pixels.pixels + y * pixels.rowBytes + x * 4;
    return (pixel[0] + pixel[1] + pixel[2]) / 3;
}

std::string OutputOf(const std::string& command)
{
    std::string output;
    FILE* pipe = popen(command.c_str(), "r");
    char buffer[4096];
    while (pipe && fgets(buffer, sizeof buffer, pipe))
        output += buffer;
    if (pipe)
        pclose(pipe);
    return output;
}

} // namespace

class DirectModeTest : public GrabberTest {
protected:
    DirectModeTest() : folder(std::filesystem::temp_directory_path() / "velmora-direct-XXXXXX")
    {
        std::string name = folder.string();
        folder = mkdtemp(name.data());
        const auto numbers = NumbersOfDirectory(folder.string());
        Poke(file.Get(), numbers.volume);
        Poke(file.Get() + 2, numbers.directory);
        Poke(file.Get() + 6, std::array<char, 10>{9, 'a', ' ', 'b', '\'', 'c', '.', 'm', 'o', 'v'});
        port = NewPort(100, 80);
        SGSetGWorld(session, port, 0);
    }
    ~DirectModeTest() override
    {
        SGStop(session);
        ReleasePort(port);
        std::filesystem::remove_all(folder);
    }

    std::string Path() const { return (folder / "a b'c.mov").string(); }

    std::filesystem::path folder;
    OwnedBlock file{69};
    PortReference port = 0;
    std::vector<uint8_t> frame = JpegPicture(64, 48, 200);
};

// A preview is drawn into the channel's bounds and nowhere else, and follows them.
TEST_F(DirectModeTest, PreviewIsDrawnIntoTheBounds)
{
    video = NewChannel(kVideoMediaType, 7);
    Poke(cell.Get(), std::array<int16_t, 4>{10, 20, 42, 84});
    SGSetChannelBounds(video, cell.Get());
    EXPECT_EQ(SGStartPreview(session), noErr);
    devices.Camera()->Send(kSecond, frame);
    IdleAt(kSecond);
    const auto pixels = PixelsOfPort(port);
    ASSERT_TRUE(pixels);
    EXPECT_NEAR(Brightness(*pixels, 21, 11), 200, 3);
    EXPECT_NEAR(Brightness(*pixels, 83, 41), 200, 3);
    for (const auto& [x, y] : {std::pair(19, 20), std::pair(84, 20), std::pair(50, 9), std::pair(50, 42)})
        EXPECT_EQ(Brightness(*pixels, x, y), 0) << x << ' ' << y;
    Poke(cell.Get(), std::array<int16_t, 4>{50, 0, 80, 10});
    SGSetChannelBounds(video, cell.Get());
    // A damaged frame draws nothing and does no harm.
    devices.Camera()->Send(2 * kSecond, std::vector<uint8_t>{1, 2, 3});
    IdleAt(2 * kSecond);
    EXPECT_EQ(Brightness(*pixels, 5, 60), 0);
    devices.Camera()->Send(3 * kSecond, frame);
    IdleAt(3 * kSecond);
    EXPECT_NEAR(Brightness(*pixels, 5, 60), 200, 3);

    // While recording it is drawn only where the usage says so.
    SGSetChannelUsage(video, seqGrabRecord);
    SGStartRecord(session);
    const auto dark = JpegPicture(64, 48, 50);
    devices.Camera()->Send(4 * kSecond, dark);
    IdleAt(4 * kSecond);
    EXPECT_NEAR(Brightness(*pixels, 5, 60), 200, 3);
    SGSetChannelUsage(video, seqGrabRecord | seqGrabPlayDuringRecord);
    devices.Camera()->Send(5 * kSecond, dark);
    IdleAt(5 * kSecond);
    EXPECT_NEAR(Brightness(*pixels, 5, 60), 50, 3);
}

TEST_F(DirectModeTest, PicturesAreGrabbed)
{
    video = NewChannel(kVideoMediaType, 7);
    SGStartPreview(session);
    const Address picture = cell.Get();
    const Address bounds = cell.Get() + 8;
    Poke(bounds, std::array<int16_t, 4>{5, 5, 25, 35});
    EXPECT_EQ(SGGrabPict(session, picture, bounds, 0, 2), seqGrabInfoNotAvailable);
    devices.Camera()->Send(kSecond, frame);
    IdleAt(kSecond);
    SGPause(session, 1);
    ASSERT_EQ(SGGrabPict(session, picture, bounds, 0, 2), noErr);
    const auto handle = Peek<Handle>(picture);
    const auto bytes = HandleBytes(handle);
    ASSERT_EQ(bytes.size(), 86U + 30 * 20 * 4);
    EXPECT_EQ(bytes[32], 30);
    EXPECT_EQ(bytes[34], 20);
    EXPECT_NEAR(bytes[86], 200, 3);
    EXPECT_NEAR(bytes[86 + 29 * 4 + 19 * 120 + 2], 200, 3);
    DisposeHandle(handle);
    Poke(bounds, std::array<int16_t, 4>{5, 5, 5, 35});
    EXPECT_EQ(SGGrabPict(session, picture, bounds, 0, 2), paramErr);
    Poke(bounds, std::array<int16_t, 4>{-32768, -32768, 32767, 32767});
    EXPECT_EQ(SGGrabPict(session, picture, bounds, 0, 2), paramErr);
    SGPause(session, 0);
    devices.Camera()->Send(2 * kSecond, std::vector<uint8_t>{0xFF, 0xD8, 9});
    IdleAt(2 * kSecond);
    Poke(bounds, std::array<int16_t, 4>{0, 0, 20, 20});
    EXPECT_NE(SGGrabPict(session, picture, bounds, 0, 2), noErr);
    EXPECT_EQ(Peek<Handle>(picture), 0);
}

// A movie that the grabber writes by itself begins with its first frame, holds the measured times, and is in step.
TEST_F(DirectModeTest, RecordsAMovie)
{
    video = NewChannel(kVideoMediaType, 7);
    sound = NewChannel(kSoundMediaType, 7);
    EXPECT_EQ(SGStartPreview(session), noErr);
    int64_t now = 5 * kSecond;
    const auto run = [&](int frames, int64_t soundLead) {
        for (int i = 0; i < frames; ++i, now += 40 * kMillisecond) {
            devices.Camera()->Send(now + (i % 3) * 2 * kMillisecond, frame);
            devices.Microphone()->Send(now - soundLead, 40);
            EXPECT_EQ(IdleAt(now + 40 * kMillisecond), noErr);
        }
    };
    run(5, 0);
    EXPECT_EQ(SGSetDataOutput(session, file.Get(), seqGrabToDisk | seqGrabAppendToFile), noErr);
    EXPECT_EQ(SGPrepare(session, 1, 1), noErr);
    EXPECT_EQ(SGStartRecord(session), noErr);
    EXPECT_EQ(SGSetDataOutput(session, file.Get(), seqGrabToDisk), cantDoThatInCurrentMode);
    EXPECT_EQ(SGSetSoundInputRate(sound, 8000 << 16), cantDoThatInCurrentMode);
    run(50, 15 * kMillisecond);
    EXPECT_EQ(SGStop(session), noErr);
    // The output is used up: nothing is written over what has been recorded.
    EXPECT_EQ(SGStartRecord(session), noErr);
    EXPECT_EQ(SGStartPreview(session), noErr);
    EXPECT_EQ(SGSetSoundInputRate(sound, 8000 << 16), noErr);

    const std::string probe = "ffprobe -v error -show_entries stream=codec_name,codec_type,nb_frames,duration_ts,"
                              "time_base,start_time,width,sample_rate -of compact \"" +
                              Path() + "\" 2>&1";
    const std::string streams = OutputOf(probe);
    EXPECT_NE(streams.find("codec_name=mjpeg|codec_type=video|width=64"), std::string::npos) << streams;
    EXPECT_NE(streams.find("nb_frames=50"), std::string::npos) << streams;
    EXPECT_NE(streams.find("codec_name=pcm_s16le|codec_type=audio|sample_rate=48000"), std::string::npos) << streams;
    RecoveredMovie found;
    std::string written;
    EXPECT_EQ(RecoverMovie(Path(), (folder / "copy.mov").string(), found, written), noErr);
    EXPECT_TRUE(found.wasComplete);
    EXPECT_EQ(found.videoFrames, 50U);
    // From the first frame to the last piece of sound.
    EXPECT_NEAR(static_cast<double>(found.soundFrames), 48000 * (50 * 0.04 - 0.015), 2);
    EXPECT_EQ(OutputOf("ffmpeg -v error -i \"" + Path() + "\" -f null - 2>&1"), "");
    const std::string times =
        OutputOf("ffprobe -v error -select_streams v -show_entries packet=duration -of csv=p=0 \"" + Path() + "\"");
    EXPECT_EQ(times.substr(0, 9), "25\n25\n22\n") << times;
}

TEST_F(DirectModeTest, FailuresOfTheOutputAreResults)
{
    video = NewChannel(kVideoMediaType, 7);
    const auto start = [&] { return SGStartRecord(session); };
    EXPECT_EQ(SGSetDataOutput(session, file.Get(), 0), noErr);
    Poke<uint8_t>(file.Get() + 6, 0);
    EXPECT_EQ(SGSetDataOutput(session, file.Get(), seqGrabToDisk), bdNamErr);
    Poke<uint8_t>(file.Get() + 6, 200);
    EXPECT_EQ(SGSetDataOutput(session, file.Get(), seqGrabToDisk), paramErr);
    Poke<uint8_t>(file.Get() + 6, 9);
    Poke<int32_t>(file.Get() + 2, 100000);
    EXPECT_EQ(SGSetDataOutput(session, file.Get(), seqGrabToDisk), dirNFErr);
    EXPECT_EQ(SGSetDataOutput(session, 0, seqGrabToDisk), paramErr);

    // A movie that is there already isn't appended to, and stays.
    if (FILE* existing = fopen(Path().c_str(), "w")) {
        fputs("something", existing);
        fclose(existing);
    }
    Poke<int32_t>(file.Get() + 2, NumbersOfDirectory(folder.string()).directory);
    EXPECT_EQ(SGSetDataOutput(session, file.Get(), seqGrabToDisk | seqGrabAppendToFile), noErr);
    EXPECT_EQ(start(), dupFNErr);
    EXPECT_EQ(std::filesystem::file_size(Path()), 9U);
    std::filesystem::remove_all(folder);
    EXPECT_NE(start(), noErr);
    EXPECT_EQ(SGGetMode(session, cell.Get(), cell.Get() + 4), noErr);
    EXPECT_EQ(Peek<int32_t>(cell.Get() + 4), 0);
    EXPECT_EQ(SGSetDataRef(session, 0, 0, seqGrabDontMakeMovie), noErr);
    EXPECT_EQ(start(), noErr);
}
