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

/// How the pixels of a frame are coded on the wire. YUV has its full range there: black is 0, white 255.
enum class IIDCCoding {
    Mono8,
    Mono16, ///< big-endian, the value in the low bits
    Yuv411, ///< U Y Y V Y Y
    Yuv422, ///< U Y V Y
    Yuv444, ///< U Y V
    Rgb8,
    Raw8, ///< one colour at each pixel, as the sensor's filter has it
};

/// The colours of the first two pixels of the sensor's first two rows.
enum class IIDCFilter { RGGB, GBRG, GRBG, BGGR };

struct IIDCMode {
    uint32_t number = 0; ///< the camera's own for it
    IIDCCoding coding = IIDCCoding::Mono8;
    int32_t width = 0;
    int32_t height = 0;
    std::vector<double> frameRates; ///< frames a second
};

/// A frame in the camera's buffer, borrowed until the next one is taken or the camera stops.
struct IIDCFrame {
    std::span<const uint8_t> bytes; ///< rows without padding; empty where no frame waits
    IIDCCoding coding = IIDCCoding::Mono8;
    int32_t width = 0;
    int32_t height = 0;
    int32_t depth = 8; ///< bits of a value, for Mono16
    IIDCFilter filter = IIDCFilter::RGGB;
    int64_t captureTime = 0; ///< nanoseconds of the monotonic clock
    uint32_t sequence = 0;   ///< counted from the start, with the lost and damaged ones
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
    bool isManual = true; ///< switched on and not automatic
    bool hasAbsolute = false;
    bool absoluteControl = false; ///< the absolute value counts, and `value` may be anything
    float absoluteMinimum = 0;
    float absoluteMaximum = 0;
    float absoluteValue = 0;
    bool canBeOff = false;
    bool canBeAutomatic = false;
    bool isOff = false;

    /// How the feature is controlled at present.
    IIDCFeatureMode Mode() const
    {
        return isOff ? IIDCFeatureMode::Off : isManual ? IIDCFeatureMode::Manual : IIDCFeatureMode::Automatic;
    }
};

/// An open camera. `TakeFrame` may run beside any other call but `Start` and `Stop`; the others run one at a time.
class IIDCCamera {
public:
    virtual ~IIDCCamera() = default;

    /// The modes in the camera's own order, Format 7 at the whole size of the sensor.
    virtual std::vector<IIDCMode> Modes() = 0;

    /// Starts to transmit. `noDeviceForChannel` when the camera is gone, another program uses it, or the bus has no
    /// channel or bandwidth left; `deviceCantMeetRequest` when it does not support mode or rate.
    virtual Result Start(const IIDCMode& mode, double frameRate) = 0;

    /// Stops transmitting and gives channel and bandwidth back. Nothing happens to a camera that is stopped.
    virtual void Stop() = 0;

    /// Becomes readable when a frame waits. -1 while stopped.
    virtual int Descriptor() const = 0;

    /// The frame that waits, without waiting for one. Anything but `noErr` means that the stream broke down.
    virtual Result TakeFrame(IIDCFrame& frame) = 0;

    /// Whether the camera is still set to transmit: a reset of the bus may have ended that. Fails for one that is gone.
    virtual Result IsTransmitting(bool& transmitting) = 0;

    /// Reads and writes a feature, in the camera's raw units. `digiUnimpErr` for one that the camera lacks, `ioErr`
    /// when it does not answer.
    virtual Result ReadFeature(IIDCFeature feature, IIDCFeatureState& state) = 0;
    /// Writes a feature in raw units; results as `ReadFeature`.
    virtual Result WriteFeature(IIDCFeature feature, uint32_t value) = 0;

    /// A camera that works with absolute values goes on doing so; `WriteFeature` sets the one at the same place in its
    /// range.
    virtual Result SetMode(IIDCFeature feature, IIDCFeatureMode mode) = 0;

    /// Why the camera did not start: a sentence for people. Empty when it did. From any thread.
    virtual std::string Reason() const { return {}; }
};

/// A camera on the bus. Its GUID stays the same through bus resets.
struct IIDCCameraEntry {
    uint64_t guid = 0;
    std::string vendor;
    std::string model;
    std::string reason = {}; ///< why it can't be opened, a sentence for people; empty when it can
};

/// The IIDC cameras on all adapters.
class IIDCBus {
public:
    virtual ~IIDCBus() = default;

    /// The cameras, those included that this user may not open.
    virtual std::vector<IIDCCameraEntry> Cameras() = 0;

    /// Null for a camera that is not there.
    virtual std::shared_ptr<IIDCCamera> Open(uint64_t guid) = 0;
};

/// The machine's IIDC cameras; null where library or cameras are missing, which is found out at once.
std::shared_ptr<IIDCBus> OpenIIDCBus();

/// Replaces the machine's cameras with ones of the test's own making until called with an empty function.
void SetIIDCBusProvider(std::function<std::shared_ptr<IIDCBus>()> provider);

/// The machine's cameras through libdc1394, null without it.
std::shared_ptr<IIDCBus> OpenIIDCLibraryBus();

} // namespace platform
