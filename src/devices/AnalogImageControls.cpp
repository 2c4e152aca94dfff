// SPDX-License-Identifier: MIT
// The analog image controls: six values, 0 to 65535, of the video channel's digitizer. Limits and defaults are
// constants; the device is never asked for them.
//
// A value is passed as a signed 16-bit field, so one above 32767 reads back negative.
#include "capture/VelmoraCanvas.h"

#include "platform/digitizer/VideoDigitizer.h"
#include "platform/grabber/SequenceGrabber.h"

namespace velmora {
namespace {

constexpr int32_t kMinimum = 0;
constexpr int32_t kMaximum = 65535;
constexpr int32_t kDefault = 32767;
constexpr int32_t kDefaultBrightness = 7761;

} // namespace

int32_t VelmoraCanvas::ImageControl(ImageControlCall read)
{
    const MemoryBlock value(4);
    if (const int32_t result = read(platform::SGGetVideoDigitizerComponent(sgVideoChannel), value.Pointer());
        result != 0) {
        RaiseError(result);
        return 0;
    }
    return value.Short(0);
}

void VelmoraCanvas::ImageControl(ImageControlCall write, int32_t value)
{
    MemoryBlock block(4);
    const int32_t digitizer = platform::SGGetVideoDigitizerComponent(sgVideoChannel);
    block.Short(0, value);
    RaiseFailure(write(digitizer, block.Pointer()));
}

int32_t VelmoraCanvas::VideoBrightness()
{
    return ImageControl(platform::VDGetBrightness);
}

void VelmoraCanvas::VideoBrightness(int32_t value)
{
    ImageControl(platform::VDSetBrightness, value);
}

int32_t VelmoraCanvas::VideoBrightnessMin()
{
    return kMinimum;
}

int32_t VelmoraCanvas::VideoBrightnessMax()
{
    return kMaximum;
}

int32_t VelmoraCanvas::VideoBrightnessDefault()
{
    return kDefaultBrightness;
}

int32_t VelmoraCanvas::VideoHue()
{
    return ImageControl(platform::VDGetHue);
}

void VelmoraCanvas::VideoHue(int32_t value)
{
    ImageControl(platform::VDSetHue, value);
}

int32_t VelmoraCanvas::VideoHueMin()
{
    return kMinimum;
}

int32_t VelmoraCanvas::VideoHueMax()
{
    return kMaximum;
}

int32_t VelmoraCanvas::VideoHueDefault()
{
    return kDefault;
}

int32_t VelmoraCanvas::VideoContrast()
{
    return ImageControl(platform::VDGetContrast);
}

void VelmoraCanvas::VideoContrast(int32_t value)
{
    ImageControl(platform::VDSetContrast, value);
}

int32_t VelmoraCanvas::VideoContrastMin()
{
    return kMinimum;
}

int32_t VelmoraCanvas::VideoContrastMax()
{
    return kMaximum;
}

int32_t VelmoraCanvas::VideoContrastDefault()
{
    return kDefault;
}

int32_t VelmoraCanvas::VideoSaturation()
{
    return ImageControl(platform::VDGetSaturation);
}

void VelmoraCanvas::VideoSaturation(int32_t value)
{
    ImageControl(platform::VDSetSaturation, value);
}

int32_t VelmoraCanvas::VideoSaturationMin()
{
    return kMinimum;
}

int32_t VelmoraCanvas::VideoSaturationMax()
{
    return kMaximum;
}

int32_t VelmoraCanvas::VideoSaturationDefault()
{
    return kDefault;
}

int32_t VelmoraCanvas::VideoSharpness()
{
    return ImageControl(platform::VDGetSharpness);
}

void VelmoraCanvas::VideoSharpness(int32_t value)
{
    ImageControl(platform::VDSetSharpness, value);
}

int32_t VelmoraCanvas::VideoSharpnessMin()
{
    return kMinimum;
}

int32_t VelmoraCanvas::VideoSharpnessMax()
{
    return kMaximum;
}

int32_t VelmoraCanvas::VideoSharpnessDefault()
{
    return kDefault;
}

int32_t VelmoraCanvas::VideoWhiteLevel()
{
    return ImageControl(platform::VDGetWhiteLevelValue);
}

void VelmoraCanvas::VideoWhiteLevel(int32_t value)
{
    ImageControl(platform::VDSetWhiteLevelValue, value);
}

int32_t VelmoraCanvas::VideoWhiteLevelMin()
{
    return kMinimum;
}

int32_t VelmoraCanvas::VideoWhiteLevelMax()
{
    return kMaximum;
}

int32_t VelmoraCanvas::VideoWhiteLevelDefault()
{
    return kDefault;
}

} // namespace velmora
