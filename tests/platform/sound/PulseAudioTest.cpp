// SPDX-License-Identifier: MIT
// The sound server's sources against a real server, private to the test.
#include "platform/sound/PulseServer.h"

#include "CollectingSink.h"
#include "PulseSession.h"
#include "SampleValues.h"
#include "platform/clock/SuspendedTime.h"
#include "platform/sound/SoundWatcher.h"

#include <gtest/gtest.h>

using namespace platform;
using test::OutputOf;

namespace {

constexpr double kToneFrequency = 997;
constexpr double kLeftLevel = 0.5;
constexpr double kRightLevel = 0.25;
constexpr const char* kMonitor = "pulse:test-sink.monitor";

class PulseAudio : public testing::Test {
protected:
    static void SetUpTestSuite() { session = std::make_unique<PulseSession>(); }
    static void TearDownTestSuite() { session.reset(); }

    // Plays a tone into the sink, other on the left than on the right, for as long as the result lives.
    static test::ChildProcess PlayTone()
    {
        const std::string file = session->directory / "tone.wav";
        OutputOf("ffmpeg -v error -f lavfi -i 'aevalsrc=0.5*sin(2*PI*997*t)|0.25*sin(2*PI*997*t):s=48000:d=120' " +
                 file);
        return test::ChildProcess("paplay --device=test-sink " + file);
    }

    static inline std::unique_ptr<PulseSession> session;
};

using Buffers = std::vector<CollectingSink::Buffer>;

// A second's worth of buffers behind the first that has the tone.
Buffers ToneIn(CollectingSink& sink)
{
    const auto first = [](const Buffers& buffers) {
        return std::ranges::find_if(
            buffers, [](const auto& buffer) { return PeakOf(SampleValues(buffer.bytes, buffer.format, 0)) > 0.3; });
    };
    Buffers buffers = sink.WaitFor([&](const Buffers& all) {
        const auto start = first(all);
        return start != all.end() && all.back().captureTime - start->captureTime > 1'000'000'000;
    });
    buffers.erase(buffers.begin(), first(buffers));
    return buffers;
}

bool Delivers(CollectingSink& sink)
{
    return sink.WaitFor([](const Buffers& all) { return all.size() >= 5; }).size() >= 5;
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

TEST_F(PulseAudio, ListsMonitorsLastAndTakesUpASourceThatWasUnplugged)
{
    SoundWatcher watcher;
    ListSoundSources();
    watcher.TakeChange();
    const std::string load = "pactl load-module module-null-sink sink_properties=device.description=Same sink_name=";
    std::string sink = OutputOf(load + "passing");
    const std::string microphone = OutputOf(load + "microphone media.class=Audio/Source/Virtual");
    EXPECT_TRUE(Await([] { return ListSoundSources().size() == 4; }));
    EXPECT_TRUE(watcher.TakeChange());
    std::string names;
    for (const auto& entry : ListSoundSources())
        names += entry.name + ", ";
    EXPECT_EQ(names, "Same, Monitor of Test Sink, Monitor of Same, Test Tone, ") << "microphones before monitors";

    const auto source = OpenSoundSource("pulse:passing.monitor");
    CollectingSink arriving;
    ASSERT_EQ(source->Start(arriving), noErr);
    ASSERT_TRUE(Delivers(arriving));
    std::system(("pactl unload-module " + sink).c_str());
    EXPECT_TRUE(Await([&] { return arriving.failures > 0; })) << "and no other source is recorded in its place";
    arriving.Clear();
    sink = OutputOf(load + "passing");
    EXPECT_TRUE(Delivers(arriving));
    source->Stop();
    for (const std::string& module : {sink, microphone})
        std::system(("pactl unload-module " + module).c_str());
    EXPECT_TRUE(Await([] { return ListSoundSources().size() == 2; }));
}

TEST_F(PulseAudio, CapturesTheToneInEveryFormat)
{
    const auto tone = PlayTone();
    const SoundFormat formats[] = {{48000, 2, 16}, {44100, 2, 16}, {11025, 1, 8}, {8000, 2, 8},
                                   {22050, 1, 16}, {48000, 2, 24}, {44100, 1, 24}};
    const auto source = OpenSoundSource(kMonitor);
    CollectingSink sink;
    ASSERT_EQ(source->Start(sink), noErr);
    for (const SoundFormat& format : formats) {
        SCOPED_TRACE(testing::Message() << format.sampleRate << " " << format.channels << " " << format.sampleSize);
        ASSERT_EQ(source->SetFormat(format), noErr);
        sink.Clear();
        const auto buffers = ToneIn(sink);
        ASSERT_GE(buffers.size(), 20U);
        EXPECT_EQ(sink.failures, 0);

        for (int32_t channel = 0; channel < format.channels; ++channel) {
            const double peak = Middle(buffers, [=](const auto& buffer) {
                return PeakOf(SampleValues(buffer.bytes, buffer.format, static_cast<size_t>(channel)));
            });
            const double mixed = (kLeftLevel + kRightLevel) / 2;
            EXPECT_NEAR(peak, format.channels == 1 ? mixed : channel == 0 ? kLeftLevel : kRightLevel, 0.008);
        }
        // A buffer holds some twenty periods, which measures a frequency to a few thousandths.
        const double frequency = Middle(buffers, [](const auto& buffer) {
            return FrequencyOf(SampleValues(buffer.bytes, buffer.format, 0), buffer.format.sampleRate);
        });
        EXPECT_NEAR(frequency, kToneFrequency, kToneFrequency * 0.005);
        for (size_t i = 0; i < buffers.size(); ++i) {
            EXPECT_EQ(buffers[i].format, format);
            EXPECT_LE(buffers[i].Seconds(), 0.021);
            EXPECT_GT(buffers[i].captureTime, i == 0 ? 0 : buffers[i - 1].captureTime);
        }
    }
    source->Stop();
}

TEST_F(PulseAudio, ScalesItsVolumesTogetherAndTellsWhyItIsSilent)
{
    const std::string module =
        OutputOf("pactl load-module module-null-sink media.class=Audio/Source/Virtual sink_name=quad channels=4 "
                 "channel_map=aux0,aux1,aux2,aux3 sink_properties=device.description=Quad");
    EXPECT_TRUE(Await([] { return ListSoundSources().front().name == "Quad"; }));
    const auto source = OpenSoundSource("pulse:quad");
    EXPECT_EQ(source->Inputs(), (std::vector<std::string>{"Channel 1 and 2", "Channel 3 and 4"}));
    EXPECT_EQ(source->SelectInput(1), noErr);
    EXPECT_EQ(source->Input(), 1);
    EXPECT_EQ(source->SelectInput(2), paramErr);

    const auto volumes = [] { return OutputOf("pactl get-source-volume quad | grep -o '[0-9]*%' | tr '\n' ' '"); };
    std::system("pactl set-source-volume quad 100% 50% 100% 25%");
    // Newer servers ignore changes to the volumes of such a source.
    if (volumes() != "100% 100% 100% 100% ") {
        double gain = 0;
        EXPECT_TRUE(Await([&] { return source->GetGain(gain) == noErr && gain == 1; }));
        EXPECT_TRUE(Await([&] { return volumes() == "100% 50% 100% 25% "; })) << volumes();
        for (const double wanted : {0.125, 0.0, 0.125}) // half of the server's scale, which is cubic
            EXPECT_EQ(source->SetGain(wanted), noErr);
        EXPECT_TRUE(Await([&] { return volumes() == "50% 25% 50% 12% " || volumes() == "50% 25% 50% 13% "; }))
            << volumes();
    }

    EXPECT_EQ(source->Reason(), "");
    EXPECT_EQ(source->SetMuted(true), noErr);
    EXPECT_EQ(source->Reason(), "Quad is muted.");
    bool muted = false;
    EXPECT_EQ(source->GetMuted(muted), noErr);
    EXPECT_TRUE(muted);
    std::system(("pactl unload-module " + module).c_str());
    EXPECT_TRUE(Await([&] { return source->Reason() == "Quad is not connected."; }));
}

// A stopped server sends nothing and reports no failure. After the machine was suspended it has less time.
TEST_F(PulseAudio, ASourceThatSendsNothingHasFailed)
{
    static std::atomic<int64_t> now, suspended;
    const auto source = OpenSoundSource(kMonitor);
    for (const auto& [slept, silence] : {std::pair(0, 2100), std::pair(3'600'000, 1000)}) {
        CollectingSink sink;
        ASSERT_EQ(source->Start(sink), noErr);
        ASSERT_TRUE(Delivers(sink));
        session->HoldServer(true);
        now = MonotonicNow();
        suspended = SuspendedTime();
        SetMonotonicClock([] { return now.load(); });
        SetSuspendedTime([] { return suspended.load(); });
        size_t arrived = 0;
        EXPECT_TRUE(Await([&, slept = slept, silence = silence] {
            // Again where the server had sent something before.
            const size_t before = std::exchange(arrived, sink.WaitFor([](const auto&) { return true; }).size());
            if (arrived != before) {
                suspended += slept * kNanosecondsPerMillisecond;
                now += silence * kNanosecondsPerMillisecond;
            }
            return sink.failures > 0;
        })) << silence;
        EXPECT_NE(source->Reason(), "");
        sink.Clear();
        SetMonotonicClock(nullptr);
        SetSuspendedTime(nullptr);
        session->HoldServer(false);
        ASSERT_TRUE(Delivers(sink));
        EXPECT_EQ(source->Reason(), "");
        source->Stop();
    }
}

TEST_F(PulseAudio, TakesUpAServerThatDiedAndCameBack)
{
    const auto source = OpenSoundSource(kMonitor);
    CollectingSink sink;
    ASSERT_EQ(source->Start(sink), noErr);
    ASSERT_TRUE(Delivers(sink));

    session->KillServer();
    EXPECT_TRUE(Await([&] { return sink.failures > 0; }));
    EXPECT_TRUE(Await([] { return ListSoundSources().size() == 1; })) << "only the tone is left";
    sink.Clear();

    session->StartServer();
    ASSERT_TRUE(Delivers(sink));
    EXPECT_GT(sink.WaitFor([](const auto&) { return true; }).front().framesLost, 0U);
    EXPECT_EQ(sink.failures, 1);
    source->Stop();
}

} // namespace
