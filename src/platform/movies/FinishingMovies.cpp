// Movies that are finished in the background. Until the writer can finish one by itself, each is finished in the call.
#include "platform/movies/Movies.h"

namespace platform {
namespace {

MovieFinishHandler& Handler()
{
    static MovieFinishHandler handler;
    return handler;
}

} // namespace

void SetMovieFinishHandler(MovieFinishHandler handler)
{
    Handler() = std::move(handler);
}

std::vector<FinishingMovie> FinishingMovies()
{
    return {};
}

std::vector<FinishingMovie> TakeFinishedMovies()
{
    return {};
}

void WaitForFinishingMovies() {}

} // namespace platform
