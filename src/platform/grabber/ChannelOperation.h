// SPDX-License-Identifier: MIT
#pragma once

#include "platform/grabber/SoundChannel.h"
#include "platform/grabber/VideoChannel.h"

namespace platform {

/// Run an operation on the channel with a number, of any kind or of one kind.
template <typename Kind, typename Operation> Result OnChannelOf(SGChannel number, Operation operation)
{
    const auto found = FindChannel<Kind>(number);
    return found ? operation(*found) : badSGChannel;
}

/// Runs an operation on a channel of any kind; `badSGChannel` for an invalid reference.
template <typename Operation> Result OnChannel(SGChannel number, Operation operation)
{
    return OnChannelOf<Channel>(number, operation);
}

/// Runs an operation on a video channel; `badSGChannel` for another reference.
template <typename Operation> Result OnVideo(SGChannel number, Operation operation)
{
    return OnChannelOf<VideoChannel>(number, operation);
}

/// Runs an operation on a sound channel; `badSGChannel` for another reference.
template <typename Operation> Result OnSound(SGChannel number, Operation operation)
{
    return OnChannelOf<SoundChannel>(number, operation);
}

/// Writes a result to the caller's address.
template <typename T> Result Written(Address place, const T& value)
{
    return Poke(place, value) ? noErr : paramErr;
}

/// The same if the caller may pass 0 as the address.
template <typename T> Result WrittenIfWanted(Address place, const T& value)
{
    return place == 0 ? noErr : Written(place, value);
}

} // namespace platform
