// SPDX-License-Identifier: MIT
// The sound input driver calls.
//
// A driver reference denotes a source and its level meter. Both belong to the channel that registered them; the table
// shares ownership, so that a call never uses a destroyed source.
#include "platform/sound/SoundInput.h"

#include "platform/components/FunctionTable.h"
#include "platform/memory/FixedPoint.h"
#include "platform/memory/ReferenceTable.h"

#include <cmath>

namespace platform {
namespace {

constexpr FourCharCode kInputSource = CodeOf("sour");
constexpr FourCharCode kInputGain = CodeOf("gain");
constexpr FourCharCode kLevelMeterOnOff = CodeOf("lmet");
constexpr FourCharCode kActiveLevels = CodeOf("lmac");

struct SoundDriver {
    std::shared_ptr<SoundSource> source;
    std::shared_ptr<LevelMeter> meter;
};

ReferenceTable<SoundDriver>& Drivers()
{
    static auto* table = new ReferenceTable<SoundDriver>(kSoundDriverReference);
    return *table;
}

Result Written(bool poked)
{
    return poked ? noErr : paramErr;
}

Result GetInput(const SoundSource& source, Address data)
{
    if (source.Inputs().empty())
        return siUnknownInfoType;
    return Written(Poke(data, static_cast<int16_t>(source.Input() + 1)));
}

Result SetInput(SoundSource& source, Address data)
{
    const auto inputs = static_cast<int>(source.Inputs().size());
    const int input = Peek<int16_t>(data);
    if (inputs == 0)
        return siUnknownInfoType;
    return input >= 1 && input <= inputs ? source.SelectInput(input - 1) : paramErr;
}

Result GetGain(const SoundSource& source, Address data)
{
    double gain = 0;
    if (const Result result = source.GetGain(gain); result != noErr)
        return result;
    return Written(Poke(data, X2Fix(gain)));
}

Result SetGain(SoundSource& source, Address data)
{
    const double gain = Fix2X(Peek<Fixed>(data));
    if (gain < 0 || gain > kMaxGain)
        return paramErr;
    return source.SetGain(gain);
}

Result SwitchMeter(LevelMeter& meter, Address data)
{
    const int16_t channels = Peek<int16_t>(data);
    if (channels < 0)
        return paramErr;
    meter.SetChannels(channels);
    return noErr;
}

Result GetLevels(LevelMeter& meter, Address data)
{
    const auto percent = [](double level) { return static_cast<uint8_t>(std::lround(level * 100)); };
    const auto [left, right] = meter.Levels();
    return Written(Poke(data, std::array<uint8_t, 4>{0, 0, percent(left), percent(right)}));
}

} // namespace

Result SPBGetDeviceInfo(int32_t driver, FourCharCode selector, Address data)
{
    const auto found = Drivers().Find(driver);
    if (!found)
        return siBadRefNum;
    switch (selector) {
    case kInputSource:
        return GetInput(*found->source, data);
    case kInputGain:
        return GetGain(*found->source, data);
    case kLevelMeterOnOff:
        return Written(Poke(data, static_cast<int16_t>(found->meter->Channels())));
    case kActiveLevels:
        return GetLevels(*found->meter, data);
    default:
        return siUnknownInfoType;
    }
}

Result SPBSetDeviceInfo(int32_t driver, FourCharCode selector, Address data)
{
    const auto found = Drivers().Find(driver);
    if (!found)
        return siBadRefNum;
    const bool isGain = selector == kInputGain;
    if (!isGain && selector != kInputSource && selector != kLevelMeterOnOff)
        return siUnknownInfoType;
    if (BytesAt(data, isGain ? sizeof(Fixed) : sizeof(int16_t)).empty())
        return paramErr;
    if (isGain)
        return SetGain(*found->source, data);
    return selector == kInputSource ? SetInput(*found->source, data) : SwitchMeter(*found->meter, data);
}

int32_t RegisterSoundDriver(std::shared_ptr<SoundSource> source, std::shared_ptr<LevelMeter> meter)
{
    return Drivers().Add(std::make_shared<SoundDriver>(SoundDriver{std::move(source), std::move(meter)}));
}

void UnregisterSoundDriver(int32_t driver)
{
    Drivers().Remove(driver);
}

void StartSoundInput()
{
    ExportFunction("/System/Library/Frameworks/Carbon.framework/Carbon", "SPBSetDeviceInfo", &SPBSetDeviceInfo);
}

} // namespace platform
