// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>
#include <stdexcept>
#include <turbojpeg.h>
#include <vector>

/// A 4:2:2 JPEG picture ("yuvs" in) whose rows of 8 lines can be replaced one by one, so that a camera of large frames
/// costs only the rows that change. Each row of blocks is a restart interval: it decodes by itself.
class SplicedJpeg {
public:
    static constexpr int kRowHeight = 8;

    /// Compresses a whole picture. Width is a multiple of 16, height one of 8.
    SplicedJpeg(std::span<const uint8_t> picture, int width, int height, int quality)
        : compressor(tjInitCompress(), tjDestroy), width(width), quality(quality)
    {
        // The library takes the interval from the environment alone: one row of blocks.
        setenv("TJ_RESTART", "1", 1);
        const auto bytes = Compress(picture, height);
        const size_t start = EndOfHeader(bytes);
        header.assign(bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(start));
        rows = Split(std::span(bytes).subspan(start));
    }

    /// Compresses `picture` (whole lines, a multiple of 8) in place of the rows from `firstRow` on.
    void Replace(int firstRow, std::span<const uint8_t> picture)
    {
        const int height = static_cast<int>(picture.size()) / (width * 2);
        const auto bytes = Compress(picture, height);
        auto replaced = Split(std::span<const uint8_t>(bytes).subspan(EndOfHeader(bytes)));
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
    std::vector<uint8_t> Compress(std::span<const uint8_t> picture, int height) const
    {
        const auto samples = static_cast<size_t>(width) * static_cast<size_t>(height);
        std::vector<uint8_t> y(samples), cb(samples / 2), cr(samples / 2);
        for (size_t i = 0; i < samples / 2; ++i) {
            const uint8_t* from = picture.data() + i * 4;
            y[2 * i] = FullRange().luma[from[0]];
            cb[i] = FullRange().chroma[from[1]];
            y[2 * i + 1] = FullRange().luma[from[2]];
            cr[i] = FullRange().chroma[from[3]];
        }
        const uint8_t* planes[] = {y.data(), cb.data(), cr.data()};
        unsigned char* memory = nullptr;
        unsigned long size = 0;
        if (tjCompressFromYUVPlanes(compressor.get(), planes, width, nullptr, height, TJSAMP_422, &memory, &size,
                                    quality, TJFLAG_FASTDCT) != 0)
            throw std::runtime_error(tjGetErrorStr2(compressor.get()));
        std::vector<uint8_t> bytes(memory, memory + size);
        tjFree(memory);
        return bytes;
    }

    // JPEG holds luma and chroma in full range, "yuvs" in video range.
    struct RangeTables {
        uint8_t luma[256];
        uint8_t chroma[256];
    };

    static const RangeTables& FullRange()
    {
        static const RangeTables tables = [] {
            RangeTables made{};
            for (int i = 0; i < 256; ++i) {
                made.luma[i] = Clamp((i - 16) * 255.0 / 219 + 0.5);
                made.chroma[i] = Clamp((i - 128) * 255.0 / 224 + 128.5);
            }
            return made;
        }();
        return tables;
    }

    static uint8_t Clamp(double value) { return static_cast<uint8_t>(value < 0 ? 0 : value > 255 ? 255 : value); }

    // The entropy-coded data begins behind the scan's header.
    static size_t EndOfHeader(std::span<const uint8_t> bytes)
    {
        for (size_t at = 2; at + 4 < bytes.size();) {
            const size_t length = static_cast<size_t>(bytes[at + 2]) << 8 | bytes[at + 3];
            if (bytes[at + 1] == 0xDA)
                return at + 2 + length;
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

    std::unique_ptr<void, decltype(&tjDestroy)> compressor;
    int width;
    int quality;
    std::vector<uint8_t> header;
    std::vector<std::vector<uint8_t>> rows;
};
