// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/Handles.h"

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

/// A second implementation of the platform's calls for devices, codecs and files: each call is logged as a line of text
/// and returns what the test specified. Memory, components, events and drawing are the real ones.
namespace scripted {

/// The raw arguments of a call, in order.
using Arguments = std::vector<int32_t>;

struct Script {
    /// One line for each call: "SGSetChannelUsage(22, 1)". Codes are written as 'vide', the session as "session",
    /// addresses as "@", rectangles as [top left bottom right]. The fixture adds traces, events and message boxes.
    std::vector<std::string> calls;

    /// The result of a function, or a procedure that uses the arguments. Without one the result is 0.
    std::map<std::string, std::function<int32_t(const Arguments&)>> answers;

    /// What the grabber calls at a limit of a recording.
    std::function<std::string(bool ends)> splits;

    /// Functions whose calls are not logged.
    std::set<std::string> unnoted;

    void Returns(const std::string& function, int32_t result)
    {
        answers[function] = [result](const Arguments&) { return result; };
    }
    /// Writes 32-bit values to the addresses in the given arguments of a call, and succeeds.
    void Writes(const std::string& function, std::vector<std::pair<size_t, int32_t>> values)
    {
        answers[function] = [values = std::move(values)](const Arguments& arguments) {
            for (const auto& [place, value] : values)
                platform::Poke<int32_t>(arguments.at(place), value);
            return 0;
        };
    }
    /// Returns and clears the lines logged so far.
    std::vector<std::string> Take() { return std::exchange(calls, {}); }
    void Note(const std::string& line) { calls.push_back(line); }
};

/// The script of the running test.
inline Script& TheScript()
{
    static Script script;
    return script;
}

/// Resets to a machine without faults: sound channel 21, video channel 22 (320 by 240), driver 31, digitizer 41.
void Reset();

/// Fills a handle with a sound description of that form, or with an image description of that size.
inline void FillSoundDescription(int32_t handle, int channels, int bits, uint32_t rate)
{
    platform::SetHandleSize(handle, 36);
    const auto data = platform::Peek<int32_t>(handle);
    platform::Poke<int16_t>(data + 24, static_cast<int16_t>(channels));
    platform::Poke<int16_t>(data + 26, static_cast<int16_t>(bits));
    platform::Poke<uint32_t>(data + 32, rate << 16);
}

inline void FillImageDescription(int32_t handle, int width, int height)
{
    platform::SetHandleSize(handle, 86);
    const auto data = platform::Peek<int32_t>(handle);
    platform::Poke<int16_t>(data + 32, static_cast<int16_t>(width));
    platform::Poke<int16_t>(data + 34, static_cast<int16_t>(height));
}

inline constexpr int32_t kSound = 21;
inline constexpr int32_t kVideo = 22;
inline constexpr int32_t kDriver = 31;
inline constexpr int32_t kDigitizer = 41;

} // namespace scripted
