// SPDX-License-Identifier: MIT
// Features in atom containers.
//
// A container has one "feat" atom, which contains the feature's code ("ftyp") and its settings ("fstg"), a record of 24
// bytes. The flags of the record's capabilities are big-endian, everything else is in host byte order. A raw range that
// exceeds the record's 16 bits is given in units of the control's step, or coarser ones.
#include "platform/atoms/AtomContainers.h"
#include "platform/digitizer/VideoDigitizer.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace platform {
namespace {

constexpr FourCharCode kFeatureAtom = CodeOf("feat");
constexpr FourCharCode kFeatureCodeAtom = CodeOf("ftyp");
constexpr FourCharCode kFeatureSettingsAtom = CodeOf("fstg");

// A feature that is on, can be set manually and uses raw units.
constexpr uint32_t kUsableFlags = 1 | 4 | 32;

struct FeatureSettings {
    uint32_t capabilities; // big-endian
    int16_t rawMinimum;
    int16_t rawMaximum;
    float absoluteMinimum;
    float absoluteMaximum;
    uint32_t stateFlags;
    float stateValue; // the value as a fraction of the raw maximum
};
static_assert(sizeof(FeatureSettings) == 24);

uint32_t BigEndian(uint32_t value)
{
    return std::endian::native == std::endian::little ? __builtin_bswap32(value) : value;
}

// Readers truncate fraction times maximum, so the fraction must not be below the value.
float FractionOf(int32_t value, int32_t maximum)
{
    const double exact = maximum == 0 ? 0 : static_cast<double>(value) / maximum;
    const auto fraction = static_cast<float>(exact);
    const bool falls = std::abs(static_cast<double>(fraction)) < std::abs(exact);
    return falls ? std::nextafter(fraction, 2 * fraction) : fraction;
}

FeatureSettings SettingsOf(const CameraFeature& feature)
{
    const int64_t reach = std::max(std::abs(int64_t{feature.minimum}), std::abs(int64_t{feature.maximum}));
    const int64_t coarsest = (reach + INT16_MAX - 1) / INT16_MAX;
    const auto unit = static_cast<int32_t>(coarsest <= 1 ? 1 : std::max<int64_t>(coarsest, feature.step));
    return {.capabilities = BigEndian(feature.writable ? kUsableFlags : 0),
            .rawMinimum = static_cast<int16_t>(feature.minimum / unit),
            .rawMaximum = static_cast<int16_t>(feature.maximum / unit),
            .absoluteMinimum = feature.absoluteMinimum,
            .absoluteMaximum = feature.absoluteMaximum,
            .stateFlags = kUsableFlags,
            .stateValue = FractionOf(feature.value / unit, feature.maximum / unit)};
}

template <typename T> Result InsertValue(AtomContainer container, Atom parent, FourCharCode type, const T& value)
{
    const OwnedBlock data(sizeof(T));
    Poke(data.Get(), value);
    return QTInsertChild(container, parent, type, 1, 0, sizeof(T), data.Get(), 0);
}

template <typename T> Result ReadValue(AtomContainer container, Atom parent, FourCharCode type, T& value)
{
    const OwnedBlock data(sizeof(T));
    const Atom atom = QTFindChildByID(container, parent, type, 1, 0);
    if (atom == 0)
        return cannotFindAtomErr;
    const Result result = QTCopyAtomDataToPtr(container, atom, 0, sizeof(T), data.Get(), 0);
    value = Peek<T>(data.Get());
    return result;
}

Result FillContainer(AtomContainer container, FourCharCode code, const CameraFeature& feature)
{
    const OwnedBlock atom(sizeof(Atom));
    Result result = QTInsertChild(container, 0, kFeatureAtom, 1, 0, 0, 0, atom.Get());
    if (result == noErr)
        result = InsertValue(container, Peek<Atom>(atom.Get()), kFeatureCodeAtom, code);
    if (result == noErr)
        result = InsertValue(container, Peek<Atom>(atom.Get()), kFeatureSettingsAtom, SettingsOf(feature));
    return result;
}

// A fraction that is not a number comes from a maximum of 0: there is nothing to set then.
Result ApplyFeature(Digitizer& device, AtomContainer container, Atom feature)
{
    FourCharCode code = 0;
    FeatureSettings settings{};
    CameraFeature present;
    Result result = ReadValue(container, feature, kFeatureCodeAtom, code);
    if (result == noErr)
        result = ReadValue(container, feature, kFeatureSettingsAtom, settings);
    if (result == noErr)
        result = device.GetFeature(code, present);
    if (result != noErr)
        return result;
    const double value = static_cast<double>(settings.stateValue) * present.maximum;
    if (!std::isfinite(value) || std::abs(value) > INT32_MAX)
        return paramErr;
    return device.SetFeature(code, static_cast<int32_t>(std::lround(value)));
}

} // namespace

Result VDIIDCGetFeaturesForSpecifier(ComponentInstance digitizer, FourCharCode feature, Address container)
{
    const auto instance = FindInstance<DigitizerInstance>(digitizer);
    if (!instance)
        return badComponentInstance;
    CameraFeature present;
    Result result = instance->device->GetFeature(feature, present);
    if (result == noErr)
        result = QTNewAtomContainer(container);
    return result == noErr ? FillContainer(Peek<AtomContainer>(container), feature, present) : result;
}

Result VDIIDCSetFeatures(ComponentInstance digitizer, int32_t container)
{
    const auto instance = FindInstance<DigitizerInstance>(digitizer);
    if (!instance)
        return badComponentInstance;
    const int16_t count = QTCountChildrenOfType(container, 0, kFeatureAtom);
    Result result = count == 0 ? cannotFindAtomErr : noErr;
    for (int16_t index = 1; index <= count && result == noErr; ++index)
        result = ApplyFeature(*instance->device, container, QTFindChildByIndex(container, 0, kFeatureAtom, index, 0));
    return result;
}

} // namespace platform
