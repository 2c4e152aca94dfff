// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/FrameCompressor.h"
#include "platform/drawing/PixelFormat.h"

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>
#include <stdexcept>
#include <vector>

/// A 4:2:2 JPEG picture ("yuvs" in) whose rows of 8 lines can be replaced one by one, so that a camera of large frames
/// costs only the rows that change. Each row of blocks is a restart interval: it decodes by itself.
class SplicedJpeg {
public:
    static constexpr int kRowHeight = 8;

    /// Compresses a whole picture. Width is a multiple of 16, height one of 8; `quality` is up to `kHighestQuality`.
    SplicedJpeg(std::span<const uint8_t> picture, int width, int height, int quality) : width(width)
    {
        // The compressor's library takes the interval from the environment alone: one row of blocks.
        setenv("TJ_RESTART", "1", 1);
        compressor = platform::FrameCompressor::Create({.spatialQuality = quality});
        const auto block = Compress(picture, height);
        const std::span<const uint8_t> bytes = block.Bytes();
        const auto scan = ScanOf(bytes);
        header.assign(bytes.begin(), bytes.end() - static_cast<ptrdiff_t>(scan.size()));
        rows = Split(scan);
    }

    /// Compresses `picture` (whole lines, a multiple of 8) in place of the rows from `firstRow` on.
    void Replace(int firstRow, std::span<const uint8_t> picture)
    {
        const auto block = Compress(picture, static_cast<int>(picture.size()) / (width * 2));
        auto replaced = Split(ScanOf(block.Bytes()));
        for (size_t i = 0; i < replaced.size(); ++i)
            rows.at(static_cast<size_t>(firstRow) + i) = std::move(replaced[i]);
    }

    /// The picture as a JPEG stream.
    std::vector<uint8_t> Join() const
    {
        std::vector<uint8_t> joined = header;
        for (size_t i = 0; i < rows.size(); ++i) {
            joined.insert(joined.end(), rows[i].begin(), rows[i].end());
            joined.push_back(0xFF);
            joined.push_back(i + 1 == rows.size() ? 0xD9 : static_cast<uint8_t>(0xD0 + i % 8));
        }
        return joined;
    }

private:
    platform::OwnedBlock Compress(std::span<const uint8_t> picture, int height) const
    {
        return compressor->Compress({picture, platform::kYuvsPixelFormat, width, height});
    }

    // The entropy-coded data begins behind the scan's header.
    static std::span<const uint8_t> ScanOf(std::span<const uint8_t> bytes)
    {
        for (size_t at = 2; at + 4 < bytes.size();) {
            const size_t length = static_cast<size_t>(bytes[at + 2]) << 8 | bytes[at + 3];
            if (bytes[at + 1] == 0xDA)
                return bytes.subspan(at + 2 + length);
            at += 2 + length;
        }
        throw std::logic_error("a picture without a scan");
    }

    // The data of each restart interval, without the markers between them.
    static std::vector<std::vector<uint8_t>> Split(std::span<const uint8_t> scan)
    {
        std::vector<std::vector<uint8_t>> parts;
        size_t start = 0;
        for (size_t at = 0; at + 1 < scan.size(); ++at) {
            const bool isMarker = scan[at] == 0xFF && ((scan[at + 1] & 0xF8) == 0xD0 || scan[at + 1] == 0xD9);
            if (!isMarker)
                continue;
            parts.emplace_back(scan.begin() + static_cast<ptrdiff_t>(start), scan.begin() + static_cast<ptrdiff_t>(at));
            start = at + 2;
            ++at;
        }
        return parts;
    }

    int width;
    std::unique_ptr<platform::FrameCompressor> compressor;
    std::vector<uint8_t> header;
    std::vector<std::vector<uint8_t>> rows;
};
