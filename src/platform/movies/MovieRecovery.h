// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/ResultCodes.h"

#include <cstdint>
#include <string>

namespace platform {

/// The result of a recovery.
struct RecoveredMovie {
    double seconds = 0; ///< playing time of the longer track
    uint64_t videoFrames = 0;
    uint64_t soundFrames = 0; ///< sample frames
    int64_t bytes = 0;        ///< media data
    bool wasComplete = false; ///< the file needed no recovery
};

/// Finishes the interrupted recording at `input`. With an empty `output` this is done in place, by appending the
/// header; if the process is killed at any moment, recovery can be repeated. Otherwise the movie is written to
/// `output`, and `input` is not changed. `written` receives the path of the movie. If the movie is complete nothing is
/// written, and `written` is the input.
/// Returns `fnfErr` if the file does not exist, `invalidMovie` if it contains no recording of this system or none with
/// a sample, `fBsyErr` if it is being recorded or finished, `permErr` if it may not be written, `dupFNErr` if the
/// output exists, `dskFulErr` and the like if writing failed. `written` is empty unless writing failed.
Result RecoverMovie(const std::string& input, const std::string& output, RecoveredMovie& found, std::string& written);

} // namespace platform
