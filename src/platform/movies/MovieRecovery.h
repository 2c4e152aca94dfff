// SPDX-License-Identifier: MIT
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

/// Finishes the recording at `input` that was cut off. With an empty `output` that is done in place, by adding the
/// header to the file; killed at any moment, it can be done again. Else the movie is written to `output`, and `input`
/// stays as it is. `written` receives the name of the movie. For a movie that is complete nothing is written, and
/// `written` is the input.
/// `fnfErr` for no such file, `invalidMovie` for one that holds no recording of this system or one without a sample,
/// `fBsyErr` for one that is being recorded or finished, `permErr` for one that may not be written, `dupFNErr` for an
/// output that exists, `dskFulErr` and the like for a movie that can't be written; `written` is empty unless it is
/// writing that failed.
Result RecoverMovie(const std::string& input, const std::string& output, RecoveredMovie& found, std::string& written);

} // namespace platform
