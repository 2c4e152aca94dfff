// SPDX-License-Identifier: MIT
#include "platform/digitizer/H264Stream.h"

#include "platform/compression/NalUnits.h"

namespace platform {
namespace {

void AppendWithStartCode(std::span<const uint8_t> unit, std::vector<uint8_t>& target)
{
    target.insert(target.end(), {0, 0, 1});
    target.insert(target.end(), unit.begin(), unit.end());
}

} // namespace

H264Stream::Found H264Stream::Read(std::span<const uint8_t> bytes, RawFrame& frame)
{
    Bytes newSequenceSets, newPictureSets;
    bool hasUnits = false, hasPicture = false, hasKeyPicture = false;
    packed.clear();
    NalReader units(bytes, NalFraming::StartCodes);
    while (const auto unit = units.Next()) {
        hasUnits = true;
        if (IsSequenceParameterSet(*unit)) {
            AppendWithStartCode(*unit, newSequenceSets);
        } else if (IsPictureParameterSet(*unit)) {
            AppendWithStartCode(*unit, newPictureSets);
        } else {
            AppendWithLength(*unit, packed);
            const auto isKey = IsKeyPicture(NalCodec::H264, *unit);
            hasPicture = hasPicture || isKey;
            hasKeyPicture = hasKeyPicture || isKey.value_or(false);
        }
    }
    TakeParameterSets(std::move(newSequenceSets), std::move(newPictureSets));
    hasBegun = hasBegun || (hasKeyPicture && !configuration.empty());
    if (!hasPicture || !hasBegun)
        return hasUnits ? Found::Waiting : Found::Damaged;
    frame.bytes = packed;
    frame.configuration = configuration;
    return Found::Picture;
}

// Cameras send the parameter sets with every key frame, mostly unchanged, or each kind in a separate buffer.
void H264Stream::TakeParameterSets(Bytes newSequenceSets, Bytes newPictureSets)
{
    const auto isKnown = [](const Bytes& sets, const Bytes& known) { return sets.empty() || sets == known; };
    if (isKnown(newSequenceSets, sequenceSets) && isKnown(newPictureSets, pictureSets))
        return;
    if (!newSequenceSets.empty())
        sequenceSets = std::move(newSequenceSets);
    if (!newPictureSets.empty())
        pictureSets = std::move(newPictureSets);
    Bytes sets = sequenceSets;
    sets.insert(sets.end(), pictureSets.begin(), pictureSets.end());
    if (Bytes complete = DecoderConfiguration(NalCodec::H264, sets); !complete.empty())
        configuration = std::move(complete);
}

} // namespace platform
