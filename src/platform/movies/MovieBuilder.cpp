// SPDX-License-Identifier: MIT
#include "platform/movies/MovieBuilder.h"

#include "platform/movies/FinishMovie.h"

namespace platform {
namespace {

constexpr FourCharCode kCreator = CodeOf("TVOD");

} // namespace

MovieBuilder::~MovieBuilder()
{
    if (storage)
        storage->Close();
}

Result MovieBuilder::Create(const std::string& path)
{
    return MovieStorage::Create(path, true, kCreator, storage);
}

Result MovieBuilder::AddTrack(std::shared_ptr<MovieTrack>& track, FourCharCode type, int32_t timeScale, int32_t width,
                              int32_t height, int16_t volume)
{
    auto made = MovieTrack::Add(storage, Long2Fix(width), Long2Fix(height), volume);
    if (!made || !made->MakeMedia(type, timeScale))
        return invalidMedia;
    track = std::move(made);
    tracks.push_back(track);
    return track->BeginEdits();
}

Result MovieBuilder::Keep(Result result)
{
    if (firstFailure == noErr)
        firstFailure = result;
    return result;
}

Result MovieBuilder::Finish()
{
    for (const auto& track : tracks)
        Keep(track->EndEdits());
    Keep(FinishMovie(storage));
    Keep(storage->Close());
    return firstFailure;
}

bool MovieBuilder::GetStatus(MovieStorageStatus& status) const
{
    if (!storage || !storage->IsOpen())
        return false;
    status = storage->Status();
    return true;
}

} // namespace platform
