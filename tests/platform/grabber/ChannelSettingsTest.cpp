#include "TestSession.h"

#include "platform/sound/SoundInput.h"

#include <array>

using namespace grabbertest;

namespace {

std::vector<uint8_t> BytesOfHandle(Handle handle)
{
    const auto bytes = HandleBytes(handle);
    return {bytes.begin(), bytes.end()};
}

std::string PascalAt(std::span<const uint8_t> bytes, size_t offset)
{
    return {bytes.begin() + static_cast<std::ptrdiff_t>(offset) + 1,
            bytes.begin() + static_cast<std::ptrdiff_t>(offset) + 1 + bytes[offset]};
}

template <typename T> T ValueAt(std::span<const uint8_t> bytes, size_t offset)
{
    T value;
    __builtin_memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

} // namespace

TEST_F(GrabberTest, ChannelsTellWhatTheyAre)
{
    video = NewChannel(kVideoMediaType);
    sound = NewChannel(kSoundMediaType);
    const Address at = cell.Get();
    EXPECT_EQ(SGGetChannelInfo(video, at), noErr);
    EXPECT_EQ(Peek<int32_t>(at), 1);
    EXPECT_EQ(SGGetChannelInfo(sound, at), noErr);
    EXPECT_EQ(Peek<int32_t>(at), 2);
    EXPECT_EQ(SGGetChannelTimeScale(video, at), noErr);
    EXPECT_EQ(Peek<int32_t>(at), 600);
    EXPECT_EQ(SGGetChannelTimeScale(sound, at), noErr);
    EXPECT_EQ(Peek<int32_t>(at), 48000);
    EXPECT_EQ(SGGetChannelUsage(video, at), noErr);
    EXPECT_EQ(Peek<int32_t>(at), seqGrabRecord);
    EXPECT_EQ(SGSetChannelPlayFlags(video, 8), noErr);
    EXPECT_EQ(SGGetChannelPlayFlags(video, at), noErr);
    EXPECT_EQ(Peek<int32_t>(at), 8);
    EXPECT_EQ(SGSetChannelVolume(sound, -3), noErr);
    EXPECT_EQ(SGGetChannelVolume(sound, at), noErr);
    EXPECT_EQ(Peek<int16_t>(at), -3);
    EXPECT_EQ(SGSetChannelVolume(video, 1), badSGChannel);
    EXPECT_EQ(SGGetSrcVideoBounds(video, at), noErr);
    EXPECT_EQ(Peek<int16_t>(at + 4), 48);
    EXPECT_EQ(Peek<int16_t>(at + 6), 64);
    Poke(at, std::array<int16_t, 4>{10, 20, 10, 40});
    EXPECT_EQ(SGSetChannelBounds(video, at), paramErr);
    Poke(at, std::array<int16_t, 4>{10, 20, 30, 40});
    EXPECT_EQ(SGSetChannelBounds(video, at), noErr);
    EXPECT_EQ(SGGetChannelBounds(video, at + 8), noErr);
    EXPECT_EQ(Peek<int64_t>(at), Peek<int64_t>(at + 8));
    EXPECT_GT(SGGetVideoDigitizerComponent(video), 0);
    EXPECT_GT(SGGetSoundInputDriver(sound), 0);
}

// One setting can be set alone: what lies outside of a setting's range leaves it.
TEST_F(GrabberTest, CompressorSettings)
{
    video = NewChannel(kVideoMediaType);
    const Address at = cell.Get();
    EXPECT_EQ(SGGetVideoCompressorType(video, at), noErr);
    EXPECT_EQ(Peek<FourCharCode>(at), CodeOf("jpeg"));
    EXPECT_EQ(SGSetVideoCompressorType(video, CodeOf("none")), noCodecErr);
    EXPECT_EQ(SGSetVideoCompressorType(video, CodeOf("png ")), noErr);

    struct Step {
        std::array<int32_t, 5> set; ///< depth, compressor, spatial, temporal quality, key frame rate
        std::array<int32_t, 5> expected;
    };
    const auto png = static_cast<int32_t>(CodeOf("png "));
    const auto jpeg = static_cast<int32_t>(CodeOf("jpeg"));
    constexpr int32_t address = 0x00A51240;
    for (const Step& step : {Step{{32, jpeg, 100, 200, 30}, {32, jpeg, 100, 200, 30}},
                             Step{{address, 0, 1024, address, address}, {32, jpeg, 1024, 200, 30}},
                             Step{{address, 0, address, 0, address}, {32, jpeg, 1024, 0, 30}},
                             Step{{address, 0, address, address, 65535}, {32, jpeg, 1024, 0, 65535}},
                             Step{{16, png, -1, 1025, 65536}, {16, png, 1024, 0, 65535}},
                             Step{{0, 0, 4096, 4096, -5}, {16, png, 1024, 0, 65535}}}) {
        EXPECT_EQ(SGSetVideoCompressor(video, static_cast<int16_t>(step.set[0]), static_cast<FourCharCode>(step.set[1]),
                                       step.set[2], step.set[3], step.set[4]),
                  noErr);
        const OwnedBlock read(20);
        EXPECT_EQ(
            SGGetVideoCompressor(video, read.Get(), read.Get() + 4, read.Get() + 8, read.Get() + 12, read.Get() + 16),
            noErr);
        EXPECT_EQ((Peek<std::array<int32_t, 5>>(read.Get())), step.expected);
    }
    EXPECT_EQ(SGGetVideoCompressor(video, 0, 0, 0, 0, 0), noErr);
    EXPECT_EQ(SGSetVideoCompressor(video, 24, CodeOf("zzzz"), 1, 1, 1), noCodecErr);
    EXPECT_EQ(SGSetFrameRate(video, -1), paramErr);
    EXPECT_EQ(SGSetFrameRate(video, 15 << 16), noErr);
    EXPECT_EQ(SGGetFrameRate(video, at), noErr);
    EXPECT_EQ(Peek<Fixed>(at), 15 << 16);
    EXPECT_EQ(SGSetFrameRate(video, 0), noErr);
    EXPECT_EQ(devices.Camera()->format.frameRate, 60);
    EXPECT_EQ(SGSetVideoFrameSize(video, 0, 240), paramErr);
    EXPECT_EQ(SGSetVideoFrameSize(video, 320, 240), noErr);
    EXPECT_EQ(devices.Camera()->format, (CaptureFormat{CodeOf("jpeg"), 320, 240, 60}));
}

// A format that is taken is in what is delivered next, and told by its description; one that is refused isn't.
TEST_F(GrabberTest, SoundParametersTakeEffectAtTheNextBuffer)
{
    sound = NewChannel(kSoundMediaType);
    CollectDeliveries();
    SGStartRecord(session);
    TestMicrophone& microphone = *devices.Microphone();
    microphone.refusedRate = 12345;
    int64_t now = kSecond;
    struct Step {
        int size;
        int channels;
        const char* compression;
        Result result;
        const char* format; ///< of what is delivered from then on
        int bits;
        int expectedChannels;
        size_t bytes; ///< of ten milliseconds
    };
    for (const Step& step :
         {Step{16, 2, "raw ", noErr, "sowt", 16, 2, 1920}, Step{16, 1, "twos", noErr, "twos", 16, 1, 960},
          Step{8, 1, "ulaw", noErr, "ulaw", 8, 1, 480}, Step{12, 1, "raw ", siInvalidSampleSize, "ulaw", 8, 1, 480},
          Step{16, 2, "zzzz", siInvalidCompression, "ulaw", 8, 1, 480},
          Step{16, 3, "raw ", siBadSoundInDevice, "ulaw", 8, 1, 480},
          Step{16, 2, "sowt", noErr, "sowt", 16, 2, 1920}}) {
        EXPECT_EQ(SGSetSoundInputParameters(sound, static_cast<int16_t>(step.size), static_cast<int16_t>(step.channels),
                                            CodeOf(step.compression)),
                  step.result);
        delivered.clear();
        microphone.Send(now, 10);
        now += 10 * kMillisecond;
        IdleAt(now);
        ASSERT_EQ(delivered.size(), 1U);
        EXPECT_EQ(delivered[0].Field<FourCharCode>(4), CodeOf(step.format));
        EXPECT_EQ(delivered[0].Field<int16_t>(26), step.bits);
        EXPECT_EQ(delivered[0].Field<int16_t>(24), step.expectedChannels);
        EXPECT_EQ(delivered[0].bytes.size(), step.bytes);
    }
    EXPECT_EQ(SGGetSoundInputParameters(sound, cell.Get(), cell.Get() + 4, cell.Get() + 8), noErr);
    EXPECT_EQ(Peek<int16_t>(cell.Get()), 16);
    EXPECT_EQ(Peek<int16_t>(cell.Get() + 4), 2);
    EXPECT_EQ(Peek<FourCharCode>(cell.Get() + 8), CodeOf("sowt"));

    for (const auto& [rate, result] : std::initializer_list<std::pair<uint32_t, Result>>{
             {11025, noErr}, {12345, siInvalidSampleRate}, {0, siInvalidSampleRate}, {0xFFFF, siInvalidSampleRate}})
        EXPECT_EQ(SGSetSoundInputRate(sound, static_cast<Fixed>(rate << 16)), result);
    EXPECT_EQ(static_cast<uint32_t>(SGGetSoundInputRate(sound)), 11025U << 16);
    EXPECT_EQ(SGSetSoundInputRate(sound, static_cast<Fixed>(48000U << 16)), noErr);
    EXPECT_EQ(static_cast<uint32_t>(SGGetSoundInputRate(sound)), 48000U << 16);

    const Handle rates = NewHandleClear(20);
    EXPECT_EQ(SGSetAdditionalSoundRates(sound, rates), noErr);
    SetHandleSize(rates, 19);
    EXPECT_EQ(SGSetAdditionalSoundRates(sound, rates), paramErr);
    DisposeHandle(rates);
    EXPECT_EQ(SGSetAdditionalSoundRates(sound, rates), nilHandleErr);
}

TEST_F(GrabberTest, DeviceLists)
{
    const std::string longName = std::string(61, 'x') + "\u00E9\u00E9" + std::string(100, 'y');
    devices.cameraList = {{"", "id of ", {}, true},
                          {longName, "id of " + longName, {"Composite", "S-Video"}, false},
                          {"Camera", "id of Camera", {"Tuner"}, true}};
    const int64_t before = BytesInUse();
    video = NewChannel(kVideoMediaType);
    const auto listOf = [&](int32_t flags) {
        EXPECT_EQ(SGGetChannelDeviceList(video, flags, cell.Get()), noErr);
        return Peek<Handle>(cell.Get());
    };
    const Handle list = listOf(4);
    const auto bytes = BytesOfHandle(list);
    ASSERT_EQ(bytes.size(), 8U + 3 * 80);
    EXPECT_EQ(ValueAt<int16_t>(bytes, 0), 3);
    EXPECT_EQ(ValueAt<int16_t>(bytes, 2), 0);
    EXPECT_EQ(PascalAt(bytes, 8), "");
    // Cut before the character that would be split.
    EXPECT_EQ(PascalAt(bytes, 88), longName.substr(0, 63));
    EXPECT_EQ(ValueAt<int32_t>(bytes, 88 + 68), 1);
    EXPECT_EQ(ValueAt<int32_t>(bytes, 168 + 68), 0);
    EXPECT_EQ(ValueAt<Handle>(bytes, 8 + 76), 0);
    const auto inputs = BytesOfHandle(ValueAt<Handle>(bytes, 88 + 76));
    ASSERT_EQ(inputs.size(), 8U + 2 * 76);
    EXPECT_EQ(ValueAt<int16_t>(inputs, 0), 2);
    EXPECT_EQ(PascalAt(inputs, 8 + 76), "S-Video");
    EXPECT_EQ(ValueAt<Handle>(BytesOfHandle(listOf(0)), 88 + 76), 0);
    EXPECT_EQ(SGGetChannelDeviceList(video, 0, 4), paramErr);

    // The long name as the list shows it finds its device.
    const OwnedBlock name(256);
    std::ranges::copy(std::span(bytes).subspan(88, 64), name.Bytes().begin());
    EXPECT_EQ(SGSetChannelDevice(video, name.Get()), noErr);
    EXPECT_EQ(ValueAt<int16_t>(BytesOfHandle(listOf(0)), 2), 1);
    devices.Camera(longName)->inputs = {"Composite", "S-Video"};
    devices.Camera(longName)->input = 1;
    const OwnedBlock names(255 * 2);
    EXPECT_EQ(SGGetChannelDeviceAndInputNames(video, names.Get(), names.Get() + 255, cell.Get()), noErr);
    EXPECT_EQ(PascalAt(names.Bytes(), 0), longName);
    EXPECT_EQ(PascalAt(names.Bytes(), 255), "S-Video");
    EXPECT_EQ(Peek<int16_t>(cell.Get()), 1);
    EXPECT_EQ(SGGetChannelDeviceAndInputNames(video, 0, 0, 0), noErr);
    EXPECT_EQ(SGGetChannelDeviceAndInputNames(video, 3, 0, 0), paramErr);
    Poke(name.Get(), std::array<char, 5>{4, 'n', 'o', 'n', 'e'});
    EXPECT_EQ(SGSetChannelDevice(video, name.Get()), noDeviceForChannel);

    EXPECT_EQ(SGDisposeDeviceList(session, list), noErr);
    EXPECT_EQ(SGDisposeDeviceList(session, list), paramErr);
    EXPECT_EQ(SGDisposeDeviceList(session, name.Get()), paramErr);
    CloseComponent(session);
    // Lists that were never given back have gone with the session.
    EXPECT_LE(BytesInUse(), before + 256 + 510);
}

// A device is changed while the session runs, and the sound goes on.
TEST_F(GrabberTest, DeviceChangesWhileRunning)
{
    devices.cameraList.push_back({"Second", "id of Second", {}, true});
    StartBoth();
    const SoundSink* microphone = devices.Microphone()->sink;
    const ComponentInstance digitizer = SGGetVideoDigitizerComponent(video);
    Poke(cell.Get(), std::array<char, 7>{6, 'S', 'e', 'c', 'o', 'n', 'd'});
    EXPECT_EQ(SGSetChannelDevice(video, cell.Get()), noErr);
    ASSERT_NE(devices.Camera("Second")->sink, nullptr);
    EXPECT_NE(SGGetVideoDigitizerComponent(video), digitizer);
    EXPECT_EQ(CloseComponent(digitizer), badComponentInstance);
    EXPECT_EQ(devices.Microphone()->sink, microphone);
    devices.Camera("Second")->Send(kSecond, std::vector<uint8_t>{9});
    IdleAt(kSecond);
    ASSERT_EQ(VideoCount(), 1U);
    EXPECT_EQ(delivered[0].bytes[0], 9);
}
