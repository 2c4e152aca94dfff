// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/FrameCompressor.h"
#include "platform/digitizer/CaptureFormat.h"
#include "platform/digitizer/ImageControls.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace platform {

/// A frame as delivered by the device. `picture` is only valid during the call.
struct CapturedFrame {
    RawFrame picture;
    int64_t captureTime = 0; ///< in nanoseconds, monotonic clock (CLOCK_MONOTONIC)
    uint32_t sequence = 0;   ///< the device's own count: a step above 1 means that frames were lost before us
    bool isWhole = true;     ///< false if parts were lost in transfer and replaced
};

/// Receives what a digitizer delivers, on the digitizer's thread. It must copy what it keeps and return at once.
class FrameSink {
public:
    virtual ~FrameSink() = default;

    /// A good frame.
    virtual void FrameArrived(const CapturedFrame& frame) = 0;

    /// A frame that is not a picture: marked as damaged by the driver, truncated, or of another format. It is dropped;
    /// `sequence` is its position in the count.
    virtual void FrameDamaged(uint32_t /*sequence*/) {}

    /// The device went away or failed; more frames may follow when it is back.
    virtual void CaptureFailed(Result result) = 0;
};

/// A feature as defined for IIDC cameras (1394 TA, IIDC 1.31), in the device's own units.
struct CameraFeature {
    int32_t minimum = 0;
    int32_t maximum = 0;
    int32_t value = 0;
    int32_t step = 1;
    float absoluteMinimum = 0; ///< in physical units, if the camera reports them; otherwise both 0
    float absoluteMaximum = 0;
    bool writable = true;
};

/// A source of pictures: a camera, a capture card, a camcorder, or the built-in pattern.
///
/// All functions except the sink's are called on the main thread. A started device delivers until it is stopped; after
/// `Stop` has returned the sink is not called any more. Every result is 0 or a negative code.
class Digitizer {
public:
    virtual ~Digitizer() = default;

    virtual std::string Name() const = 0;     ///< for the user, UTF-8
    virtual std::string Identity() const = 0; ///< persistent: the same on another day and in another socket

    /// The names of a capture card's inputs.
    virtual std::vector<std::string> Inputs() const { return {}; }
    /// Index of the present input.
    virtual int Input() const { return 0; }
    /// Selects an input by its index. `paramErr` if out of range, `digiUnimpErr` if there are no inputs.
    virtual Result SelectInput(int) { return digiUnimpErr; }

    /// The names of the television standards of the present input.
    virtual std::vector<std::string> Standards() const { return {}; }
    /// Index of the present standard.
    virtual int Standard() const { return 0; }
    /// Selects a standard by its index. Results as for `SelectInput`.
    virtual Result SelectStandard(int) { return digiUnimpErr; }

    /// All formats: pixel formats and sizes in the device's own order, each with its rates, the fastest first.
    virtual std::vector<CaptureFormat> Formats() const = 0;

    /// The format in use, or to be used at the next start.
    virtual CaptureFormat Format() const = 0;
    /// Uses the nearest format that the device supports; while the device runs it is restarted. `deviceCantMeetRequest`
    /// if none is suitable.
    virtual Result SetFormat(const CaptureFormat& format) = 0;

    /// Starts delivery to `sink`, which must stay valid until `Stop`. Returns `noDeviceForChannel` if the device is
    /// absent or used by another process; it is then started when it becomes available, unless `Stop` is called. After
    /// any other failure nothing runs.
    virtual Result Start(FrameSink& sink) = 0;

    /// Stops delivery. Afterwards the sink is not called any more.
    virtual void Stop() = 0;

    /// Why the device does not deliver, or not as requested: a sentence for the user, UTF-8. Empty if all is well.
    virtual std::string Reason() const { return {}; }

    /// The controls with their present values; empty while the device is away. If the device does not respond within a
    /// fraction of a second, the values read before are returned.
    virtual std::vector<ImageControl> Controls() const { return {}; }

    /// Sets a control by its number. Returns `digiUnimpErr` if the device lacks it, `permErr` for a read-only one,
    /// `paramErr` for a value out of range, `noDeviceForChannel` while the device is away. A device that does not
    /// respond at once counts as a success: it applies the value when it responds.
    virtual Result SetControl(uint32_t, int64_t) { return digiUnimpErr; }

    /// Writes several values in the order required by the device. Returns the result of the last rejection.
    Result SetControls(const ControlValues& values);

    /// Gets one of the six analog values on the scale 0 to 65535. `digiUnimpErr` if the device lacks it.
    virtual Result GetAnalog(AnalogControl analog, uint16_t& value) const;
    /// Sets an analog value, 0 to 65535, and ends the automatic mode of its control.
    virtual Result SetAnalog(AnalogControl analog, uint16_t value);

    /// Gets a feature by its IIDC code ("zoom", "shtr", ...). `digiUnimpErr` if the device lacks it.
    Result GetFeature(FourCharCode code, CameraFeature& feature) const;
    /// Sets a feature by its IIDC code, clamped to its range, and ends its automatic mode.
    Result SetFeature(FourCharCode code, int32_t value);

private:
    Result SetByHand(const std::vector<ImageControl>& controls, const ImageControl& control, int64_t value);
};

/// A device in the list of devices.
struct DigitizerEntry {
    std::string name;
    std::string identity;
    std::vector<std::string> inputs;
    bool available = true;   ///< false while it can't be opened or another process uses it
    std::string reason = {}; ///< why it is not available, for the user
    bool color = true;       ///< false for infrared and other grey cameras
};

/// Starts to query camera servers while the program continues to start: only the first list waits for their first
/// answers.
void PrepareDigitizers();

/// All video devices: real ones first, by their numbers, the Test Pattern last.
std::vector<DigitizerEntry> ListDigitizers();

/// Opens the device of that identity, else the first one of that name, else the first that is free and has colour.
/// Never null, since the Test Pattern is always available.
std::unique_ptr<Digitizer> OpenDigitizer(const std::string& identity = {}, const std::string& name = {});

/// A family of cameras: lists those that are present, and opens one by its identity (null for an identity of another
/// family and for an absent camera). Both are called on the main thread.
struct DigitizerProvider {
    std::function<std::vector<DigitizerEntry>()> list;
    std::function<std::unique_ptr<Digitizer>(const std::string& identity)> open;
};

/// Adds a family of cameras for the rest of the process. Its devices are listed between the built-in families and the
/// Test Pattern.
void AddDigitizers(DigitizerProvider provider);

/// Replaces all families, for tests; empty functions restore them.
void SetDigitizerProvider(DigitizerProvider provider);

} // namespace platform
