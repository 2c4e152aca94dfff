// SPDX-License-Identifier: MIT
#pragma once

#include "platform/digitizer/DeviceThread.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace platform {

/// How an attempt at a device went. `reason` is a sentence for people; it may come with success, too, as a remark.
struct Outcome {
    Result result = noErr;
    std::string reason = {};
    bool noBandwidth = false; ///< the bus has no room for this format; a cheaper one may pass

    explicit operator bool() const { return result == noErr; }
};

/// An open camera: what a family of cameras supplies. The object closes the device with its end.
///
/// Formats, inputs and standards are asked for by the thread that opened the device, and while it does not stream.
/// `Begin` to `Failure` belong to the device's thread. Controls are read and written by a third thread beside that.
class CaptureDevice {
public:
    virtual ~CaptureDevice() = default;

    /// Everything on offer, in the device's own order, each size with its rates, the fastest first.
    virtual std::vector<CaptureFormat> Formats() = 0;

    /// What the device is set to; format 0 where that can't be known or used.
    virtual CaptureFormat PresentFormat() { return {}; }

    /// Sets the device up for its present signal, before its formats are looked at.
    virtual Outcome Prepare() { return {}; }

    /// Starts to deliver. `actual` is set to what the device made of the format; where `sameSize` is set, another size
    /// is a failure. A device that can't start at the moment answers `noDeviceForChannel`.
    virtual Outcome Begin(const CaptureFormat& wanted, bool sameSize, CaptureFormat& actual) = 0;
    virtual void End() = 0;

    /// See `DeviceRun`.
    virtual pollfd Waiting() const = 0;
    virtual int Poll(std::span<pollfd> descriptors, int milliseconds);
    virtual Taken Take(short events, CapturedFrame& frame) = 0;
    virtual bool GiveBack() { return true; }
    virtual Taken Silent() { return Taken::Failed; }
    virtual Outcome Failure() const = 0;

    /// Nanoseconds of silence allowed: four seconds before the first frame, as cameras may take these to set their
    /// exposure, then five periods of the rate and at least one and a half seconds.
    virtual int64_t SilenceAllowed(bool beforeFirstFrame, double frameRate) const;

    virtual std::vector<ImageControl> ReadControls() { return {}; }
    virtual Result WriteControl(uint32_t, int64_t) { return digiUnimpErr; }

    virtual std::vector<std::string> Inputs() { return {}; }
    virtual int Input() { return 0; }
    virtual Result SelectInput(int) { return digiUnimpErr; }
    virtual std::vector<std::string> Standards() { return {}; }
    virtual int Standard() { return 0; }
    virtual Result SelectStandard(int) { return digiUnimpErr; }
};

/// Opens one device, at its place or wherever it is now. Null, with the outcome, while it can't be had.
using DeviceOpener = std::function<std::shared_ptr<CaptureDevice>(Outcome& outcome)>;

} // namespace platform
