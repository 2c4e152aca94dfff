// SPDX-License-Identifier: MIT
#include "platform/digitizer/JpegFrames.h"

#include "platform/drawing/PixelFormat.h"

#include <algorithm>
#include <array>

namespace platform {
namespace {

constexpr FourCharCode kJpeg = CodeOf("jpeg");
constexpr uint8_t kHuffmanTables = 0xC4;
constexpr uint8_t kStartOfScan = 0xDA;
constexpr size_t kMaxPreamble = 4096;

struct Segment {
    uint8_t marker = 0;
    size_t start = 0; ///< of the marker
    size_t end = 0;
};

// The segment after `at`; nothing if none starts there or it extends beyond the end.
std::optional<Segment> SegmentAt(std::span<const uint8_t> frame, size_t at)
{
    while (at + 1 < frame.size() && frame[at] == 0xFF && frame[at + 1] == 0xFF) // fill bytes
        ++at;
    if (at + 4 > frame.size() || frame[at] != 0xFF || frame[at + 1] == 0xD9)
        return std::nullopt;
    const size_t length = static_cast<size_t>(frame[at + 2]) << 8 | frame[at + 3];
    if (length < 2 || at + 2 + length > frame.size())
        return std::nullopt;
    return Segment{frame[at + 1], at, at + 2 + length};
}

bool IsFrameHeader(uint8_t marker)
{
    return marker >= 0xC0 && marker <= 0xCF && marker != kHuffmanTables && marker != 0xC8 && marker != 0xCC;
}

struct Header {
    int32_t width = 0;
    int32_t height = 0;
    bool hasTables = false;
    size_t scan = 0; ///< start of the first scan; 0: the frame ends before it
};

Header ReadHeader(std::span<const uint8_t> frame)
{
    Header header;
    for (auto segment = SegmentAt(frame, 2); segment; segment = SegmentAt(frame, segment->end)) {
        if (IsFrameHeader(segment->marker) && segment->end - segment->start >= 9) {
            const auto bytes = frame.subspan(segment->start);
            header.height = bytes[5] << 8 | bytes[6];
            header.width = bytes[7] << 8 | bytes[8];
        }
        header.hasTables = header.hasTables || segment->marker == kHuffmanTables;
        header.scan = segment->start;
        if (segment->marker == kStartOfScan)
            return header;
    }
    header.scan = 0;
    return header;
}

// The example tables of the standard, which our own compressor writes.
const std::vector<uint8_t>& StandardTables()
{
    static const std::vector<uint8_t> tables = [] {
        std::vector<uint8_t> found;
        const std::array<uint8_t, 16 * 16 * 2> grey{};
        const auto frame = FrameCompressor::Create({})->Compress({grey, CodeOf("2vuy"), 16, 16});
        const std::span<const uint8_t> bytes = frame.Bytes();
        for (auto segment = SegmentAt(bytes, 2); segment; segment = SegmentAt(bytes, segment->end))
            if (segment->marker == kHuffmanTables)
                found.insert(found.end(), bytes.begin() + static_cast<ptrdiff_t>(segment->start),
                             bytes.begin() + static_cast<ptrdiff_t>(segment->end));
            else if (segment->marker == kStartOfScan)
                break;
        return found;
    }();
    return tables;
}

} // namespace

std::optional<RawFrame> ReadJpegFrame(std::span<const uint8_t> bytes, std::vector<uint8_t>& mended)
{
    static constexpr uint8_t kStart[] = {0xFF, 0xD8};
    const auto preamble = bytes.first(std::min(bytes.size(), kMaxPreamble));
    const auto start = std::ranges::search(preamble, kStart);
    if (start.empty())
        return std::nullopt;
    auto frame = bytes.subspan(static_cast<size_t>(start.begin() - preamble.begin()));
    const Header header = ReadHeader(frame);
    if (header.scan == 0 || !IsPictureSize(header.width, header.height))
        return std::nullopt;
    if (!header.hasTables) {
        const auto scan = frame.begin() + static_cast<ptrdiff_t>(header.scan);
        mended.assign(frame.begin(), scan);
        mended.insert(mended.end(), StandardTables().begin(), StandardTables().end());
        mended.insert(mended.end(), scan, frame.end());
        frame = mended;
    }
    return RawFrame{frame, kJpeg, header.width, header.height};
}

} // namespace platform
