// SPDX-License-Identifier: MIT
#pragma once

#include "record/CommandLine.h"
#include "record/ExitCode.h"

#include <string>

namespace velmora {

struct RecordCommand;

/// What the command line asks about a tape deck.
struct TapeCommand {
    bool record = false; ///< a tape instead of a camera
    bool rewind = false;
    bool play = false;
    bool splitRecordings = false;
    double signalSeconds = 10;
    std::string dvFile;
    std::string deck; ///< an operation of the transport, or "state", and nothing else; empty: none

    bool IsWanted() const { return record || !deck.empty(); }

    /// Whether there is something to do without a movie.
    bool NeedsNoMovie() const { return !deck.empty() || (record && !dvFile.empty()); }
};

/// The options that fill it.
OptionGroup TapeOptions(TapeCommand& command);

/// Empty, or one line about options that need another one.
std::string ContradictionIn(const TapeCommand& command);

/// Records a tape, or works the deck. What it did is on standard output, what went wrong on standard error.
ExitCode RunTape(const RecordCommand& command);

} // namespace velmora
