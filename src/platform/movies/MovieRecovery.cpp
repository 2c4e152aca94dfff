// A recovery reads nothing but the journal: it looks for the last whole block from the file's end, follows the blocks
// back to the first, and puts the movie together from them. Where a block is damaged, the search begins anew before
// it, so that what lies in front of the damage is found as well. Media data is then copied as it stands (on file
// systems that can, without taking room twice) and gets a new head and a header.
#include "platform/movies/MovieRecovery.h"

#include "platform/movies/MovieHeader.h"
#include "platform/movies/OutputFile.h"
#include "platform/movies/RecoveryJournal.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {
namespace {

constexpr size_t kWindow = size_t{1} << 20;

// The file that is read. Every access is checked against its size.
class Recording {
public:
    Result Open(const std::string& path);

    int64_t Size() const { return size; }
    int Descriptor() const { return descriptor.Get(); }

    /// Reads as many of `bytes` as the file has at `position`, and tells how many.
    size_t Read(int64_t position, std::span<uint8_t> bytes) const;

    /// The whole block at a position, if there is one.
    bool ReadBlock(int64_t position, JournalBlock& block) const;

    /// The last whole block that begins before `end`.
    bool FindBlockBefore(int64_t end, JournalBlock& block) const;

private:
    OwnedDescriptor descriptor;
    int64_t size = 0;
};

Result Recording::Open(const std::string& path)
{
    descriptor = OwnedDescriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!descriptor.IsOpen())
        return errno == ENOENT || errno == ENOTDIR ? fnfErr : ResultOfFileError(errno);
    struct stat status {};
    if (fstat(descriptor.Get(), &status) != 0)
        return ResultOfFileError(errno);
    size = status.st_size;
    return S_ISREG(status.st_mode) ? noErr : invalidMovie;
}

size_t Recording::Read(int64_t position, std::span<uint8_t> bytes) const
{
    size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t count =
            pread(descriptor.Get(), bytes.data() + done, bytes.size() - done, position + static_cast<int64_t>(done));
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            break;
        done += static_cast<size_t>(count);
    }
    return done;
}

bool Recording::ReadBlock(int64_t position, JournalBlock& block) const
{
    std::array<uint8_t, kJournalHeadSize> head;
    if (position < kFileHeadSize || Read(position, head) != head.size())
        return false;
    const auto length = JournalBlockSize(head, position);
    if (!length || static_cast<int64_t>(*length) > size - position)
        return false;
    std::vector<uint8_t> bytes(*length);
    return Read(position, bytes) == bytes.size() && ReadJournalBlock(bytes, block);
}

bool Recording::FindBlockBefore(int64_t end, JournalBlock& block) const
{
    ByteWriter magicWriter;
    magicWriter.U64(kJournalMagic);
    const auto magic = magicWriter.Bytes();
    std::vector<uint8_t> window(kWindow + magic.size() - 1);
    for (int64_t stop = end; stop > kFileHeadSize;) {
        const int64_t start = std::max<int64_t>(kFileHeadSize, stop - static_cast<int64_t>(kWindow));
        const auto wanted = static_cast<size_t>(stop - start) + magic.size() - 1;
        const auto bytes = std::span(window).first(Read(start, std::span(window).first(wanted)));
        for (auto last = bytes.end();;) {
            const auto found = std::find_end(bytes.begin(), last, magic.begin(), magic.end());
            if (found == last)
                break;
            if (ReadBlock(start + (found - bytes.begin()), block))
                return true;
            last = found + static_cast<std::ptrdiff_t>(magic.size()) - 1;
        }
        stop = start;
    }
    return false;
}

// The blocks of the file's recording, the first one first.
std::vector<JournalBlock> ReadJournal(const Recording& recording)
{
    std::vector<JournalBlock> blocks;
    JournalBlock block;
    bool more = recording.FindBlockBefore(recording.Size(), block);
    while (more) {
        const int64_t before = block.position;
        const int64_t previous = block.previous;
        const bool own = blocks.empty() || block.recording == blocks.front().recording;
        if (own)
            blocks.push_back(std::move(block));
        if (own && previous == 0)
            break;
        more = (own && previous < before && recording.ReadBlock(previous, block)) ||
               recording.FindBlockBefore(before, block);
    }
    std::ranges::reverse(blocks);
    return blocks;
}

// A complete movie says where its media data ends, and has its header there, down to the last byte.
bool IsComplete(const Recording& recording)
{
    std::array<uint8_t, kFileHeadSize> head{};
    recording.Read(0, head);
    const int64_t end = MediaDataEndOf(head);
    std::array<uint8_t, 8> box{};
    if (end == 0 || recording.Read(end, box) != box.size())
        return false;
    ByteReader bytes(box);
    const uint32_t length = bytes.U32();
    return bytes.U32() == CodeOf("moov") && length <= recording.Size() - end;
}

RecoveredMovie FiguresOf(const MovieContents& movie, int64_t mediaBytes)
{
    RecoveredMovie found;
    for (const TrackContents& track : movie.tracks) {
        if (track.mediaType == 0)
            continue;
        auto& frames = track.mediaType == kVideoMediaType ? found.videoFrames : found.soundFrames;
        frames += static_cast<uint64_t>(track.samples);
        found.seconds = std::max(found.seconds, static_cast<double>(track.duration) / track.timeScale);
    }
    found.bytes = mediaBytes;
    return found;
}

std::string RecoveredName(const std::string& input)
{
    const size_t nameStart = input.rfind('/') + 1;
    const size_t dot = input.rfind('.');
    const bool hasEnding = dot != std::string::npos && dot > nameStart;
    const size_t end = hasEnding ? dot : input.size();
    return input.substr(0, end) + " recovered" + input.substr(end);
}

Result WriteMovie(const Recording& recording, int64_t dataEnd, const MovieContents& movie, const std::string& path)
{
    std::unique_ptr<DiskFile> file;
    if (const Result result = CreateOutputFile(path, false, movie.creator, file); result != noErr)
        return result;
    Result result = file->CopyFrom(recording.Descriptor(), dataEnd);
    if (result == noErr)
        result = file->Write(MovieHeader(movie), dataEnd);
    if (result == noErr)
        result = file->Write(FileHead(dataEnd), 0);
    if (result == noErr)
        result = file->Sync();
    if (result != noErr)
        unlink(path.c_str());
    return result;
}

} // namespace

Result RecoverMovie(const std::string& input, const std::string& output, RecoveredMovie& found, std::string& written)
{
    written.clear();
    Recording recording;
    if (const Result result = recording.Open(input); result != noErr)
        return result;
    const auto blocks = ReadJournal(recording);
    if (blocks.empty())
        return invalidMovie;
    JournalReplay replay;
    for (const JournalBlock& block : blocks)
        replay.Add(block);
    const MovieContents movie = replay.TakeMovie();
    found = FiguresOf(movie, replay.MediaBytes());
    if (found.bytes == 0)
        return invalidMovie;
    found.wasComplete = IsComplete(recording);
    written = found.wasComplete ? input : output.empty() ? RecoveredName(input) : output;
    if (found.wasComplete)
        return noErr;
    const JournalBlock& last = blocks.back();
    const auto dataEnd = last.position + static_cast<int64_t>(kJournalHeadSize + last.payload.size());
    return WriteMovie(recording, dataEnd, movie, written);
}

} // namespace platform
