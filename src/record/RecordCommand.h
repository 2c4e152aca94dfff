// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

namespace velmora {

/// What the command line asks of `velmora-record`.
struct RecordCommand {
    double seconds = 0; ///< 0: until interrupted
    int width = 0;      ///< 0: the device's own size
    int height = 0;
    std::string camera;     ///< by name; empty: the one in use
    std::string microphone; ///< by name, or "none"; empty: the one in use
    std::string settingsFile;
    std::string output;
    bool listDevices = false;
    bool help = false;
    bool force = false; ///< replace a file of that name
    bool live = false;  ///< decode the live picture as the window does, for comparison
};

/// Reads the command line. Nothing, with the reason in `problem`, for one that makes no sense.
std::optional<RecordCommand> ReadCommandLine(int argc, char** argv, std::string& problem);

/// How the command is used.
const char* UsageText();

} // namespace velmora
