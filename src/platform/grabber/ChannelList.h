// SPDX-License-Identifier: MIT
#pragma once

#include "platform/grabber/SoundChannel.h"
#include "platform/grabber/VideoChannel.h"

#include <memory>
#include <vector>

namespace platform {

/// The channels of a session, in order of creation and by kind.
struct ChannelList {
    std::vector<std::shared_ptr<Channel>> all;
    std::vector<std::shared_ptr<VideoChannel>> video;
    std::vector<std::shared_ptr<SoundChannel>> sound;

    /// Appends a channel.
    void Add(std::shared_ptr<Channel> channel);

    /// Removes a channel; one that is not in the list is ignored.
    void Remove(const Channel& channel);
};

} // namespace platform
