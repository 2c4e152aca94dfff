// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/ResultCodes.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace platform {

/// The coding of a frame's pixels on the wire. YUV uses the full range: black is 0, white 255.
enum class IIDCCoding {
    Mono8,
    Mono16, ///< big-endian, the value in the low bits
    Yuv411, ///< U Y Y V Y Y
    Yuv422, ///< U Y V Y
    Yuv444, ///< U Y V
    Rgb8,
    Raw8, ///< one colour per pixel, in the pattern of the sensor's filter
};

/// The colours of the first two pixels in the sensor's first two rows.
enum class IIDCFilter { RGGB, GBRG, GRBG, BGGR };

struct IIDCMode {
    uint32_t number = 0; ///< the camera's own number for it
    IIDCCoding coding = IIDCCoding::Mono8;
    int32_t width = 0;
    int32_t height = 0;
    std::vector<double> frameRates; ///< frames per second
};

/// A frame in the camera's buffer, valid until the next one is taken or the camera stops.
struct IIDCFrame {
    std::span<const uint8_t> bytes; ///< rows without padding; empty if there is no frame
    IIDCCoding coding = IIDCCoding::Mono8;
    int32_t width = 0;
    int32_t height = 0;
    int32_t depth = 8; ///< in nanoseconds, monotonic clock
    IIDCFilter filter = IIDCFilter::RGGB;
    int64_t captureTime = 0; ///< nanoseconds of the monotonic clock
    uint32_t sequence = 0;   ///< counted from the start, including lost and damaged frames
    bool damaged = false;    ///< packets are missing
};

/// The features of IIDC cameras that have a value; white balance counts as two that share a range.
enum class IIDCFeature {
    Brightness,
    Exposure,
    Sharpness,
    WhiteBalanceU,
    WhiteBalanceV,
    Hue,
    Saturation,
    Gamma,
    Shutter,
    Gain,
    Iris,
    Focus,
    Temperature,
    Zoom,
    Pan,
    Tilt,
    OpticalFilter,
};

enum class IIDCFeatureMode { Off, Manual, Automatic };

struct IIDCFeatureState {
    uint32_t minimum = 0;
    uint32_t maximum = 0;
    uint32_t value = 0;
    bool canBeManual = true;
    bool isManual = true; ///< on and not automatic
    bool hasAbsolute = false;
    bool absoluteControl = false; ///< the absolute value is used, and `value` may be anything
    float absoluteMinimum = 0;
    float absoluteMaximum = 0;
    float absoluteValue = 0;
    bool canBeOff = false;
    bool canBeAutomatic = false;
    bool isOff = false;

    /// The present mode of control.
    IIDCFeatureMode Mode() const
    {
        return isOff ? IIDCFeatureMode::Off : isManual ? IIDCFeatureMode::Manual : IIDCFeatureMode::Automatic;
    }
};

/// An open camera. `TakeFrame` may run concurrently with any other call except `Start` and `Stop`; the others run one
/// at a time.
class IIDCCamera {
public:
    virtual ~IIDCCamera() = default;

    /// The modes in the camera's own order, Format 7 with the whole sensor.
    virtual std::vector<IIDCMode> Modes() = 0;

    /// Starts to transmit. Returns `noDeviceForChannel` if the camera is gone, another program uses it, or the bus has
    /// no channel or bandwidth left; `deviceCantMeetRequest` if the camera does not support the mode or rate.
    virtual Result Start(const IIDCMode& mode, double frameRate) = 0;

    /// Stops transmitting and releases channel and bandwidth. Does nothing if the camera is stopped.
    virtual void Stop() = 0;

    /// Becomes readable when there is a frame. -1 while stopped.
    virtual int Descriptor() const = 0;

    /// Takes a frame if there is one, without waiting. Any result except `noErr` means that the stream failed.
    virtual Result TakeFrame(IIDCFrame& frame) = 0;

    /// Whether the camera is still set to transmit, which a bus reset may have ended. Fails if the camera is gone.
    virtual Result IsTransmitting(bool& transmitting) = 0;

    /// Reads a feature in the camera's raw units. Returns `digiUnimpErr` if the camera lacks it, `ioErr` if it does not
    /// respond.
    virtual Result ReadFeature(IIDCFeature feature, IIDCFeatureState& state) = 0;
    /// Writes a feature in raw units; results as for `ReadFeature`.
    virtual Result WriteFeature(IIDCFeature feature, uint32_t value) = 0;

    /// Selects how a feature is controlled. A camera that uses absolute values continues to do so; `WriteFeature` then
    /// sets the absolute value at the same place in its range.
    virtual Result SetMode(IIDCFeature feature, IIDCFeatureMode mode) = 0;

    /// Why the camera did not start: a sentence for the user. Empty if it did. Any thread.
    virtual std::string Reason() const { return {}; }
};

/// A camera on the bus. Its GUID does not change with bus resets.
struct IIDCCameraEntry {
    uint64_t guid = 0;
    std::string vendor;
    std::string model;
    std::string reason = {}; ///< why it can't be opened: a sentence for the user; empty if it can
};

/// The IIDC cameras on all adapters.
class IIDCBus {
public:
    virtual ~IIDCBus() = default;

    /// The cameras, including those that this user may not open.
    virtual std::vector<IIDCCameraEntry> Cameras() = 0;

    /// Opens a camera; null if it is absent.
    virtual std::shared_ptr<IIDCCamera> Open(uint64_t guid) = 0;
};

/// The machine's IIDC cameras; null if library or cameras are missing, which is detected at once.
std::shared_ptr<IIDCBus> OpenIIDCBus();

/// Replaces the machine's cameras, for tests; an empty function restores them.
void SetIIDCBusProvider(std::function<std::shared_ptr<IIDCBus>()> provider);

/// The machine's cameras through libdc1394, null without it.
std::shared_ptr<IIDCBus> OpenIIDCLibraryBus();

} // namespace platform
