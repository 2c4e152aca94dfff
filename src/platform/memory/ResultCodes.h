// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace platform {

/// Result of a platform call: 0 is success, every failure is negative.
using Result = int32_t;

inline constexpr Result noErr = 0;

// Files and memory.
inline constexpr Result dskFulErr = -34;
inline constexpr Result ioErr = -36;
inline constexpr Result bdNamErr = -37;
inline constexpr Result fnfErr = -43;
inline constexpr Result fBsyErr = -47;
inline constexpr Result dupFNErr = -48;
inline constexpr Result paramErr = -50;
inline constexpr Result permErr = -54;
inline constexpr Result memFullErr = -108;
inline constexpr Result nilHandleErr = -109;
inline constexpr Result memWZErr = -111;
inline constexpr Result dirNFErr = -120;

// Sound input.
inline constexpr Result siBadSoundInDevice = -221;
inline constexpr Result siInvalidCompression = -223;
inline constexpr Result siInvalidSampleRate = -225;
inline constexpr Result siInvalidSampleSize = -226;
inline constexpr Result siBadRefNum = -229;
inline constexpr Result siInputDeviceErr = -230;
inline constexpr Result siUnknownInfoType = -231;

// Movies.
inline constexpr Result couldNotResolveDataRef = -2000;
inline constexpr Result badImageDescription = -2001;
inline constexpr Result invalidMedia = -2008;
inline constexpr Result invalidTrack = -2009;
inline constexpr Result invalidMovie = -2010;
inline constexpr Result invalidSampleTable = -2011;
inline constexpr Result invalidDuration = -2014;
inline constexpr Result invalidTime = -2015;
inline constexpr Result badEditList = -2017;
inline constexpr Result userDataItemNotFound = -2026;
inline constexpr Result cannotFindAtomErr = -2101;
inline constexpr Result notLeafAtomErr = -2102;
inline constexpr Result atomIndexInvalidErr = -2104;
inline constexpr Result duplicateAtomTypeAndIDErr = -2105;
inline constexpr Result invalidAtomErr = -2106;
inline constexpr Result invalidAtomContainerErr = -2107;

// Components and digitizers.
inline constexpr Result invalidComponentID = -3000;
inline constexpr Result badComponentInstance = static_cast<Result>(0x80008001);
inline constexpr Result badComponentSelector = static_cast<Result>(0x80008002);
inline constexpr Result digiUnimpErr = -2201;
inline constexpr Result qtParamErr = -2202;
inline constexpr Result matrixErr = -2203;
inline constexpr Result noDMAErr = -2207;
inline constexpr Result noMoreKeyColorsErr = -2205;

// Image compression.
inline constexpr Result codecErr = -8960;
inline constexpr Result noCodecErr = -8961;
inline constexpr Result codecUnimpErr = -8962;
inline constexpr Result codecSizeErr = -8963;
inline constexpr Result codecConditionErr = -8972;
inline constexpr Result codecBadDataErr = -8969;

// Sequence Grabber.
inline constexpr Result noDeviceForChannel = -9400;
inline constexpr Result grabTimeComplete = -9401;
inline constexpr Result cantDoThatInCurrentMode = -9402;
inline constexpr Result notEnoughMemoryToGrab = -9403;
inline constexpr Result notEnoughDiskSpaceToGrab = -9404;
inline constexpr Result couldntGetRequiredComponent = -9405;
inline constexpr Result badSGChannel = -9406;
inline constexpr Result seqGrabInfoNotAvailable = -9407;
inline constexpr Result deviceCantMeetRequest = -9408;

// Event loop.
inline constexpr Result eventLoopInvalidTimer = -9877;

} // namespace platform
