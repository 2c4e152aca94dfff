// The sound server's sources against a real server, private to the test.
#include "platform/sound/PulseServer.h"

#include "CollectingSink.h"
#include "PulseSession.h"
#include "SampleValues.h"
#include "platform/memory/FixedPoint.h"
#include "platform/sound/SoundInput.h"
#include "platform/sound/SoundWatcher.h"

#include <gtest/gtest.h>
#include <numbers>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

using namespace platform;

namespace {

constexpr double kToneFrequency = 997;
constexpr double kLeftLevel = 0.5;
constexpr double kRightLevel = 0.25;
constexpr const char* kMonitor = "pulse:test-sink.monitor";

// A socket that takes connections and never answers, or none at all. Comes first: a connection reads the environment,
// which may not change under one that lives.
TEST(PulseServer, NeitherAnAbsentNorAHangingServerHoldsTheListUp)
{
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    std::snprintf(address.sun_path, sizeof address.sun_path, "/tmp/velmora-hanging.%d", getpid());
    const int hanging = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(bind(hanging, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(listen(hanging, 5), 0);
    for (const std::string& path : {std::string("/tmp/velmora-no-such-server"), std::string(address.sun_path)}) {
        setenv("PULSE_SERVER", ("unix:" + path).c_str(), 1);
        PulseServer server;
        EXPECT_TRUE(server.Sources().empty());
        EXPECT_TRUE(server.Sources().empty()) << "while the first attempt is still under way";
    }
    close(hanging);
    unlink(address.sun_path);
}

class PulseAudio : public testing::Test {
protected:
    static void SetUpTestSuite()
    {
        if (PulseSession::IsInstalled())
            session = std::make_unique<PulseSession>();
    }
    static void TearDownTestSuite() { session.reset(); }

    void SetUp() override
    {
        if (!session)
            GTEST_SKIP() << "no sound server installed";
    }

    // Plays a tone into the sink, other on the left than on the right, for as long as the result lives.
    static std::unique_ptr<ChildProcess> PlayTone()
    {
        const auto file = session->Directory() / "tone.raw";
        std::ofstream stream(file, std::ios::binary);
        for (int i = 0; i < 48000 * 60; ++i) {
            const double value = std::sin(2 * std::numbers::pi * kToneFrequency * i / 48000);
            const int16_t frame[] = {static_cast<int16_t>(std::lround(32767 * kLeftLevel * value)),
                                     static_cast<int16_t>(std::lround(32767 * kRightLevel * value))};
            stream.write(reinterpret_cast<const char*>(frame), sizeof frame);
        }
        stream.close();
        return std::make_unique<ChildProcess>(std::vector<std::string>{"pacat", "--playback", "--device=test-sink",
                                                                       "--raw", "--format=s16le", "--rate=48000",
                                                                       "--channels=2", file.string()});
    }

    static inline std::unique_ptr<PulseSession> session;
};

using Buffers = std::vector<CollectingSink::Buffer>;

double LevelOf(const CollectingSink::Buffer& buffer, size_t channel)
{
    return PeakOf(SampleValues(buffer.bytes, buffer.format, channel));
}

// A second's worth of buffers behind the first that has the tone.
Buffers ToneIn(CollectingSink& sink)
{
    const auto first = [](const Buffers& buffers) {
        return std::ranges::find_if(buffers, [](const auto& buffer) { return LevelOf(buffer, 0) > 0.3; });
    };
    Buffers buffers = sink.WaitFor([&](const Buffers& all) {
        const auto start = first(all);
        return start != all.end() && all.back().captureTime - start->captureTime > 1'000'000'000;
    });
    buffers.erase(buffers.begin(), first(buffers));
    return buffers;
}

// The middle one of what is measured in each buffer: a busy machine may tear a few of them.
template <typename Measure> double Middle(const Buffers& buffers, Measure measure)
{
    std::vector<double> values;
    for (const auto& buffer : buffers)
        values.push_back(measure(buffer));
    std::ranges::nth_element(values, values.begin() + std::ssize(values) / 2);
    return values[values.size() / 2];
}

// A buffer holds some twenty periods, which measures a frequency to a few thousandths.
double FrequencyIn(const CollectingSink::Buffer& buffer)
{
    return FrequencyOf(SampleValues(buffer.bytes, buffer.format, 0), buffer.format.sampleRate);
}

TEST_F(PulseAudio, ListsItsSourcesByTheirReadableNames)
{
    const auto entries = ListSoundSources();
    ASSERT_EQ(entries.size(), 2U);
    EXPECT_EQ(entries[0].name, "Monitor of Test Sink");
    EXPECT_EQ(entries[0].identity, kMonitor);
    EXPECT_EQ(entries[1].name, "Test Tone");
    EXPECT_EQ(OpenSoundSource()->Identity(), kMonitor);
    EXPECT_EQ(OpenSoundSource("gone", "Test Tone")->Identity(), "test-tone");
}

TEST_F(PulseAudio, TellsOfNewSourcesAndListsMonitorsLast)
{
    SoundWatcher watcher;
    ListSoundSources();
    watcher.TakeChange();
    const std::string load = "pactl load-module module-null-sink channel_map=stereo ";
    const std::string sink = OutputOf(load + "sink_name=a-sink sink_properties=device.description=Same");
    const std::string microphone = OutputOf(load + "media.class=Audio/Source/Virtual sink_name=z-microphone "
                                                   "sink_properties=device.description=Same");
    EXPECT_TRUE(Await([] { return ListSoundSources().size() == 4; }));
    pollfd ready{.fd = watcher.FileDescriptor(), .events = POLLIN, .revents = 0};
    EXPECT_EQ(poll(&ready, 1, 0), 1);
    EXPECT_TRUE(watcher.TakeChange());

    std::vector<std::string> names;
    for (const auto& entry : ListSoundSources())
        names.push_back(entry.name);
    EXPECT_EQ(names, (std::vector<std::string>{"Monitor of Test Sink", "Same", "Monitor of Same", "Test Tone"}));
    std::system(("pactl unload-module " + sink).c_str());
    std::system(("pactl unload-module " + microphone).c_str());
    EXPECT_TRUE(Await([] { return ListSoundSources().size() == 2; }));
}

TEST_F(PulseAudio, CapturesTheToneInEveryFormat)
{
    const auto tone = PlayTone();
    const SoundFormat formats[] = {{48000, 2, 16}, {44100, 2, 16}, {11025, 1, 8}, {8000, 2, 8}, {22050, 1, 16}};
    const auto source = OpenSoundSource(kMonitor);
    CollectingSink sink;
    ASSERT_EQ(source->Start(sink), noErr);
    for (const SoundFormat& format : formats) {
        SCOPED_TRACE(testing::Message() << format.sampleRate << " " << format.channels << " " << format.sampleSize);
        ASSERT_EQ(source->SetFormat(format), noErr);
        sink.Clear();
        const auto buffers = ToneIn(sink);
        ASSERT_GE(buffers.size(), 20U);
        EXPECT_EQ(sink.Failures(), 0);

        const bool stereo = format.channels == 2;
        const double left = stereo ? kLeftLevel : (kLeftLevel + kRightLevel) / 2;
        const double right = stereo ? kRightLevel : left;
        LevelMeter meter;
        meter.Switch(format.channels);
        const auto levels = [&meter](const CollectingSink::Buffer& buffer) {
            meter.Feed({buffer.bytes, buffer.format, 0, 0});
            return meter.Levels();
        };
        EXPECT_NEAR(Middle(buffers, [&](const auto& buffer) { return levels(buffer).first; }), 255 * left, 2);
        EXPECT_NEAR(Middle(buffers, [&](const auto& buffer) { return levels(buffer).second; }), 255 * right, 2);
        EXPECT_NEAR(Middle(buffers, FrequencyIn), kToneFrequency, kToneFrequency * 0.005);
        // Late by what the server and a busy machine take, early by no more than the stamps are evened out.
        const double delay = Middle(buffers, [](const auto& buffer) {
            return static_cast<double>(buffer.arrivalTime - buffer.captureTime) / 1e9 - buffer.Seconds();
        });
        EXPECT_GT(delay, -0.02);
        EXPECT_LT(delay, 1);
        for (size_t i = 0; i < buffers.size(); ++i) {
            EXPECT_EQ(buffers[i].format, format);
            EXPECT_LE(buffers[i].Seconds(), 0.021);
            EXPECT_GT(buffers[i].captureTime, i == 0 ? 0 : buffers[i - 1].captureTime);
        }
    }
    source->Stop();
}

TEST_F(PulseAudio, SetsTheVolumeOfTheSource)
{
    const std::shared_ptr<SoundSource> source = OpenSoundSource(kMonitor);
    const int32_t driver = RegisterSoundDriver(source, std::make_shared<LevelMeter>());
    const OwnedBlock block(4);
    const std::pair<double, const char*> cases[] = {
        {0.5, "-6.02 dB"}, {0.25, "-12.04 dB"}, {2, " 6.02 dB"}, {0, "-inf dB"}, {1, " 0.00 dB"}};
    for (const auto& [gain, told] : cases) {
        SCOPED_TRACE(gain);
        Poke(block.Get(), X2Fix(gain));
        EXPECT_EQ(SPBSetDeviceInfo(driver, CodeOf("gain"), block.Get()), noErr);
        Poke(block.Get(), 0);
        EXPECT_EQ(SPBGetDeviceInfo(driver, CodeOf("gain"), block.Get()), noErr);
        EXPECT_EQ(Peek<Fixed>(block.Get()), X2Fix(gain));
        const std::string volume = OutputOf("pactl get-source-volume test-sink.monitor");
        EXPECT_NE(volume.find(told), std::string::npos) << volume;
    }
    EXPECT_EQ(source->SetGain(std::nan("")), paramErr);
    EXPECT_EQ(source->SetGain(1e9), paramErr);
    UnregisterSoundDriver(driver);
}

TEST_F(PulseAudio, TakesUpAServerThatDiedAndCameBack)
{
    const auto source = OpenSoundSource(kMonitor);
    CollectingSink sink;
    ASSERT_EQ(source->Start(sink), noErr);
    ASSERT_FALSE(sink.WaitFor([](const auto& all) { return all.size() >= 5; }).empty());

    session->KillServer();
    EXPECT_TRUE(sink.WaitForFailure());
    EXPECT_TRUE(Await([] { return ListSoundSources().size() == 1; })) << "only the tone is left";
    double gain = 0;
    EXPECT_EQ(source->GetGain(gain), siInputDeviceErr);
    EXPECT_EQ(source->SetGain(1), siInputDeviceErr);
    sink.Clear();

    session->StartServer();
    const auto buffers = sink.WaitFor([](const auto& all) { return all.size() >= 5; });
    ASSERT_GE(buffers.size(), 5U);
    EXPECT_GT(buffers.front().framesLost, 0U);
    EXPECT_EQ(sink.Failures(), 1);
    source->Stop();
}

TEST_F(PulseAudio, TakesUpASourceThatWasUnpluggedAndCameBack)
{
    const std::string load = "pactl load-module module-null-sink sink_name=passing";
    const std::string module = OutputOf(load);
    const auto isListed = [] { return ListSoundSources().size() == 3; };
    ASSERT_TRUE(Await(isListed));
    const auto source = OpenSoundSource("pulse:passing.monitor");
    CollectingSink sink;
    ASSERT_EQ(source->Start(sink), noErr);
    ASSERT_GE(sink.WaitFor([](const auto& all) { return all.size() >= 5; }).size(), 5U);

    std::system(("pactl unload-module " + module).c_str());
    EXPECT_TRUE(sink.WaitForFailure()) << "and no other source is recorded in its place";
    EXPECT_TRUE(Await([&] { return !isListed(); }));
    CollectingSink absent;
    EXPECT_EQ(source->Start(absent), noDeviceForChannel);
    OutputOf(load);
    EXPECT_GE(absent.WaitFor([](const auto& all) { return all.size() >= 5; }).size(), 5U);
    EXPECT_EQ(absent.Failures(), 0);
    EXPECT_EQ(sink.Failures(), 1);
}

} // namespace
