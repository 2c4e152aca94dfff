// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/AddressSpace.h"

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <map>
#include <set>
#include <string>
#include <vector>

/// A second implementation of the platform's calls that drive devices, codecs and files: each call is noted as a line
/// of text and answered by what a test laid down. Memory, components, events and drawing are the real ones.
namespace scripted {

/// The raw arguments of a call, in order.
using Arguments = std::vector<int32_t>;

struct Script {
    /// One line for each call: "SGSetChannelUsage(22, 1)". Codes are written as 'vide', the session as "session",
    /// addresses as "@", rectangles as [top left bottom right]. The fixture adds traces, events and message boxes.
    std::vector<std::string> calls;

    /// Answers of a function: its result, or a procedure that works on the arguments. Without one the result is 0.
    std::map<std::string, std::function<int32_t(const Arguments&)>> answers;

    /// Functions whose calls are not noted.
    std::set<std::string> unnoted;

    void Returns(const std::string& function, int32_t result);
    /// Writes 32-bit values at the addresses in the places given of a call's arguments, and succeeds.
    void Writes(const std::string& function, std::vector<std::pair<size_t, int32_t>> values);
    /// The lines noted so far, which are forgotten.
    std::vector<std::string> Take();
    void Note(const std::string& line) { calls.push_back(line); }
};

/// The script of the running test.
Script& TheScript();

/// Begins anew with a healthy machine: sound channel 21, video channel 22 (320 by 240), driver 31, digitizer 41.
void Reset();

/// Fills a handle with a sound description of that form, or with an image description of that size.
void FillSoundDescription(int32_t handle, int channels, int bits, uint32_t rate);
void FillImageDescription(int32_t handle, int width, int height);

inline constexpr int32_t kSound = 21;
inline constexpr int32_t kVideo = 22;
inline constexpr int32_t kDriver = 31;
inline constexpr int32_t kDigitizer = 41;

} // namespace scripted
