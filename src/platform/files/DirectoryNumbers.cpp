// SPDX-License-Identifier: MIT
#include "platform/files/DirectoryNumbers.h"

#include <algorithm>
#include <vector>

namespace platform {
namespace {

constexpr int16_t kVolume = -1;
constexpr int32_t kFirstDirectory = 2;

std::vector<std::string>& Directories()
{
    static std::vector<std::string> directories;
    return directories;
}

} // namespace

DirectoryNumbers NumbersOfDirectory(const std::string& path)
{
    auto& directories = Directories();
    auto found = std::ranges::find(directories, path);
    if (found == directories.end())
        found = directories.insert(directories.end(), path);
    return {kVolume, kFirstDirectory + static_cast<int32_t>(found - directories.begin())};
}

std::string DirectoryOfNumbers(DirectoryNumbers numbers)
{
    const int32_t index = numbers.directory - kFirstDirectory;
    const auto& directories = Directories();
    if (numbers.volume != kVolume || index < 0 || index >= static_cast<int32_t>(directories.size()))
        return {};
    return directories[static_cast<size_t>(index)];
}

} // namespace platform
