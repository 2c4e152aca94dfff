// SPDX-License-Identifier: MIT
#include "platform/movies/MovieContents.h"

#include <chrono>

namespace platform {

uint64_t PresentMovieTime()
{
    constexpr uint64_t kFrom1904To1970 = 2082844800;
    const auto since1970 = std::chrono::system_clock::now().time_since_epoch();
    return kFrom1904To1970 + static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::seconds>(since1970).count());
}

int64_t MovieTimeOf(int64_t mediaTime, int32_t timeScale)
{
    return (mediaTime * kMovieTimeScale + timeScale - 1) / timeScale;
}

void InsertEdit(std::vector<Edit>& edits, int64_t at, const Edit& piece, int32_t timeScale)
{
    size_t place = 0;
    int64_t start = 0;
    while (place < edits.size() && start + edits[place].duration <= at)
        start += edits[place++].duration;
    const int64_t into = at - start;
    if (into > 0 && place < edits.size()) {
        // Split the edit that contains this time.
        Edit rest = edits[place];
        rest.duration -= into;
        if (rest.mediaTime >= 0)
            rest.mediaTime += into * timeScale / kMovieTimeScale;
        edits[place].duration = into;
        edits.insert(edits.begin() + static_cast<std::ptrdiff_t>(++place), rest);
    } else if (into > 0) {
        edits.push_back({into, -1});
        ++place;
    }
    edits.insert(edits.begin() + static_cast<std::ptrdiff_t>(place), piece);
}

int64_t DurationOf(const std::vector<Edit>& edits)
{
    int64_t duration = 0;
    for (const Edit& edit : edits)
        duration += edit.duration;
    return duration;
}

} // namespace platform
