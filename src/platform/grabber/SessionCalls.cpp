// SPDX-License-Identifier: MIT
// The published calls on a session.
#include "platform/grabber/SequenceGrabber.h"

#include "platform/files/DirectoryNumbers.h"
#include "platform/grabber/Session.h"
#include "platform/memory/CodeAddress.h"

#include <algorithm>

namespace platform {
namespace {

// Runs an operation on the session with that number.
template <typename Operation> Result OnSession(SGComponent number, Operation operation)
{
    const auto session = FindSession(number);
    return session ? operation(*session) : badComponentInstance;
}

// A file specification: 16-bit volume, 32-bit directory, Pascal string. The published record has 70 bytes, but some
// callers provide one less, so only the bytes that the name needs are checked.
constexpr Address kDirectoryOffset = 2;
constexpr Address kNameOffset = 6;

Result PathOfSpecification(Address file, std::string& path)
{
    const auto length = Peek<uint8_t>(file + kNameOffset);
    const auto name = BytesAt(file + kNameOffset, length + 1);
    if (file == 0 || name.empty())
        return paramErr;
    if (length == 0)
        return bdNamErr;
    const std::string directory = DirectoryOfNumbers({Peek<int16_t>(file), Peek<int32_t>(file + kDirectoryOffset)});
    if (directory.empty())
        return dirNFErr;
    path = directory + '/' + std::string(name.begin() + 1, name.end());
    return noErr;
}

// A mode is one byte; callers provide four bytes and may look at all of them.
Result PutMode(Address place, bool inMode)
{
    const auto bytes = BytesAt(place, std::min<int64_t>(BytesFrom(place), sizeof(int32_t)));
    if (bytes.empty())
        return paramErr;
    std::ranges::fill(bytes, uint8_t{0});
    bytes[0] = inMode ? 1 : 0;
    return noErr;
}

} // namespace

Result SGInitialize(SGComponent session)
{
    return OnSession(session, [](Session& found) { return found.Initialize(); });
}

Result SGSetGWorld(SGComponent session, int32_t port, [[maybe_unused]] int32_t device)
{
    return OnSession(session, [&](Session& found) {
        found.SetPort(port);
        return noErr;
    });
}

Result SGSetDataRef(SGComponent session, int32_t dataRef, [[maybe_unused]] FourCharCode dataRefType, int32_t whereFlags)
{
    return OnSession(session,
                     [&](Session& found) { return found.Movie().SetOutput(PathOfDataReference(dataRef), whereFlags); });
}

Result SGSetDataOutput(SGComponent session, Address file, int32_t whereFlags)
{
    return OnSession(session, [&](Session& found) {
        std::string path;
        if ((whereFlags & seqGrabDontMakeMovie) == 0)
            if (const Result result = PathOfSpecification(file, path); result != noErr)
                return result;
        return found.Movie().SetOutput(path, whereFlags);
    });
}

int32_t NewSGDataUPP(SGDataProc procedure)
{
    return CodeAddressOf(procedure);
}

Result SGSetDataProc(SGComponent session, int32_t callback, int32_t refCon)
{
    return OnSession(session, [&](Session& found) {
        if (callback != 0 && CodeAt(callback) == nullptr)
            return paramErr;
        found.SetDataProcedure(callback, refCon);
        return noErr;
    });
}

Result SGIdle(SGComponent session)
{
    return OnSession(session, [](Session& found) { return found.Idle(); });
}

Result SGPrepare(SGComponent session, int32_t forPreview, int32_t forRecord)
{
    return OnSession(session, [&](const Session& found) { return found.Prepare(forPreview != 0, forRecord != 0); });
}

Result SGRelease(SGComponent session)
{
    return OnSession(session, [](Session& found) { return found.Release(); });
}

Result SGStartPreview(SGComponent session)
{
    return OnSession(session, [](Session& found) { return found.Start(GrabMode::Preview); });
}

Result SGStartRecord(SGComponent session)
{
    return OnSession(session, [](Session& found) { return found.Start(GrabMode::Record); });
}

Result SGStop(SGComponent session)
{
    return OnSession(session, [](Session& found) { return found.Stop(); });
}

Result SGPause(SGComponent session, int32_t pause)
{
    return OnSession(session, [&](Session& found) {
        found.Pause(pause != 0);
        return noErr;
    });
}

Result SGGetMode(SGComponent session, Address previewMode, Address recordMode)
{
    return OnSession(session, [&](const Session& found) {
        const Result first = PutMode(previewMode, found.Mode() == GrabMode::Preview);
        const Result second = PutMode(recordMode, found.Mode() == GrabMode::Record);
        return first != noErr ? first : second;
    });
}

bool SGGetRecordingStatus(SGComponent session, MovieStorageStatus& status)
{
    const auto found = FindSession(session);
    return found && found->Movie().GetStatus(status);
}

Result SGSetSplits(SGComponent session, const SGSplitRule& rule, SGSplitHandler handler)
{
    return OnSession(session, [&](Session& found) {
        found.Movie().SetSplits(rule, std::move(handler));
        return noErr;
    });
}

Result SGNewChannel(SGComponent session, FourCharCode type, Address channel)
{
    return OnSession(session, [&](Session& found) {
        if (!Poke<SGChannel>(channel, 0))
            return paramErr;
        const auto made = found.NewChannel(type);
        if (!made)
            return couldntGetRequiredComponent;
        Poke(channel, made->number);
        return noErr;
    });
}

Result SGDisposeChannel(SGComponent session, SGChannel channel)
{
    return OnSession(session, [&](Session& found) { return found.DisposeChannel(channel); });
}

Result SGGetIndChannel(SGComponent session, int16_t index, Address channel, Address type)
{
    return OnSession(session, [&](const Session& found) {
        const auto& channels = found.Channels();
        if (index < 1 || static_cast<size_t>(index) > channels.size())
            return badSGChannel;
        const Channel& wanted = *channels[static_cast<size_t>(index) - 1];
        return Poke(channel, wanted.number) && Poke(type, wanted.type) ? noErr : paramErr;
    });
}

void StartSequenceGrabber()
{
    RegisterComponent({.type = CodeOf("barg")}, "Sequence Grabber", [] { return std::make_shared<Session>(); });
}

} // namespace platform
