// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

namespace platform {

/// The numbers of a folder in a file specification record.
struct DirectoryNumbers {
    int16_t volume;    ///< always -1: all file systems are mounted under one root
    int32_t directory; ///< from 2, one more for each new folder in this process
};

/// The numbers of a folder, given by its absolute path. The same path always has the same numbers.
DirectoryNumbers NumbersOfDirectory(const std::string& path);

/// The absolute path of a folder by its numbers, without a trailing slash; empty for unknown numbers.
std::string DirectoryOfNumbers(DirectoryNumbers numbers);

} // namespace platform
