// SPDX-License-Identifier: MIT
#pragma once

#include "record/TapeCommand.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace velmora {

/// The command line of `velmora-record`. Options that are empty, 0 or not set leave the devices and the settings file
/// as they are.
struct RecordCommand {
    std::string camera;     ///< by name or identity
    std::string microphone; ///< by name or identity, or `kNoMicrophone`
    int width = 0;          ///< of the frames, in pixels
    int height = 0;
    double frameRate = 0;                                      ///< frames per second
    std::string frameFormat;                                   ///< of the camera: code or name
    std::vector<std::pair<std::string, std::string>> controls; ///< image controls by name, with their values

    std::string codec;            ///< compressor: code or name
    std::optional<int> quality;   ///< in percent
    std::optional<int> keyFrames; ///< key frame interval; 0: the compressor's default
    std::string soundCodec;       ///< sound format: four-character code
    int soundRate = 0;            ///< in hertz
    int soundBits = 0;            ///< per sample
    int channels = 0;             ///< audio channels
    std::optional<double> gain;   ///< factor; 1 is the source's normal level

    std::string settingsFile;
    std::string savedSettingsFile;

    double seconds = 0;             ///< length of the recording
    int64_t frames = 0;             ///< length of the recording
    std::optional<int64_t> startAt; ///< seconds since 1970
    double splitSeconds = 0;        ///< length of each file
    int64_t splitBytes = 0;         ///< maximum size of each file
    bool force = false;             ///< replace existing files
    bool live = false;              ///< decode the live picture as the window does, for comparison
    std::string reportFile;

    std::string output; ///< a name, or a pattern of names (`OutputNames`)

    TapeCommand tape;

    bool list = false;
    bool json = false; ///< the list as JSON
    bool help = false;
    bool version = false;

    /// Whether the recording is split into several files.
    bool Splits() const { return splitSeconds > 0 || splitBytes > 0; }
};

/// The value of `--microphone` for a recording without sound.
inline constexpr const char* kNoMicrophone = "none";

/// Parses the command line. Returns nothing, and describes the first mistake in `problem`, if it is not valid.
std::optional<RecordCommand> ReadCommandLine(int argc, char** argv, std::string& problem);

/// The text of `--help`.
std::string UsageText();

} // namespace velmora
