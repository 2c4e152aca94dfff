// SPDX-License-Identifier: MIT
// The features of an IIDC camera, each a number between the camera's own limits.
//
// The digitizer describes a feature's settings in an atom container: "feat" in the root, in it "fstg" with a record of
// 24 bytes. Changes are written the same way. Every operation fetches the settings again, into a new container that is
// never disposed.
#include "capture/VelmoraCanvas.h"

#include "framework/Application.h"
#include "platform/atoms/AtomContainers.h"
#include "platform/digitizer/VideoDigitizer.h"
#include "platform/grabber/SequenceGrabber.h"
#include "recording/NullMemoryBlock.h"
#include "recording/Utilities.h"

#include <bit>

namespace velmora {

using framework::Str;
using framework::StringFromOSType;
using framework::StringToOSType;
using framework::System::DebugLog;

namespace {

constexpr int32_t kRoot = 0;

// The settings record.
constexpr int32_t kRecordSize = 24;
constexpr int32_t kCapabilities = 0;
constexpr int32_t kRawMinimum = 4;
constexpr int32_t kRawMaximum = 6;
constexpr int32_t kStateFlags = 16;
constexpr int32_t kStateValue = 20; // a fraction of the raw maximum

// A feature that can be turned on and off, can be set manually, or has a value.
constexpr int32_t kFeatureMask = 1 | 4 | 32;

// The capabilities are in network byte order, unlike the rest of the record.
int32_t InHostOrder(int32_t word)
{
    if constexpr (std::endian::native == std::endian::little)
        return static_cast<int32_t>(__builtin_bswap32(static_cast<uint32_t>(word)));
    return word;
}

int32_t FindSettings(int32_t container, int32_t feat)
{
    return platform::QTFindChildByID(container, feat, StringToOSType("fstg"), 1, 0);
}

} // namespace

// A feature's settings. `err` is the result of copying the record; if that fails the record stays zero.
struct VelmoraCanvas::FeatureSettings {
    int32_t digitizer = 0;
    int32_t container = 0;
    int32_t feat = 0;
    int32_t err = 0;
    MemoryBlock record{kRecordSize};

    bool Supported() const { return (InHostOrder(record.Long(kCapabilities)) & kFeatureMask) > 0; }
};

// Returns false if the digitizer has no settings for the feature. Raises `Error` unless only the atom is missing.
bool VelmoraCanvas::FetchFeature(OSType feature, FeatureSettings& settings)
{
    NullMemoryBlock null;
    null.Constructor();
    const MemoryBlock size(4);
    settings.digitizer = platform::SGGetVideoDigitizerComponent(sgVideoChannel);
    if (settings.digitizer < 0) {
        RaiseError(0);
        return false;
    }
    const MemoryBlock container(4);
    const int32_t result = platform::VDIIDCGetFeaturesForSpecifier(settings.digitizer, feature, container.Pointer());
    if (result != 0) {
        RaiseError(result);
        return false;
    }
    settings.container = container.Long(0);
    settings.feat = platform::QTFindChildByIndex(settings.container, kRoot, StringToOSType("feat"), 1, null.Pointer());
    if (settings.feat == 0)
        return false;
    const int32_t fstg = FindSettings(settings.container, settings.feat);
    settings.err = platform::QTCopyAtomDataToPtr(settings.container, fstg, 1, kRecordSize, settings.record.Pointer(),
                                                 size.Pointer());
    return true;
}

void VelmoraCanvas::IIDCFeature(OSType feature, int32_t value)
{
    FeatureSettings settings;
    if (!FetchFeature(feature, settings))
        return;
    if (!settings.Supported()) {
        RaiseError(settings.err); // usually with code 0
        return;
    }
    settings.record.Long(kStateFlags, kFeatureMask);
    const double fraction = 1.0 / settings.record.Short(kRawMaximum) * value;
    settings.record.SingleValue(kStateValue, static_cast<float>(fraction));
    const int32_t fstg = FindSettings(settings.container, settings.feat);
    const int32_t result = platform::QTSetAtomData(settings.container, fstg, kRecordSize, settings.record.Pointer());
    if (result == 0)
        platform::VDIIDCSetFeatures(settings.digitizer, settings.container);
    else
        RaiseError(result);
}

int32_t VelmoraCanvas::IIDCFeatureMaximum(OSType feature)
{
    return RawLimit(feature, kRawMaximum);
}

int32_t VelmoraCanvas::IIDCFeatureMinimum(OSType feature)
{
    return RawLimit(feature, kRawMinimum);
}

int32_t VelmoraCanvas::RawLimit(OSType feature, int32_t offset)
{
    FeatureSettings settings;
    return FetchFeature(feature, settings) && settings.Supported() ? settings.record.Short(offset) : -1;
}

int32_t VelmoraCanvas::IIDCFeatureValue(OSType feature)
{
    FeatureSettings settings;
    if (!FetchFeature(feature, settings))
        return -1;
    if (!settings.Supported()) {
        DebugLog(StringFromOSType(feature) + " --> FEATUREval NOT SUPPORTED");
        return -1;
    }
    const double fraction = settings.record.SingleValue(kStateValue);
    DebugLog("••••••••    " + StringFromOSType(feature) + "--> FEATUREval SUPPORTED = " + Str(fraction));
    return Utilities::double2int(fraction * IIDCFeatureMaximum(feature));
}

bool VelmoraCanvas::isIIDCFeatureSupported(const String&, OSType feature)
{
    FeatureSettings settings;
    return FetchFeature(feature, settings) && settings.Supported();
}

// True for any digitizer that reports a component description; what a camera offers shows in its features.
bool VelmoraCanvas::isIIDC()
{
    const MemoryBlock description(20);
    const int32_t digitizer = platform::SGGetVideoDigitizerComponent(sgVideoChannel);
    if (digitizer < 0) {
        RaiseError(0);
        return false;
    }
    if (const int32_t result = platform::GetComponentInfo(digitizer, description.Pointer(), 0, 0, 0); result != 0) {
        RaiseError(result);
        return false;
    }
    return true;
}

} // namespace velmora
