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

/// Read-only access to the bytes of a movie file of any program. Every access is checked against the file's size.
class MovieFile {
public:
    /// Returns `fnfErr` if the file does not exist, `permErr` if it may not be read, `invalidMovie` if it is not a
    /// regular file.
    Result Open(const std::string& path);

    /// Size of the file in bytes.
    int64_t Size() const { return size; }

    /// Reads at most as many bytes as the file has there, and returns how many.
    size_t Read(int64_t position, std::span<uint8_t> bytes) const;

    /// The boxes from `start` to `end`, one after the other. A box that reaches beyond `end` is the last one and keeps
    /// its length, and so is a box with an invalid length.
    std::vector<FileBox> Boxes(int64_t start, int64_t end) const;

private:
    UniqueFD descriptor;
    int64_t size = 0;
};

} // namespace platform
