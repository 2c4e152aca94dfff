// SPDX-License-Identifier: MIT
#pragma once

#include "platform/digitizer/v4l2/V4L2Device.h"

#include <atomic>
#include <mutex>
#include <set>

namespace platform {

/// The controls of an open device. Their properties are cached while the driver's events report changes; their values
/// are read each time. Any thread may call these functions.
class V4L2Controls {
public:
    /// The controls of that open device.
    explicit V4L2Controls(std::shared_ptr<V4L2Device> device) : device(std::move(device)) {}

    /// Every control that is a number, a Boolean, a menu or a button, with its present value. Other kinds (strings, bit
    /// fields, arrays) are skipped.
    std::vector<ImageControl> Read();

    /// Sets a control. Returns `digiUnimpErr` if the device lacks it, `permErr` if it can't be written, `paramErr` for
    /// a value out of range.
    Result Write(uint32_t identity, int64_t value);

    /// Sets whether the driver's events are being read and passed to `Changed`, as they are while the device streams.
    /// Does not block.
    void FollowEvents(bool followed);

    /// Handles a driver's event: a control's range, menu or flags may have changed.
    void Changed(const v4l2_event& event);

private:
    void Enumerate();
    void Subscribe(uint32_t identity);
    std::optional<int64_t> ReadValue(const ImageControl& control) const;
    int Transfer(bool write, uint32_t identity, int64_t& value) const;

    const std::shared_ptr<V4L2Device> device;
    std::mutex mutex;
    std::vector<ImageControl> known;
    std::vector<uint32_t> subscribed;
    std::set<uint32_t> wide; ///< controls whose values have 64 bits
    std::atomic<bool> isFollowed = false;
    std::atomic<bool> isKnown = false;
};

/// Adds what the number of a kernel control implies: feature, automatic switch, unit.
void AddMeaning(ImageControl& control);

} // namespace platform
