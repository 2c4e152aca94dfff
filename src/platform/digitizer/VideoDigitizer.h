// SPDX-License-Identifier: MIT
#pragma once

#include "platform/components/Components.h"
#include "platform/digitizer/Digitizer.h"

namespace platform {

/// Fills the handle with the description of what the digitizer delivers now: its own codec and size. Returns
/// `badComponentInstance` for a number that is not a digitizer, `nilHandleErr` for an invalid handle.
Result VDGetImageDescription(ComponentInstance digitizer, int32_t handle);

/// The six analog values: unsigned 16 bits at the address, 0 to 65535 over the device's own range. A write replaces the
/// number at the address by the device's value. If the device lacks the control, a read gives 65535 (-1 in 16 signed
/// bits) and a write returns `digiUnimpErr`. `badComponentInstance` for a number that is not a digitizer, `paramErr`
/// for an invalid address.
Result VDGetBrightness(ComponentInstance digitizer, Address value);
/// Sets the brightness.
Result VDSetBrightness(ComponentInstance digitizer, Address value);
/// Reads the hue.
Result VDGetHue(ComponentInstance digitizer, Address value);
/// Sets the hue.
Result VDSetHue(ComponentInstance digitizer, Address value);
/// Reads the contrast.
Result VDGetContrast(ComponentInstance digitizer, Address value);
/// Sets the contrast.
Result VDSetContrast(ComponentInstance digitizer, Address value);
/// Reads the saturation.
Result VDGetSaturation(ComponentInstance digitizer, Address value);
/// Sets the saturation.
Result VDSetSaturation(ComponentInstance digitizer, Address value);
/// Reads the sharpness.
Result VDGetSharpness(ComponentInstance digitizer, Address value);
/// Sets the sharpness.
Result VDSetSharpness(ComponentInstance digitizer, Address value);
/// Reads the white level.
Result VDGetWhiteLevelValue(ComponentInstance digitizer, Address value);
/// Sets the white level.
Result VDSetWhiteLevelValue(ComponentInstance digitizer, Address value);

/// Reads the settings of one IIDC feature (or of a V4L2 control with that meaning) into a new atom container, which is
/// written as 32 bits at `container`; the caller disposes it. The root has one "feat" atom with the child "fstg", id 1:
/// the 24-byte settings record. Returns `digiUnimpErr` if the device has no such feature.
Result VDIIDCGetFeaturesForSpecifier(ComponentInstance digitizer, FourCharCode feature, Address container);

/// Applies the state of every feature in the container, up to the first one that is rejected. Returns
/// `cannotFindAtomErr` for a container without features, `paramErr` for a value that is not a number, `digiUnimpErr`
/// for a feature that the device lacks, `badComponentInstance` for a number that is not a digitizer.
Result VDIIDCSetFeatures(ComponentInstance digitizer, int32_t container);

// For the grabber.

/// The open instance of a digitizer.
class DigitizerInstance : public ComponentObject {
public:
    /// Shares the device.
    explicit DigitizerInstance(std::shared_ptr<Digitizer> device) : device(std::move(device)) {}
    std::shared_ptr<Digitizer> device;
};

/// Opens a component instance of type "vdig" for a device; `CloseComponent` closes it.
ComponentInstance OpenDigitizerInstance(std::shared_ptr<Digitizer> device);

} // namespace platform
