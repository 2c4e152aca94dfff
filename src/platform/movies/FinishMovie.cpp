// SPDX-License-Identifier: MIT
// A movie is finished by its own writer thread. The main thread waits for it as long as the handler wants it to. A
// movie that is sent to the background stays in a list until its end has been reported.
#include "platform/movies/FinishMovie.h"

#include "platform/movies/Movies.h"

#include <algorithm>
#include <vector>

namespace platform {
namespace {

constexpr auto kPatience = std::chrono::milliseconds(150);
constexpr auto kInterval = std::chrono::milliseconds(50);

MovieFinishHandler& Handler()
{
    static MovieFinishHandler handler;
    return handler;
}

// In the background, or finished there and not reported yet.
std::vector<std::shared_ptr<MovieStorage>>& Background()
{
    static std::vector<std::shared_ptr<MovieStorage>> movies;
    return movies;
}

bool KeepsWaiting(const MovieStorage& storage)
{
    const MovieFinishHandler handler = Handler();
    const FinishingMovie progress = storage.Progress();
    return !handler || handler(progress.path, progress.doneBytes, progress.totalBytes);
}

} // namespace

Result FinishMovie(const std::shared_ptr<MovieStorage>& storage)
{
    storage->Finish();
    for (auto time = kPatience; !storage->WaitForFinish(time); time = kInterval) {
        if (!KeepsWaiting(*storage)) {
            storage->ContinueInBackground();
            Background().push_back(storage);
            return noErr;
        }
    }
    return storage->Progress().result;
}

void SetMovieFinishHandler(MovieFinishHandler handler)
{
    Handler() = std::move(handler);
}

std::vector<FinishingMovie> FinishingMovies()
{
    std::vector<FinishingMovie> movies;
    for (const auto& storage : Background())
        movies.push_back(storage->Progress());
    return movies;
}

std::vector<FinishingMovie> TakeFinishedMovies()
{
    std::vector<FinishingMovie> ended;
    std::erase_if(Background(), [&](const auto& storage) {
        const FinishingMovie progress = storage->Progress();
        if (progress.done) {
            ended.push_back(progress);
            storage->EndBackground();
        }
        return progress.done;
    });
    return ended;
}

void WaitForFinishingMovies()
{
    for (const auto& storage : Background())
        while (!storage->WaitForFinish(kInterval)) {
        }
}

} // namespace platform
