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
///   "lmac"  16 bits unused, then one unsigned byte each: left and right peak level, 0 to 100 percent of full scale
/// `siBadRefNum` for an invalid driver, `siUnknownInfoType` for a selector that the source does not support, `paramErr`
/// for an invalid address.
Result SPBGetDeviceInfo(int32_t driver, FourCharCode selector, Address data);

/// Writes the property "sour", "gain" or "lmet" (see above) from the record at `data`. `paramErr` for a value out of
/// range, which changes nothing; otherwise results as above.
Result SPBSetDeviceInfo(int32_t driver, FourCharCode selector, Address data);

// For the grabber.

/// Measures the peak levels of a stream. While it is off a buffer costs one comparison.
class LevelMeter {
public:
    void SetChannels(int32_t channelsMetered); ///< the number of channels to measure; 0 turns the meter off
    int32_t Channels() const;                  ///< the number of channels given to `SetChannels`

    /// Measures a buffer, on the source's thread. The peak is held until it is read.
    void Feed(const CapturedSound& sound);

    /// The peaks, left and right, as fractions of full scale; both the same for a mono source. Zeros while the meter is
    /// off or no sound arrives. Peaks stay the same until the next buffer, so that two calls, one for each side, agree.
    std::pair<double, double> Levels();

private:
    std::atomic<int32_t> metered{0};
    std::atomic<uint64_t> peaks{0};  // bits 0 to 15: left, 16 to 31: right, 32: whether they have been read
    std::atomic<int64_t> lastFed{0}; // in nanoseconds, monotonic clock
};

/// Creates a driver reference for a source and its meter, for the calls above.
int32_t RegisterSoundDriver(std::shared_ptr<SoundSource> source, std::shared_ptr<LevelMeter> meter);
/// Removes a driver reference.
void UnregisterSoundDriver(int32_t driver);

/// Starts the module: registers the calls that are bound by name.
void StartSoundInput();

} // namespace platform
