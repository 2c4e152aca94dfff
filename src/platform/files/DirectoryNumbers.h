// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

namespace platform {

/// A folder in the numbers that a file specification record holds for it.
struct DirectoryNumbers {
    int16_t volume;    ///< always -1: every mounted file system hangs under one root
    int32_t directory; ///< counts up from 2 with each folder named for the first time in this process
};

/// The numbers of the folder `path`, given as an absolute path in UTF-8. The same path always has the same numbers.
DirectoryNumbers NumbersOfDirectory(const std::string& path);

/// The folder of a pair of numbers, without a slash at its end, or the empty string for numbers never handed out.
std::string DirectoryOfNumbers(DirectoryNumbers numbers);

} // namespace platform
