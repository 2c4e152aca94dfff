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

/// A frame as it left the device. `picture` is borrowed for the length of the call.
struct CapturedFrame {
    RawFrame picture;
    int64_t captureTime = 0; ///< nanoseconds of the monotonic clock (CLOCK_MONOTONIC) at capture
    uint32_t sequence = 0;   ///< the device's own count: a step above 1 means that frames were lost before us
    bool isWhole = true;     ///< false where parts were lost on the way and replaced
};

/// Takes what a digitizer delivers. Called on the digitizer's thread; it copies what it keeps and returns at once.
class FrameSink {
public:
    virtual ~FrameSink() = default;

    /// A good frame.
    virtual void FrameArrived(const CapturedFrame& frame) = 0;

    /// A frame that is no picture: the driver marks it so, it is cut short, or it is of another format. It is dropped;
    /// `sequence` is its place in the count.
    virtual void FrameDamaged(uint32_t /*sequence*/) {}

    /// The device went away or failed; further frames may follow once it is back.
    virtual void CaptureFailed(Result result) = 0;
};

/// A feature as IIDC cameras have them (1394 TA, IIDC 1.31), in the device's own units.
struct CameraFeature {
    int32_t minimum = 0;
    int32_t maximum = 0;
    int32_t value = 0;
    int32_t step = 1;
    float absoluteMinimum = 0; ///< in physical units, where the camera reports them; else both 0
    float absoluteMaximum = 0;
    bool writable = true;
};

/// One source of pictures: a camera, a capture card, a camcorder, or the built-in pattern.
///
/// All functions but the sink's are called on the main thread. A device that is started delivers until it is stopped;
/// `Stop` returns only when no further call of the sink can come. Every result is 0 or a negative code.
class Digitizer {
public:
    virtual ~Digitizer() = default;

    virtual std::string Name() const = 0;     ///< for people, UTF-8
    virtual std::string Identity() const = 0; ///< the same for the same device on the next day and another socket

    /// The names of a capture card's inputs, and the index of the present one. `paramErr` for an index out of the list,
    /// `digiUnimpErr` where there are none.
    virtual std::vector<std::string> Inputs() const { return {}; }
    /// Index of the present input.
    virtual int Input() const { return 0; }
    /// Selects an input by its index.
    virtual Result SelectInput(int) { return digiUnimpErr; }

    /// The same for the television standards of the present input.
    virtual std::vector<std::string> Standards() const { return {}; }
    /// Index of the present standard.
    virtual int Standard() const { return 0; }
    /// Selects a standard by its index.
    virtual Result SelectStandard(int) { return digiUnimpErr; }

    /// Everything on offer: formats and sizes in the device's own order, each with its rates, the fastest first.
    virtual std::vector<CaptureFormat> Formats() const = 0;

    /// The format in use or to be used at the next start. `SetFormat` takes the nearest that the device has; while the
    /// device runs it restarts with it. `deviceCantMeetRequest` when nothing fits.
    virtual CaptureFormat Format() const = 0;
    /// Uses the nearest format that the device supports.
    virtual Result SetFormat(const CaptureFormat& format) = 0;

    /// Starts delivery to `sink`, which outlives the stop. A device that is absent or held by another process at the
    /// moment answers `noDeviceForChannel` and is taken up when it returns: only `Stop` ends that. After any other
    /// failure nothing runs.
    virtual Result Start(FrameSink& sink) = 0;

    /// Returns when no further call of the sink can come.
    virtual void Stop() = 0;

    /// Why the device does not deliver, or not as requested: a sentence for people, UTF-8. Empty when all is well.
    virtual std::string Reason() const { return {}; }

    /// The controls with their present values; empty while the device is away. A device that does not answer costs the
    /// caller a fraction of a second, and what was known of the controls before is returned.
    virtual std::vector<ImageControl> Controls() const { return {}; }

    /// Sets a control by its number. `digiUnimpErr` for one that the device lacks, `permErr` for a read-only one,
    /// `paramErr` for a value out of its range, `noDeviceForChannel` while the device is away. A device that does not
    /// answer at once counts as a success: it takes the value when it does.
    virtual Result SetControl(uint32_t, int64_t) { return digiUnimpErr; }

    /// Writes several values in the order in which the device takes them. The result is that of the last refusal.
    Result SetControls(const ControlValues& values);

    /// One of the six analog values on the scale 0 to 65535. `digiUnimpErr` where the device has none. Setting one
    /// takes its control out of automatic mode.
    virtual Result GetAnalog(AnalogControl analog, uint16_t& value) const;
    /// Sets an analog value, 0 to 65535.
    virtual Result SetAnalog(AnalogControl analog, uint16_t value);

    /// A feature by its IIDC code ("zoom", "shtr", ...). `digiUnimpErr` where the device has none. Setting holds the
    /// value in the feature's range and takes the feature out of its automatic mode.
    Result GetFeature(FourCharCode code, CameraFeature& feature) const;
    /// Sets a feature by its IIDC code.
    Result SetFeature(FourCharCode code, int32_t value);

private:
    Result SetByHand(const std::vector<ImageControl>& controls, const ImageControl& control, int64_t value);
};

/// A device that can be opened, as a list shows it.
struct DigitizerEntry {
    std::string name;
    std::string identity;
    std::vector<std::string> inputs;
    bool available = true;   ///< false while it can't be opened or another process holds it
    std::string reason = {}; ///< why it is not available, for people
    bool color = true;       ///< false for infrared and other grey cameras
};

/// Lets servers of cameras be asked while the program goes on starting: their first answers are waited for by the first
/// list alone.
void PrepareDigitizers();

/// All video devices: real ones first, in the order of their numbers, the Test Pattern last.
std::vector<DigitizerEntry> ListDigitizers();

/// Opens the device of that identity, else the first one of that name, else the first that is free and has colour.
/// Never null: the Test Pattern is always there.
std::unique_ptr<Digitizer> OpenDigitizer(const std::string& identity = {}, const std::string& name = {});

/// A family of cameras: lists those that are there, and opens one by its identity (null for an identity of another
/// family and for a camera that is gone). Both are called on the main thread.
struct DigitizerProvider {
    std::function<std::vector<DigitizerEntry>()> list;
    std::function<std::unique_ptr<Digitizer>(const std::string& identity)> open;
};

/// Adds a family of cameras of the program's own for the rest of the process. Its devices are listed behind those of
/// the built-in families and in front of the Test Pattern.
void AddDigitizers(DigitizerProvider provider);

/// Replaces all families with one of the test's own making until it is called with empty functions.
void SetDigitizerProvider(DigitizerProvider provider);

} // namespace platform
