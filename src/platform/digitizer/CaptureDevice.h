// SPDX-License-Identifier: MIT
#pragma once

#include "platform/digitizer/ReconnectingThread.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace platform {

/// The result of an attempt to use a device. `reason` is a sentence for the user; after success it may be a remark.
struct Outcome {
    Result result = noErr;
    std::string reason = {};
    bool noBandwidth = false; ///< the bus has no bandwidth left for this format; a cheaper one may work

    /// Whether the attempt succeeded.
    explicit operator bool() const { return result == noErr; }
};

/// An open camera, implemented by each family of cameras. The destructor closes the device.
///
/// Formats, inputs and standards are read by the thread that opened the device, and while it does not stream. `Begin`
/// to `Failure` are called by the device's thread. Controls are read and written by a third thread.
class CaptureDevice {
public:
    virtual ~CaptureDevice() = default;

    /// All formats, in the device's own order, each size with its rates, the fastest first.
    virtual std::vector<CaptureFormat> Formats() = 0;

    /// The device's present format; format 0 if it is unknown or unusable.
    virtual CaptureFormat PresentFormat() { return {}; }

    /// Sets up the device for its present signal, before its formats are read.
    virtual Outcome Prepare() { return {}; }

    /// Starts delivery. `actual` receives the format that the device uses; with `sameSize`, another size is a failure.
    /// Returns `noDeviceForChannel` if the device can't start at present.
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
    /// The reason why the last call failed.
    virtual Outcome Failure() const = 0;

    /// Allowed silence in nanoseconds: four seconds before the first frame, which cameras may need to set their
    /// exposure, then five periods of the frame rate and at least one and a half seconds.
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

/// Opens one device, where it was or where it is now. Null, with the outcome, while it can't be opened.
using DeviceOpener = std::function<std::shared_ptr<CaptureDevice>(Outcome& outcome)>;

} // namespace platform
