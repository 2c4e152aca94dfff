// SPDX-License-Identifier: MIT
#include "platform/grabber/ChannelList.h"

namespace platform {

void ChannelList::Add(std::shared_ptr<Channel> channel)
{
    if (auto picture = std::dynamic_pointer_cast<VideoChannel>(channel))
        video.push_back(std::move(picture));
    if (auto heard = std::dynamic_pointer_cast<SoundChannel>(channel))
        sound.push_back(std::move(heard));
    all.push_back(std::move(channel));
}

void ChannelList::Remove(const Channel& channel)
{
    const auto isIt = [&](const auto& own) { return own.get() == &channel; };
    std::erase_if(video, isIt);
    std::erase_if(sound, isIt);
    std::erase_if(all, isIt);
}

} // namespace platform
