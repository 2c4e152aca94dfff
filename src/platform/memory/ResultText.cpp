// SPDX-License-Identifier: MIT
#include "platform/memory/ResultText.h"

#include <algorithm>
#include <array>

namespace platform {
namespace {

struct Meaning {
    Result result;
    const char* text;
};

// The same clause is used for all codes that mean the same to a user.
constexpr const char* kMemory = "there is not enough memory";
constexpr const char* kNoDevice = "the device is not available";
constexpr const char* kDeviceCannot = "the device can't do this";
constexpr const char* kInternal = "an internal error occurred; please report it with its number";
constexpr const char* kNoPicture = "the picture's format is not supported";

constexpr std::array kMeanings{
    Meaning{dskFulErr, "the disk is full"},
    Meaning{notEnoughDiskSpaceToGrab, "the disk is full"},
    Meaning{ioErr, "the disk failed to write or to read"},
    Meaning{bdNamErr, "the name can't be used for a file"},
    Meaning{fnfErr, "the file no longer exists"},
    Meaning{fBsyErr, "the file is in use"},
    Meaning{dupFNErr, "there is a file of that name already"},
    Meaning{permErr, "there is no permission for it"},
    Meaning{dirNFErr, "the folder no longer exists"},
    Meaning{couldNotResolveDataRef, "the file can't be reached"},
    Meaning{memFullErr, kMemory},
    Meaning{notEnoughMemoryToGrab, kMemory},
    Meaning{nilHandleErr, kMemory},
    Meaning{siBadSoundInDevice, kNoDevice},
    Meaning{siBadRefNum, kNoDevice},
    Meaning{noDeviceForChannel, kNoDevice},
    Meaning{invalidComponentID, kNoDevice},
    Meaning{badComponentInstance, kNoDevice},
    Meaning{couldntGetRequiredComponent, "a required component is missing"},
    Meaning{badSGChannel, "the channel is switched off or has no device"},
    Meaning{siInputDeviceErr, "the sound input failed"},
    Meaning{noDMAErr, "the device failed"},
    Meaning{siInvalidCompression, "the device does not support this sound compression"},
    Meaning{siInvalidSampleRate, "the device does not support this sample rate"},
    Meaning{siInvalidSampleSize, "the device does not support this sample size"},
    Meaning{siUnknownInfoType, kDeviceCannot},
    Meaning{digiUnimpErr, kDeviceCannot},
    Meaning{badComponentSelector, kDeviceCannot},
    Meaning{deviceCantMeetRequest, kDeviceCannot},
    Meaning{qtParamErr, "the device rejected the value"},
    Meaning{paramErr, "a value is out of its range"},
    Meaning{cantDoThatInCurrentMode, "this can't be done while a movie is being recorded"},
    Meaning{seqGrabInfoNotAvailable, "the device has not answered yet"},
    Meaning{grabTimeComplete, "the time limit of the recording is reached"},
    Meaning{noCodecErr, "there is no compressor for this format"},
    Meaning{codecUnimpErr, "the compressor can't do this"},
    Meaning{codecSizeErr, "the compressor can't take pictures of this size"},
    Meaning{codecBadDataErr, "the picture is damaged"},
    Meaning{codecConditionErr, kNoPicture},
    Meaning{codecErr, "the compressor failed"},
    Meaning{badImageDescription, kNoPicture},
    Meaning{invalidMovie, "the movie can no longer be read or written"},
    Meaning{invalidMedia, "the movie could not be set up"},
    Meaning{invalidTrack, "the movie could not be set up"},
    Meaning{invalidSampleTable, "the movie's tables are damaged"},
    Meaning{invalidDuration, kInternal},
    Meaning{invalidTime, kInternal},
    Meaning{badEditList, kInternal},
    Meaning{eventLoopInvalidTimer, kInternal},
};

} // namespace

std::string ResultText(Result result)
{
    const auto found = std::ranges::find(kMeanings, result, &Meaning::result);
    return found != kMeanings.end() ? found->text : "error " + std::to_string(result) + " occurred";
}

} // namespace platform
