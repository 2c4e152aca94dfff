// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dv/DvPacks.h"

#include <QJsonObject>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace velmora {

/// Consecutive frames with the same fault.
struct TapeFault {
    enum class Kind {
        Lost,       ///< never arrived
        Incomplete, ///< packets were lost on the bus
        Concealed,  ///< the deck could not read parts of them from the tape and replaced these
    };
    Kind kind = Kind::Lost;
    int64_t frame = 0; ///< position of the first one in its file
    uint32_t frames = 0;
    int64_t blocks = 0;                             ///< concealed blocks of all these frames
    std::optional<platform::TapeTimecode> timecode; ///< on the tape, at the first one or the frame after it
};

/// What one file contains of a tape.
struct TapeFileReport {
    std::string path;
    bool isPal = false;
    int64_t length = 0; ///< in frames, including lost ones
    int64_t lost = 0;
    int64_t incomplete = 0;
    int64_t concealed = 0;
    int64_t withoutTimecode = 0;
    std::optional<platform::TapeTimecode> firstTimecode, lastTimecode;
    std::optional<platform::TapeTime> firstRecorded, lastRecorded;
    std::vector<TapeFault> faults;

    /// Length in seconds, lost frames included.
    double Seconds() const { return static_cast<double>(length) * (isPal ? 1200 : 1001) / 30'000; }
};

/// Several lines for the user: the file, its timecode and dates, and the position of each fault.
std::string TextOf(const TapeFileReport& file);

/// The report of one file as JSON.
QJsonObject JsonOf(const TapeFileReport& file);

} // namespace velmora
