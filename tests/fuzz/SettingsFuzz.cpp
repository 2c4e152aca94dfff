// SPDX-License-Identifier: MIT
// The reader of saved settings, from the bytes of a file to a session that runs with them.
//
// Bytes that do not parse are rejected by every function. Bytes that parse are opened in a session with simulated
// devices; whatever they contain, the session then returns settings that it accepts again and that no longer change.
#include "platform/atoms/TaggedItems.h"
#include "platform/atoms/UserData.h"
#include "platform/compression/ImageDescription.h"
#include "platform/drawing/Ports.h"
#include "platform/grabber/SequenceGrabber.h"
#include "platform/grabber/TestDevices.h"
#include "platform/sound/SoundInput.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>

using namespace platform;

namespace {

void Require(bool holds)
{
    if (!holds)
        std::abort();
}

// Two standards, three formats, and an automatic control that disables another one.
class FuzzCamera : public grabbertest::TestCamera {
public:
    FuzzCamera(const std::string& identity, TestCamera*& newest) : TestCamera(identity.substr(6), newest)
    {
        inputs = {"Composite", "S-Video"};
        formats = {{CodeOf("jpeg"), 64, 48, 30}, {CodeOf("yuvs"), 64, 48, 25}, {CodeOf("yuvs"), 32, 24, 50}};
    }
    std::vector<std::string> Standards() const override { return {"PAL", "NTSC"}; }
    int Standard() const override { return standard; }
    Result SelectStandard(int index) override { return Require(index == 0 || index == 1), standard = index, noErr; }
    Result SetFormat(const CaptureFormat& wanted) override
    {
        Require(std::isfinite(wanted.frameRate));
        return TestCamera::SetFormat(wanted);
    }
    std::vector<ImageControl> Controls() const override
    {
        const ImageControl level{.identity = 1, .name = "Gain", .value = gain, .inactive = automatic, .choices = {}};
        const ImageControl mode{.identity = 2, .name = "Automatic", .value = automatic ? 1 : 0, .choices = {}};
        return {level, mode};
    }
    Result SetControl(uint32_t control, int64_t value) override
    {
        if (control == 2)
            return automatic = value != 0, noErr;
        return control == 1 && !automatic ? (gain = value, noErr) : digiUnimpErr;
    }

private:
    int standard = 0;
    int64_t gain = 0;
    bool automatic = false;
};

SGComponent OpenSession()
{
    StartDrawing();
    StartCompression();
    StartSoundInput();
    StartSequenceGrabber();
    static grabbertest::TestDevices devices;
    static grabbertest::TestCamera* newest = nullptr;
    SetDigitizerProvider({[] {
                              return std::vector<DigitizerEntry>{{"A", "id of A", {}}, {"B", "id of B", {}}};
                          },
                          [](const std::string& identity) { return std::make_unique<FuzzCamera>(identity, newest); }});
    const SGComponent session = OpenDefaultComponent(CodeOf("barg"), 0);
    Require(SGInitialize(session) == noErr);
    return session;
}

// Opens settings like the application does. Returns false if they are rejected.
bool Restore(SGComponent session, std::span<const uint8_t> bytes, Address cell)
{
    const Handle handle = NewHandle(0);
    SetHandleBytes(handle, bytes);
    const bool parsed = NewUserDataFromHandle(handle, cell) == noErr;
    DisposeHandle(handle);
    const auto settings = Peek<UserData>(cell);
    const bool taken = SGSetSettings(session, settings, 0) == noErr;
    Require(parsed ? DisposeUserData(settings) == noErr : settings == 0 && !taken);
    return taken;
}

std::vector<uint8_t> Save(SGComponent session, Address cell)
{
    Require(SGGetSettings(session, cell, 0) == noErr);
    const Handle handle = NewHandle(0);
    Require(PutUserDataIntoHandle(Peek<UserData>(cell), handle) == noErr);
    DisposeUserData(Peek<UserData>(cell));
    const auto bytes = HandleBytes(handle);
    std::vector<uint8_t> saved(bytes.begin(), bytes.end());
    DisposeHandle(handle);
    return saved;
}

// The session of all inputs.
SGComponent TheSession()
{
    static const SGComponent session = OpenSession();
    return session;
}

SGChannel AddChannel(FourCharCode type, Address cell)
{
    Require(SGNewChannel(TheSession(), type, cell) == noErr);
    const auto channel = Peek<SGChannel>(cell);
    Require(SGSetChannelUsage(channel, seqGrabRecord | seqGrabPreview) == noErr);
    return channel;
}

} // namespace

// What a session without channels saves, with one of each kind, with everything changed, and with two of each kind.
std::vector<std::vector<uint8_t>> Seeds()
{
    const OwnedBlock cell(2 * sizeof(int32_t));
    std::vector<std::vector<uint8_t>> seeds{Save(TheSession(), cell.Get())};
    for (int pair = 0; pair < 2; ++pair) {
        const SGChannel sound = AddChannel(kSoundMediaType, cell.Get());
        const SGChannel video = AddChannel(kVideoMediaType, cell.Get());
        seeds.push_back(Save(TheSession(), cell.Get()));
        Require(SGSetVideoFrameSize(video, 32, 24) == noErr);
        Require(SGSetVideoCompressor(video, 32, CodeOf("png "), 11, 22, 33) == noErr);
        Poke(cell.Get(), std::array<int16_t, 4>{-1, 2, 300, 400});
        Require(SGSetChannelBounds(video, cell.Get()) == noErr);
        Require(SGSetChannelPlayFlags(video, 16) == noErr);
        Require(SGSetSoundInputParameters(sound, 8, 1, CodeOf("raw ")) == noErr);
        Require(SGSetSoundInputRate(sound, 22050 << 16) == noErr);
        Require(SGSetChannelVolume(sound, 99) == noErr);
        seeds.push_back(Save(TheSession(), cell.Get()));
    }
    return seeds;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const SGComponent session = TheSession();
    static const OwnedBlock cell(sizeof(UserData));
    const std::span bytes(data, size);
    const auto items = TaggedItems::Read(bytes);
    Require(!items || std::ranges::equal(items->Flatten(), bytes));
    if (!Restore(session, bytes, cell.Get()))
        return -1; // of no use as a starting point
    const auto saved = Save(session, cell.Get());
    Require(Restore(session, saved, cell.Get()));
    Require(Save(session, cell.Get()) == saved);
    return 0;
}
