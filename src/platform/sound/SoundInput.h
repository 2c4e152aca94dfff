// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/AddressSpace.h"
#include "platform/sound/SoundSource.h"

#include <atomic>
#include <utility>

namespace platform {

/// Reads one property of a sound input driver into the record at `data`.
///   "sour"  signed 16 bits: the input in use, from 1
///   "gain"  `Fixed`: the gain as a factor
///   "lmet"  signed 16 bits: above 0 while the level meter runs; 16 bits unused
///   "lmac"  16 bits unused (the meter's state), then one unsigned byte each: left and right peak level, 0 to 100
///          of full scale
/// `siBadRefNum` for a dead driver, `siUnknownInfoType` for a selector that the source doesn't have, `paramErr` for a
/// bad address.
Result SPBGetDeviceInfo(int32_t driver, FourCharCode selector, Address data);

/// Writes a property: "sour", "gain" and "lmet" of the list above. A value out of range is `paramErr` and changes
/// nothing.
Result SPBSetDeviceInfo(int32_t driver, FourCharCode selector, Address data);

// What the grabber uses.

/// Peak levels of a running stream. The grabber feeds it; it costs one test per buffer while it is off.
class LevelMeter {
public:
    void Switch(int32_t channelsMetered); ///< 0 switches off
    int32_t State() const;                ///< the number given to `Switch`

    /// Takes a buffer into account, on the source's thread: the peak holds until it is read.
    void Feed(const CapturedSound& sound);

    /// Peaks as fractions of full scale, left and right; both alike for a mono source, zeros while the meter is off or
    /// nothing comes. Levels that were read hold until the next buffer, so that two reads in a row, one for each side,
    /// agree.
    std::pair<double, double> Levels();

private:
    std::atomic<int32_t> metered{0};
    std::atomic<uint64_t> peaks{0};  // left, right above it, and above both whether they have been read
    std::atomic<int64_t> lastFed{0}; // on the monotonic clock
};

/// A number for a source and its meter, for the SPB calls; and its end.
int32_t RegisterSoundDriver(std::shared_ptr<SoundSource> source, std::shared_ptr<LevelMeter> meter);
void UnregisterSoundDriver(int32_t driver);

/// Exports the calls that are bound by name.
void StartSoundInput();

} // namespace platform
