// SPDX-License-Identifier: MIT
#pragma once

#include "record/TapeCommand.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace velmora {

/// What the command line asks of `velmora-record`. What is empty, 0 or not set is left as the devices and the settings
/// file have it.
struct RecordCommand {
    std::string camera;     ///< by name or identity
    std::string microphone; ///< by name or identity, or `kNoMicrophone`
    int width = 0;          ///< of the frames, in pixels
    int height = 0;
    double frameRate = 0;                                      ///< frames a second
    std::string frameFormat;                                   ///< of the camera: code or name
    std::vector<std::pair<std::string, std::string>> controls; ///< image controls by name, with their values

    std::string codec;            ///< compressor: code or name
    std::optional<int> quality;   ///< in percent
    std::optional<int> keyFrames; ///< a key frame each so many frames; 0: as is usual
    std::string soundCodec;       ///< sound format: four-character code
    int soundRate = 0;            ///< samples a second
    int soundBits = 0;            ///< a sample
    int channels = 0;             ///< of sound
    std::optional<double> gain;   ///< a factor, 1 is the source's normal level

    std::string settingsFile;
    std::string savedSettingsFile;

    double seconds = 0;             ///< until the end
    int64_t frames = 0;             ///< until the end
    std::optional<int64_t> startAt; ///< seconds since 1970
    double splitSeconds = 0;        ///< of each file
    int64_t splitBytes = 0;         ///< of each file
    bool force = false;             ///< replace files of those names
    bool live = false;              ///< decode the live picture as the window does, for comparison
    std::string reportFile;

    std::string output; ///< a name, or a pattern of names (`OutputNames`)

    TapeCommand tape;

    bool list = false;
    bool json = false; ///< the list as JSON
    bool help = false;
    bool version = false;

    bool Splits() const { return splitSeconds > 0 || splitBytes > 0; }
};

inline constexpr const char* kNoMicrophone = "none";

/// Reads the command line. Nothing, with one line of reason in `problem`, for one that makes no sense.
std::optional<RecordCommand> ReadCommandLine(int argc, char** argv, std::string& problem);

/// How the command is used.
std::string UsageText();

} // namespace velmora
