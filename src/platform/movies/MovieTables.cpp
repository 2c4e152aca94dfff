// SPDX-License-Identifier: MIT
// The header's tables are read first, then the fragments, each adding its samples to those before. No number in a table
// is used before it has been compared with the size of its box, so a damaged or crafted file costs no more memory than
// a few times the size of its own tables.
#include "platform/movies/MovieTables.h"

#include "platform/movies/FragmentReader.h"
#include "platform/movies/HeaderReader.h"

#include <algorithm>
#include <utility>

namespace platform {
namespace {

constexpr int64_t kMaxHeader = int64_t{1} << 30;

std::vector<uint8_t> Content(const MovieFile& file, const FileBox& box, std::vector<std::string>& faults)
{
    const int64_t length = std::min(box.end, file.Size()) - box.content;
    if (length > kMaxHeader) {
        faults.push_back("the header at " + std::to_string(box.start) + " is too long to be a header");
        return {};
    }
    std::vector<uint8_t> bytes(static_cast<size_t>(std::max<int64_t>(length, 0)));
    bytes.resize(file.Read(box.content, bytes));
    return bytes;
}

} // namespace

MovieTables ReadMovieTables(const MovieFile& file)
{
    MovieTables movie;
    movie.boxes = file.Boxes(0, file.Size());
    std::map<uint32_t, TrackReading> tracks;
    for (const FileBox& box : movie.boxes) {
        if (box.type != CodeOf("moov"))
            continue;
        if (std::exchange(movie.hasHeader, true)) {
            movie.faults.emplace_back("there is more than one header");
            break;
        }
        const auto bytes = Content(file, box, movie.faults);
        HeaderReader(bytes).Read(movie, tracks);
    }
    for (const FileBox& box : movie.boxes) {
        if (box.type != CodeOf("moof"))
            continue;
        movie.isFragmented = true;
        const auto bytes = Content(file, box, movie.faults);
        bool whole = true;
        for (const MemoryBox& child : BoxesIn(bytes, whole))
            if (child.type == CodeOf("traf"))
                ReadTrackFragment(child, box.start, tracks, movie);
        if (!whole)
            movie.faults.push_back("the fragment at " + std::to_string(box.start) + " is damaged");
    }
    for (auto& [number, track] : tracks)
        movie.tracks.push_back(std::move(track.tables));
    return movie;
}

} // namespace platform
