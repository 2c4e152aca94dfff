// SPDX-License-Identifier: MIT
// The journal is read from the end of the file: the last intact box is searched for, and its chain followed to the
// first one. At a damaged box the search starts again before it, so that everything in front of the damage is found as
// well.
//
// A damaged or crafted file can be full of what looks like boxes. So the total number of bytes read is limited to a few
// times the size of the file; a recording with a dozen damaged places stays far below that.
#include "platform/movies/RecordingFile.h"

#include "platform/movies/MovieFragments.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {
namespace {

constexpr size_t kWindow = size_t{1} << 20;
constexpr size_t kIdentifierAt = 8;
constexpr size_t kFrontSize = kReservedPosition + kReservedSize;

} // namespace

Result RecordingFile::Open(const std::string& path)
{
    descriptor = UniqueFD(open(path.c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK));
    if (!descriptor) {
        writeFailure = ResultOfFileError(errno);
        descriptor = UniqueFD(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    }
    if (const Result opened = CheckOpened(descriptor, size); opened != noErr)
        return opened;
    if (!LockFile(descriptor.Get()))
        return fBsyErr;
    readable = 4 * size + 16 * static_cast<int64_t>(kWindow);
    return noErr;
}

size_t RecordingFile::Read(int64_t position, std::span<uint8_t> bytes) const
{
    const size_t done = ReadAt(descriptor.Get(), position, bytes);
    readable -= static_cast<int64_t>(done);
    return done;
}

bool RecordingFile::IsOurs() const
{
    constexpr size_t kMaxDamagedBytes = 2;
    std::array<uint8_t, kFrontSize> front{};
    if (!descriptor || Read(0, front) != front.size())
        return false;
    const auto differences = [&](const std::vector<uint8_t>& expected, size_t length) {
        size_t count = 0;
        for (size_t i = 0; i < length; ++i)
            count += static_cast<size_t>(front[i] != expected[i]);
        return count;
    };
    constexpr size_t kLengthSize = 8;
    return differences(FileHead(), kFrontSize) <= kMaxDamagedBytes ||
           differences(FinishedFront(0), kFrontSize - kLengthSize) <= kMaxDamagedBytes;
}

bool RecordingFile::IsFinished() const
{
    std::array<uint8_t, kReservedSize> reserved{};
    Read(kReservedPosition, reserved);
    const int64_t header = HeaderPositionIn(reserved);
    std::array<uint8_t, 8> box{};
    if (header == 0 || Read(header, box) != box.size())
        return false;
    ByteReader bytes(box);
    const uint32_t length = bytes.U32();
    return bytes.U32() == CodeOf("moov") && length <= size - header;
}

bool RecordingFile::ReadBox(int64_t position, JournalBox& box) const
{
    std::array<uint8_t, kJournalHeadSize> head;
    if (position < kFileHeadSize || readable < 0 || Read(position, head) != head.size())
        return false;
    const auto length = JournalBoxSize(head, position);
    if (!length || static_cast<int64_t>(*length) > size - position)
        return false;
    std::vector<uint8_t> bytes(*length);
    return Read(position, bytes) == bytes.size() && ReadJournalBox(bytes, box);
}

bool RecordingFile::FindBoxBefore(int64_t end, JournalBox& box) const
{
    const std::span identifier(kJournalIdentifier);
    std::vector<uint8_t> window(kWindow + identifier.size() - 1);
    // Maps the position of the identifier to the box.
    for (int64_t stop = end + static_cast<int64_t>(kIdentifierAt); stop > kFileHeadSize && readable > 0;) {
        const int64_t start = std::max<int64_t>(kFileHeadSize, stop - static_cast<int64_t>(kWindow));
        const auto wanted = static_cast<size_t>(stop - start) + identifier.size() - 1;
        const auto bytes = std::span(window).first(Read(start, std::span(window).first(wanted)));
        for (auto last = bytes.end();;) {
            const auto found = std::find_end(bytes.begin(), last, identifier.begin(), identifier.end());
            if (found == last)
                break;
            if (ReadBox(start + (found - bytes.begin()) - static_cast<int64_t>(kIdentifierAt), box))
                return true;
            last = found + static_cast<std::ptrdiff_t>(identifier.size()) - 1;
        }
        stop = start;
    }
    return false;
}

std::vector<JournalBox> RecordingFile::ReadJournal() const
{
    std::vector<JournalBox> boxes;
    JournalBox box;
    bool more = FindBoxBefore(size, box);
    while (more) {
        const int64_t position = box.position;
        const int64_t previous = box.previous;
        const bool own = boxes.empty() || box.recording == boxes.front().recording;
        if (own)
            boxes.push_back(std::move(box));
        if (own && previous == 0)
            break;
        more = (own && previous < position && ReadBox(previous, box)) || FindBoxBefore(position, box);
    }
    std::ranges::reverse(boxes);
    return boxes;
}

} // namespace platform
