#pragma once

#include "platform/compression/FrameCompressor.h"

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
    uint32_t sequence = 0;   ///< the device's own count: a step above 1 tells of frames lost before us
};

/// Takes what a digitizer delivers. Called on the digitizer's thread; it copies what it keeps and returns at once.
class FrameSink {
public:
    virtual ~FrameSink() = default;
    virtual void FrameArrived(const CapturedFrame& frame) = 0;

    /// The device went away or failed; further frames may follow once it is back.
    virtual void CaptureFailed(Result result) = 0;
};

/// A size, rate and layout that a device offers.
struct CaptureFormat {
    FourCharCode format = 0; ///< pixel format or codec, as in `RawFrame`
    int32_t width = 0;
    int32_t height = 0;
    double frameRate = 0; ///< frames a second

    bool operator==(const CaptureFormat&) const = default;
};

enum class AnalogControl { Brightness, Hue, Contrast, Saturation, Sharpness, WhiteLevel };

/// A control that a device offers beyond the six, or one of the six under its own name.
struct ImageControl {
    enum class Kind { Integer, Boolean, Menu, Button };
    uint32_t identity = 0; ///< the device's own number for it
    std::string name;
    Kind kind = Kind::Integer;
    int64_t minimum = 0;
    int64_t maximum = 0;
    int64_t step = 1;
    int64_t deviceDefault = 0;
    int64_t value = 0;
    bool readOnly = false;
    bool inactive = false;
    std::vector<std::pair<int64_t, std::string>> choices; ///< of a menu
};

/// A feature as IIDC cameras have them (1394 TA, IIDC 1.31), in the device's own units.
struct CameraFeature {
    int32_t minimum = 0;
    int32_t maximum = 0;
    int32_t value = 0;
    float absoluteMinimum = 0; ///< in physical units, where the camera tells them; else both 0
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

    virtual std::vector<std::string> Inputs() const { return {}; }
    virtual int Input() const { return 0; }
    virtual Result SelectInput(int) { return digiUnimpErr; }

    virtual std::vector<std::string> Standards() const { return {}; }
    virtual int Standard() const { return 0; }
    virtual Result SelectStandard(int) { return digiUnimpErr; }

    /// Everything on offer: formats and sizes in the device's own order, each with its rates, the fastest first.
    virtual std::vector<CaptureFormat> Formats() const = 0;

    /// The format in use or to be used at the next start. `SetFormat` takes the nearest that the device has; while the
    /// device runs it restarts with it. `deviceCantMeetRequest` when nothing fits.
    virtual CaptureFormat Format() const = 0;
    virtual Result SetFormat(const CaptureFormat& format) = 0;

    /// Starts delivery to `sink`, which outlives the stop. A device that is absent or held by another process at the
    /// moment answers `noDeviceForChannel` and is taken up when it returns: only `Stop` ends that. After any other
    /// failure nothing runs.
    virtual Result Start(FrameSink& sink) = 0;
    virtual void Stop() = 0;

    /// One of the six analog values on the scale 0 to 65535. `digiUnimpErr` where the device has none.
    virtual Result GetAnalog(AnalogControl, uint16_t&) const { return digiUnimpErr; }
    virtual Result SetAnalog(AnalogControl, uint16_t) { return digiUnimpErr; }

    virtual std::vector<ImageControl> Controls() const { return {}; }
    virtual Result SetControl(uint32_t, int64_t) { return digiUnimpErr; }

    /// A feature by its IIDC code ("zoom", "shtr", ...). `digiUnimpErr` where the device has none. Setting holds the
    /// value in the feature's range and takes the feature out of its automatic mode.
    virtual Result GetFeature(FourCharCode, CameraFeature&) const { return digiUnimpErr; }
    virtual Result SetFeature(FourCharCode, int32_t) { return digiUnimpErr; }
};

/// A device that can be opened, as a list shows it.
struct DigitizerEntry {
    std::string name;
    std::string identity;
    std::vector<std::string> inputs;
    bool available = true; ///< false while another process holds it
};

/// All video devices: real ones first, in the order of their numbers, the Test Pattern last.
std::vector<DigitizerEntry> ListDigitizers();

/// Opens the device of that identity, else the first one of that name, else the first in the list.
/// Never null: the Test Pattern is always there.
std::unique_ptr<Digitizer> OpenDigitizer(const std::string& identity = {}, const std::string& name = {});

/// Replaces the list with one of the test's own making until it is called with an empty function.
struct DigitizerProvider {
    std::function<std::vector<DigitizerEntry>()> list;
    std::function<std::unique_ptr<Digitizer>(const std::string& identity)> open;
};
void SetDigitizerProvider(DigitizerProvider provider);

} // namespace platform
