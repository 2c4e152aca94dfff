// SPDX-License-Identifier: MIT
#include "control/ScriptedPlatform.h"

#include "platform/atoms/AtomContainers.h"
#include "platform/atoms/UserData.h"
#include "platform/components/FunctionTable.h"
#include "platform/compression/DecompressionSequence.h"
#include "platform/compression/ImageDescription.h"
#include "platform/compression/Matrix.h"
#include "platform/digitizer/VideoDigitizer.h"
#include "platform/dv/IsochronousDataHandler.h"
#include "platform/grabber/SequenceGrabber.h"
#include "platform/movies/Movies.h"
#include "platform/sound/SoundInput.h"

namespace scripted {
namespace {

// An argument and how it is written.
struct Argument {
    Argument(int32_t value) : Argument(value, std::to_string(value)) {}
    Argument(int32_t value, std::string written) : raw(value), text(std::move(written)) {}
    int32_t raw;
    std::string text;
};

Argument Session(int32_t session)
{
    return {session, session > 1000 ? "session" : std::to_string(session)};
}
Argument Code(uint32_t code)
{
    return {static_cast<int32_t>(code), code == 0 ? "0" : "'" + platform::TextOf(code) + "'"};
}
Argument At(int32_t address)
{
    return {address, address == 0 ? "0" : "@"};
}
Argument Bits(uint32_t bits)
{
    char text[11];
    std::snprintf(text, sizeof text, "0x%08X", bits);
    return {static_cast<int32_t>(bits), text};
}
Argument RectAt(int32_t address)
{
    std::string text;
    for (int offset = 0; offset < 8; offset += 2)
        text += " " + std::to_string(platform::Peek<int16_t>(address + offset));
    return {address, "[" + text.substr(1) + "]"};
}

template <typename... A> int32_t Play(const char* function, A... given)
{
    const std::vector<Argument> arguments{given...};
    Script& script = TheScript();
    if (!script.unnoted.contains(function)) {
        std::string line;
        for (const Argument& argument : arguments)
            line += (line.empty() ? "" : ", ") + argument.text;
        script.Note(std::string(function) + "(" + line + ")");
    }
    Arguments raw;
    for (const Argument& argument : arguments)
        raw.push_back(argument.raw);
    const auto answer = script.answers.find(function);
    return answer == script.answers.end() ? 0 : answer->second(raw);
}

} // namespace

void Reset()
{
    Script& script = TheScript();
    script = {};
    script.answers["SGNewChannel"] = [](const Arguments& a) {
        platform::Poke(a[2], a[1] == static_cast<int32_t>(platform::kSoundMediaType) ? kSound : kVideo);
        return 0;
    };
    script.answers["SGGetChannelInfo"] = [](const Arguments& a) {
        platform::Poke<int32_t>(a[1], a[0] == kVideo ? platform::seqGrabHasBounds : platform::seqGrabHasVolume);
        return 0;
    };
    script.answers["SGGetChannelTimeScale"] = [](const Arguments& a) {
        platform::Poke<int32_t>(a[1], a[0] == kVideo ? 600 : 44100);
        return 0;
    };
    script.answers["SGGetChannelSampleDescription"] = [](const Arguments& a) {
        a[0] == kVideo ? FillImageDescription(a[1], 320, 240) : FillSoundDescription(a[1], 2, 16, 44100);
        return 0;
    };
    script.answers["QTNewDataReferenceFromFullPathCFString"] = [](const Arguments& a) {
        platform::Poke(a[3], platform::NewHandle(4));
        platform::Poke(a[4], platform::CodeOf("alis"));
        return 0;
    };
    script.Returns("SGGetSoundInputDriver", kDriver);
    script.Returns("SGGetVideoDigitizerComponent", kDigitizer);
    script.Writes("CreateMovieStorage", {{5, 51}, {6, 52}});
    script.answers["NewMovieTrack"] = [](const Arguments& a) { return a[1] != 0 ? 61 : 62; };
    script.answers["NewTrackMedia"] = [](const Arguments& a) { return a[0] + 10; };
    script.answers["GetMediaDuration"] = [](const Arguments& a) { return a[0] == 71 ? 900 : 66150; };
    script.answers["DecompressSequenceBeginS"] = [](const Arguments& a) {
        return platform::Poke<int32_t>(a[0], a[7] == 0 ? 81 : 82) ? 0 : -1;
    };
    script.Returns("NewSGDataUPP", 91);
    script.Returns("NewSGModalFilterUPP", 92);
    constexpr std::string_view carbon = "/System/Library/Frameworks/Carbon.framework/Carbon";
    platform::ExportFunction("QuickTime.framework", "MakeImageDescriptionForPixMap",
                             &platform::MakeImageDescriptionForPixMap);
    platform::ExportFunction(carbon, "SPBSetDeviceInfo", &platform::SPBSetDeviceInfo);
    platform::ExportFunction(carbon, "NewHandleClear", &platform::NewHandleClear);
    platform::ExportFunction(carbon, "DisposeHandle", &platform::DisposeHandle);
}

} // namespace scripted

// One line a function: how its arguments are written.
// clang-format off
namespace platform {

using scripted::Play; using scripted::Session; using scripted::Code; using scripted::At; using scripted::RectAt; using scripted::Bits;

Result SGInitialize(SGComponent s) { return Play("SGInitialize", Session(s)); }
Result SGSetGWorld(SGComponent s, int32_t port, int32_t device) { return Play("SGSetGWorld", Session(s), At(port), device); }
Result SGSetDataRef(SGComponent s, int32_t ref, FourCharCode type, int32_t flags) { return Play("SGSetDataRef", Session(s), ref, Code(type), flags); }
Result SGSetDataOutput(SGComponent s, Address file, int32_t flags) { return Play("SGSetDataOutput", Session(s), At(file), flags); }
int32_t NewSGDataUPP(SGDataProc) { return Play("NewSGDataUPP"); }
Result SGSetDataProc(SGComponent s, int32_t upp, int32_t refCon) { return Play("SGSetDataProc", Session(s), upp, refCon); }
Result SGIdle(SGComponent s) { return Play("SGIdle", Session(s)); }
Result SGPrepare(SGComponent s, int32_t preview, int32_t record) { return Play("SGPrepare", Session(s), preview, record); }
Result SGRelease(SGComponent s) { return Play("SGRelease", Session(s)); }
Result SGStartPreview(SGComponent s) { return Play("SGStartPreview", Session(s)); }
Result SGStartRecord(SGComponent s) { return Play("SGStartRecord", Session(s)); }
Result SGStop(SGComponent s) { return Play("SGStop", Session(s)); }
Result SGPause(SGComponent s, int32_t pause) { return Play("SGPause", Session(s), pause); }
Result SGGetMode(SGComponent s, Address preview, Address record) { return Play("SGGetMode", Session(s), At(preview), At(record)); }
Result SGGrabPict(SGComponent s, Address picture, Address bounds, int16_t depth, int32_t flags) { return Play("SGGrabPict", Session(s), At(picture), RectAt(bounds), int32_t{depth}, flags); }
Result SGNewChannel(SGComponent s, FourCharCode type, Address channel) { return Play("SGNewChannel", Session(s), Code(type), At(channel)); }
Result SGDisposeChannel(SGComponent s, SGChannel c) { return Play("SGDisposeChannel", Session(s), c); }
Result SGGetIndChannel(SGComponent s, int16_t index, Address channel, Address type) { return Play("SGGetIndChannel", Session(s), int32_t{index}, At(channel), At(type)); }
Result SGSetChannelUsage(SGChannel c, int32_t usage) { return Play("SGSetChannelUsage", c, usage); }
Result SGGetChannelInfo(SGChannel c, Address info) { return Play("SGGetChannelInfo", c, At(info)); }
Result SGSetChannelBounds(SGChannel c, Address bounds) { return Play("SGSetChannelBounds", c, RectAt(bounds)); }
Result SGSetChannelPlayFlags(SGChannel c, int32_t flags) { return Play("SGSetChannelPlayFlags", c, flags); }
Result SGGetChannelPlayFlags(SGChannel c, Address flags) { return Play("SGGetChannelPlayFlags", c, At(flags)); }
Result SGSetChannelVolume(SGChannel c, int16_t volume) { return Play("SGSetChannelVolume", c, int32_t{volume}); }
Result SGGetChannelVolume(SGChannel c, Address volume) { return Play("SGGetChannelVolume", c, At(volume)); }
Result SGGetChannelTimeScale(SGChannel c, Address scale) { return Play("SGGetChannelTimeScale", c, At(scale)); }
Result SGGetChannelSampleDescription(SGChannel c, int32_t handle) { return Play("SGGetChannelSampleDescription", c, At(handle)); }
ComponentInstance SGGetVideoDigitizerComponent(SGChannel c) { return Play("SGGetVideoDigitizerComponent", c); }
Result SGGetSrcVideoBounds(SGChannel c, Address rect) { return Play("SGGetSrcVideoBounds", c, At(rect)); }
Result SGGetVideoRect(SGChannel c, Address rect) { return Play("SGGetVideoRect", c, At(rect)); }
Result SGSetVideoCompressorType(SGChannel c, FourCharCode type) { return Play("SGSetVideoCompressorType", c, Code(type)); }
Result SGGetVideoCompressorType(SGChannel c, Address type) { return Play("SGGetVideoCompressorType", c, At(type)); }
Result SGSetVideoCompressor(SGChannel c, int16_t depth, FourCharCode type, int32_t spatial, int32_t temporal, int32_t keyFrame) { return Play("SGSetVideoCompressor", c, int32_t{depth}, Code(type), spatial, temporal, keyFrame); }
Result SGGetVideoCompressor(SGChannel c, Address depth, Address type, Address spatial, Address temporal, Address keyFrame) { return Play("SGGetVideoCompressor", c, At(depth), At(type), At(spatial), At(temporal), At(keyFrame)); }
Result SGSetFrameRate(SGChannel c, Fixed rate) { return Play("SGSetFrameRate", c, rate); }
std::vector<SGLostFrame> SGTakeLostFrames(SGChannel) { return {}; }
Result SGSetSplits(SGComponent s, const SGSplitRule&, SGSplitHandler handler) { scripted::TheScript().splits = std::move(handler); return Play("SGSetSplits", s); }
Result SGSetVideoFrameFormat(SGChannel c, FourCharCode format) { return Play("SGSetVideoFrameFormat", c, static_cast<int32_t>(format)); }
Result SGSetVideoFrameSize(SGChannel c, int32_t width, int32_t height) { return Play("SGSetVideoFrameSize", c, width, height); }
SGChannelCounts SGGetChannelCounts(SGChannel c) { Play("SGGetChannelCounts", c); return {}; }
std::string SGGetChannelReason(SGChannel) { return {}; }
bool SGGetRecordingStatus(SGComponent s, MovieStorageStatus& status) { status.fileBytes = 7; return Play("SGGetRecordingStatus", Session(s)) == 0; }
Result SGGetFrameRate(SGChannel c, Address rate) { return Play("SGGetFrameRate", c, At(rate)); }
int32_t SGGetSoundInputDriver(SGChannel c) { return Play("SGGetSoundInputDriver", c); }
Result SGSetSoundInputParameters(SGChannel c, int16_t bits, int16_t channels, FourCharCode type) { return Play("SGSetSoundInputParameters", c, int32_t{bits}, int32_t{channels}, Code(type)); }
Result SGGetSoundInputParameters(SGChannel c, Address bits, Address channels, Address type) { return Play("SGGetSoundInputParameters", c, At(bits), At(channels), At(type)); }
Result SGSetSoundInputRate(SGChannel c, Fixed rate) { return Play("SGSetSoundInputRate", c, Bits(static_cast<uint32_t>(rate))); }
Fixed SGGetSoundInputRate(SGChannel c) { return Play("SGGetSoundInputRate", c); }
Result SGSetAdditionalSoundRates(SGChannel c, int32_t rates) { return Play("SGSetAdditionalSoundRates", c, At(rates)); }
Result SGGetChannelDeviceList(SGChannel c, int32_t flags, Address list) { return Play("SGGetChannelDeviceList", c, flags, At(list)); }
Result SGDisposeDeviceList(SGComponent s, int32_t list) { return Play("SGDisposeDeviceList", Session(s), list); }
Result SGSetChannelDevice(SGChannel c, Address name) { return Play("SGSetChannelDevice", c, At(name)); }
Result SGGetChannelDeviceAndInputNames(SGChannel c, Address device, Address input, Address number) { return Play("SGGetChannelDeviceAndInputNames", c, At(device), At(input), At(number)); }
Result SGGetSettings(SGComponent s, Address settings, int32_t flags) { return Play("SGGetSettings", Session(s), At(settings), flags); }
Result SGSetSettings(SGComponent s, int32_t settings, int32_t flags) { return Play("SGSetSettings", Session(s), settings, flags); }
int32_t NewSGModalFilterUPP(SGModalFilterProc filter) { return filter(1, 2, 3, 4) ? 0 : Play("NewSGModalFilterUPP"); }
void DisposeSGModalFilterUPP(int32_t filter) { Play("DisposeSGModalFilterUPP", filter); }
Result SGSettingsDialog(SGComponent s, SGChannel c, int16_t count, Address panels, int32_t flags, int32_t filter, int32_t refCon) { return Play("SGSettingsDialog", Session(s), c, int32_t{count}, At(panels), flags, filter, refCon); }

Result VDGetImageDescription(ComponentInstance d, int32_t handle) { return Play("VDGetImageDescription", d, At(handle)); }
Result VDGetBrightness(ComponentInstance d, Address value) { return Play("VDGetBrightness", d, At(value)); }
Result VDSetBrightness(ComponentInstance d, Address value) { return Play("VDSetBrightness", d, At(value)); }
Result VDGetHue(ComponentInstance d, Address value) { return Play("VDGetHue", d, At(value)); }
Result VDSetHue(ComponentInstance d, Address value) { return Play("VDSetHue", d, At(value)); }
Result VDGetContrast(ComponentInstance d, Address value) { return Play("VDGetContrast", d, At(value)); }
Result VDSetContrast(ComponentInstance d, Address value) { return Play("VDSetContrast", d, At(value)); }
Result VDGetSaturation(ComponentInstance d, Address value) { return Play("VDGetSaturation", d, At(value)); }
Result VDSetSaturation(ComponentInstance d, Address value) { return Play("VDSetSaturation", d, At(value)); }
Result VDGetSharpness(ComponentInstance d, Address value) { return Play("VDGetSharpness", d, At(value)); }
Result VDSetSharpness(ComponentInstance d, Address value) { return Play("VDSetSharpness", d, At(value)); }
Result VDGetWhiteLevelValue(ComponentInstance d, Address value) { return Play("VDGetWhiteLevelValue", d, At(value)); }
Result VDSetWhiteLevelValue(ComponentInstance d, Address value) { return Play("VDSetWhiteLevelValue", d, At(value)); }
Result VDIIDCGetFeaturesForSpecifier(ComponentInstance d, FourCharCode feature, Address container) { return Play("VDIIDCGetFeaturesForSpecifier", d, Code(feature), At(container)); }
Result VDIIDCSetFeatures(ComponentInstance d, int32_t container) { return Play("VDIIDCSetFeatures", d, container); }

Result SPBGetDeviceInfo(int32_t driver, FourCharCode selector, Address data) { return Play("SPBGetDeviceInfo", driver, Code(selector), At(data)); }
Result SPBSetDeviceInfo(int32_t driver, FourCharCode selector, Address data) { return Play("SPBSetDeviceInfo", driver, Code(selector), Bits(Peek<uint32_t>(data))); }

Result QTNewDataReferenceFromFullPathCFString(int32_t path, int32_t style, int32_t flags, Address ref, Address type) { return Play("QTNewDataReferenceFromFullPathCFString", At(path), style, flags, At(ref), At(type)); }
Result CreateMovieStorage(int32_t ref, FourCharCode type, FourCharCode creator, int32_t script, uint32_t flags, Address handler, Address movie) { return Play("CreateMovieStorage", At(ref), Code(type), Code(creator), script, Bits(flags), At(handler), At(movie)); }
bool GetMovieStorageStatus(DataHandler handler, MovieStorageStatus&) { return Play("GetMovieStorageStatus", handler) == 0; }
Result AddMovieToStorage(Movie movie, DataHandler handler) { return Play("AddMovieToStorage", movie, handler); }
Result CloseMovieStorage(DataHandler handler) { return Play("CloseMovieStorage", handler); }
Result CreateMovieFile(Address file, FourCharCode creator, int32_t script, uint32_t flags, Address refNum, Address resId) { return Play("CreateMovieFile", At(file), Code(creator), script, Bits(flags), refNum, resId); }
Track NewMovieTrack(Movie movie, Fixed width, Fixed height, int16_t volume) { return Play("NewMovieTrack", movie, width, height, int32_t{volume}); }
Media NewTrackMedia(Track track, FourCharCode type, int32_t scale, int32_t ref, FourCharCode refType) { return Play("NewTrackMedia", track, Code(type), scale, ref, Code(refType)); }
Result BeginMediaEdits(Media media) { return Play("BeginMediaEdits", media); }
Result EndMediaEdits(Media media) { return Play("EndMediaEdits", media); }
Result AddMediaSample(Media media, Handle data, int32_t offset, int32_t size, int32_t duration, Handle description, int32_t count, int16_t flags, Address time) { return Play("AddMediaSample", media, At(data), offset, size, duration, At(description), count, int32_t{flags}, time); }
int32_t GetMediaDuration(Media media) { return Play("GetMediaDuration", media); }
int32_t GetMediaTimeScale(Media media) { return Play("GetMediaTimeScale", media); }
Result InsertMediaIntoTrack(Track track, int32_t start, int32_t time, int32_t duration, Fixed rate) { return Play("InsertMediaIntoTrack", track, start, time, duration, rate); }

Result MakeImageDescriptionForPixMap(PixMapReference map, Address cell) { return Play("MakeImageDescriptionForPixMap", At(map), At(Peek<int32_t>(cell))); }
Result DecompressSequenceBeginS(Address sequence, Handle description, Address data, int32_t size, PortReference port, int32_t device, Address source, Address matrix, int16_t mode, int32_t mask, uint32_t flags, int32_t accuracy, int32_t codec) { return Play("DecompressSequenceBeginS", At(sequence), At(description), At(data), size, At(port), device, source, At(matrix), int32_t{mode}, mask, static_cast<int32_t>(flags), accuracy, codec); }
Result DecompressSequenceFrameWhen(int32_t sequence, Address data, int32_t size, int32_t inFlags, Address outFlags, int32_t completion, Address time) { return Play("DecompressSequenceFrameWhen", sequence, At(data), size, inFlags, At(outFlags), completion, time); }
Result CDSequenceEnd(int32_t sequence) { return Play("CDSequenceEnd", sequence); }
void RectMatrix(Address m, Address source, Address target) { Play("RectMatrix", At(m), RectAt(source), RectAt(target)); }
void ScaleMatrix(Address m, Fixed sx, Fixed sy, Fixed x, Fixed y) { Play("ScaleMatrix", At(m), Bits(static_cast<uint32_t>(sx)), Bits(static_cast<uint32_t>(sy)), x, y); }
void RotateMatrix(Address m, Fixed degrees, Fixed x, Fixed y) { Play("RotateMatrix", At(m), degrees, x, y); }
void TranslateMatrix(Address m, Fixed x, Fixed y) { Play("TranslateMatrix", At(m), x, y); }

int16_t QTCountChildrenOfType(AtomContainer c, Atom parent, FourCharCode type) { return static_cast<int16_t>(Play("QTCountChildrenOfType", c, parent, Code(type))); }
Atom QTFindChildByIndex(AtomContainer c, Atom parent, FourCharCode type, int16_t index, Address id) { return Play("QTFindChildByIndex", c, parent, Code(type), int32_t{index}, id); }
Atom QTFindChildByID(AtomContainer c, Atom parent, FourCharCode type, int32_t id, Address index) { return Play("QTFindChildByID", c, parent, Code(type), id, index); }
Result QTCopyAtomDataToPtr(AtomContainer c, Atom atom, int32_t smaller, int32_t maximum, Address data, Address size) { return Play("QTCopyAtomDataToPtr", c, atom, smaller, maximum, At(data), At(size)); }
Result QTSetAtomData(AtomContainer c, Atom atom, int32_t size, Address data) { return Play("QTSetAtomData", c, atom, size, At(data)); }
Result QTLockContainer(AtomContainer c) { return Play("QTLockContainer", c); }
Result QTUnlockContainer(AtomContainer c) { return Play("QTUnlockContainer", c); }
Result DisposeUserData(UserData u) { return Play("DisposeUserData", u); }
Result NewUserDataFromHandle(Handle handle, Address u) { return Play("NewUserDataFromHandle", At(handle), At(u)); }
Result PutUserDataIntoHandle(UserData u, Handle handle) { return Play("PutUserDataIntoHandle", u, At(handle)); }

Result IDHGetDeviceList(ComponentInstance h, Address container) { return Play("IDHGetDeviceList", Session(h), At(container)); }
Result IDHSetDeviceConfiguration(ComponentInstance h, Address c) { return Play("IDHSetDeviceConfiguration", Session(h), Peek<int32_t>(c), Peek<int32_t>(c + 4)); }
Result IDHGetDeviceControl(ComponentInstance h, Address control) { return Play("IDHGetDeviceControl", Session(h), At(control)); }
Result DeviceControlDoAVCTransaction(int32_t control, Address parameters) { return Play("DeviceControlDoAVCTransaction", control, At(parameters)); }

} // namespace platform
// clang-format on
