// SPDX-License-Identifier: MIT
#pragma once

#include "record/CommandLine.h"
#include "record/ExitCode.h"

#include <string>

namespace velmora {

struct RecordCommand;

/// The options about tapes and decks.
struct TapeCommand {
    bool record = false; ///< a tape instead of a camera
    bool rewind = false;
    bool play = false;
    bool splitRecordings = false;
    double signalSeconds = 10;
    std::string dvFile;
    std::string deck; ///< an operation of the transport, or "state", and nothing else; empty: none

    bool IsRequested() const { return record || !deck.empty(); } ///< whether a tape or deck is to be used

    /// Whether the command works without the name of a movie.
    bool NeedsNoMovie() const { return !deck.empty() || (record && !dvFile.empty()); }
};

/// The options that set `command`, for the command line.
OptionGroup TapeOptions(TapeCommand& command);

/// Describes options that contradict each other, in one line; empty if there are none.
std::string ContradictionIn(const TapeCommand& command);

/// Records a tape or operates the deck. Writes results to standard output and failures to standard error.
ExitCode RunTape(const RecordCommand& command);

} // namespace velmora
