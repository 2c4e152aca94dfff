#pragma once

#include "platform/memory/ResultCodes.h"

#include <cstdint>
#include <string>

namespace platform {

/// What a recovery found.
struct RecoveredMovie {
    double seconds = 0; ///< playing time of the longer track
    uint64_t videoFrames = 0;
    uint64_t soundFrames = 0; ///< sample frames
    int64_t bytes = 0;        ///< media data
    bool wasComplete = false; ///< the file needed no recovery
};

/// Makes a playable movie at `output` out of the recording at `input` that was cut off, which stays untouched. An
/// empty `output` stands for the input's name with " recovered" before its ending; `written` receives the name used.
/// For a movie that is complete nothing is written, and `written` is the input itself.
/// `fnfErr` for no such file, `invalidMovie` for one that holds no recording of this system, `dupFNErr` for an output
/// that exists, `dskFulErr` and the like for one that can't be written; `written` is empty unless it is the output
/// that failed.
Result RecoverMovie(const std::string& input, const std::string& output, RecoveredMovie& found, std::string& written);

} // namespace platform
