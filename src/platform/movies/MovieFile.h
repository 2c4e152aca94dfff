// SPDX-License-Identifier: MIT
#pragma once

#include "platform/files/UniqueFD.h"
#include "platform/memory/FourCharCode.h"
#include "platform/memory/ResultCodes.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace platform {

/// A box of a movie file (ISO/IEC 14496-12, and QuickTime's atoms alike).
struct FileBox {
    FourCharCode type = 0;
    int64_t start = 0;
    int64_t content = 0; ///< where its content begins
    int64_t end = 0;
};

/// The bytes of a movie file of any program, read only. Every access is checked against its size.
class MovieFile {
public:
    /// `fnfErr` for no such file, `permErr` for one that may not be read, `invalidMovie` for one that is no regular
    /// file.
    Result Open(const std::string& path);

    /// Size of the file in bytes.
    int64_t Size() const { return size; }

    /// Reads as many bytes as the file has there, and returns how many.
    size_t Read(int64_t position, std::span<uint8_t> bytes) const;

    /// The boxes that follow one another from `start` to `end`. One that reaches beyond `end` is the last one, and
    /// keeps its length; so is one whose length is none.
    std::vector<FileBox> Boxes(int64_t start, int64_t end) const;

private:
    UniqueFD descriptor;
    int64_t size = 0;
};

} // namespace platform
