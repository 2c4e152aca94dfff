// SPDX-License-Identifier: MIT
#pragma once

#include "platform/digitizer/ReconnectingThread.h"

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

    /// Whether the attempt succeeded.
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
    /// Stops delivery.
    virtual void End() = 0;

    /// See `DeviceRun`.
    virtual pollfd Waiting() const = 0;
    /// Waits like poll(); see `DeviceRun`.
    virtual int Poll(std::span<pollfd> descriptors, int milliseconds);
    /// Takes what is ready; see `DeviceRun`.
    virtual Taken Take(short events, CapturedFrame& frame) = 0;
    /// Returns the buffer of the last frame to the device; false on failure.
    virtual bool GiveBack() { return true; }
    /// What silence means; see `DeviceRun`.
    virtual Taken Silent() { return Taken::Failed; }
    /// Why the last call failed.
    virtual Outcome Failure() const = 0;

    /// Nanoseconds of silence allowed: four seconds before the first frame, as cameras may take these to set their
    /// exposure, then five periods of the rate and at least one and a half seconds.
    virtual int64_t SilenceAllowed(bool beforeFirstFrame, double frameRate) const;

    /// The controls with their present values.
    virtual std::vector<ImageControl> ReadControls() { return {}; }
    /// Sets a control by its number; results as `Digitizer::SetControl`.
    virtual Result WriteControl(uint32_t, int64_t) { return digiUnimpErr; }

    /// Names of the inputs; may be empty.
    virtual std::vector<std::string> Inputs() { return {}; }
    /// Index of the present input.
    virtual int Input() { return 0; }
    /// Selects an input by its index.
    virtual Result SelectInput(int) { return digiUnimpErr; }
    /// Television standards of the present input; may be empty.
    virtual std::vector<std::string> Standards() { return {}; }
    /// Index of the present standard.
    virtual int Standard() { return 0; }
    /// Selects a standard by its index.
    virtual Result SelectStandard(int) { return digiUnimpErr; }
};

/// Opens one device, at its place or wherever it is now. Null, with the outcome, while it can't be had.
using DeviceOpener = std::function<std::shared_ptr<CaptureDevice>(Outcome& outcome)>;

} // namespace platform
