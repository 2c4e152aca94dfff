// SPDX-License-Identifier: MIT
#include "platform/movies/MovieCheck.h"

#include "platform/movies/JournalReplay.h"
#include "platform/movies/RecordingFile.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <functional>
#include <optional>

namespace platform {
namespace {

using Faults = std::vector<std::string>;

bool IsBoxType(FourCharCode type)
{
    const std::string text = TextOf(type);
    return std::ranges::all_of(text, [](unsigned char c) { return std::isprint(c) != 0 || c == 0xA9; });
}

bool IsMovie(const MovieTables& movie)
{
    constexpr FourCharCode kFirst[] = {CodeOf("ftyp"), CodeOf("moov"), CodeOf("mdat"), CodeOf("wide"),
                                       CodeOf("free"), CodeOf("skip"), CodeOf("pnot"), CodeOf("styp")};
    return !movie.boxes.empty() && std::ranges::find(kFirst, movie.boxes.front().type) != std::end(kFirst);
}

void CheckBoxes(const MovieTables& movie, int64_t fileSize, Faults& faults)
{
    const FileBox& last = movie.boxes.back();
    if (last.end > fileSize)
        faults.push_back("the file ends " + std::to_string(last.end - fileSize) + " bytes before its last box, \"" +
                         TextOf(last.type) + "\" at " + std::to_string(last.start) + ", does");
    else if (last.end < fileSize || !std::ranges::all_of(movie.boxes, IsBoxType, &FileBox::type))
        faults.push_back("at " + std::to_string(last.start) + " there is no box but " +
                         std::to_string(fileSize - last.start) + " bytes of other data");
    if (!movie.hasHeader)
        faults.emplace_back("there is no header");
}

// Counts the faulty ranges of a track and keeps where the first one starts.
class RangeFault {
public:
    void Add(const SampleRange& range)
    {
        if (!first)
            first = range.firstSample;
        samples += range.samples;
    }
    void Report(const char* text, Faults& faults) const
    {
        if (first)
            faults.push_back(std::to_string(samples) + " samples " + text + ", the first of them sample " +
                             std::to_string(*first));
    }

private:
    std::optional<uint64_t> first;
    uint64_t samples = 0;
};

void CheckRanges(const TrackTables& track, const std::vector<FileBox>& media, int64_t fileSize, Faults& faults)
{
    RangeFault beyondEnd;
    RangeFault outside;
    RangeFault undescribed;
    for (const SampleRange& range : track.ranges) {
        const bool fits = range.position >= 0 && range.size <= INT64_MAX - range.position;
        const int64_t end = fits ? range.position + range.size : INT64_MAX;
        // The last box that starts before the range.
        auto box = std::ranges::upper_bound(media, range.position, {}, &FileBox::content);
        const bool inside = box != media.begin() && end <= (--box)->end;
        if (end > fileSize)
            beyondEnd.Add(range);
        else if (!inside && range.size > 0)
            outside.Add(range);
        if (range.description == 0 || range.description > track.descriptions.size())
            undescribed.Add(range);
    }
    beyondEnd.Report("are beyond the end of the file", faults);
    outside.Report("are outside of the media data", faults);
    undescribed.Report("have no description", faults);
}

void CheckTrack(TrackTables& track, const std::vector<FileBox>& media, int64_t fileSize)
{
    CheckRanges(track, media, fileSize, track.faults);
    if (track.hasSyncTable && !std::ranges::is_sorted(track.syncSamples, std::less_equal()))
        track.faults.emplace_back("its table of key frames does not increase");
    if (!track.syncSamples.empty() &&
        (track.syncSamples.front() == 0 || track.syncSamples.back() > track.headerSamples))
        track.faults.emplace_back("its table of key frames refers to samples that do not exist");
    // In a fragmented movie the header's duration may be that of its own samples, 0, or the whole duration.
    if (track.headerDuration != track.headerTableTime && track.headerDuration != track.duration &&
        track.samples == track.headerSamples)
        track.faults.push_back("its header has a duration of " + std::to_string(track.headerDuration) +
                               ", its samples last " + std::to_string(track.headerTableTime));
}

// The journal of a recording of this system, compared with the tables that were made from it.
void CheckJournal(const RecordingFile& recording, const CheckedMovie& found, Faults& faults)
{
    const auto boxes = recording.ReadJournal();
    int64_t previous = 0;
    JournalReplay replay;
    for (const JournalBox& box : boxes) {
        if (box.previous != previous)
            faults.push_back("the journal is damaged or missing between " + std::to_string(previous) + " and " +
                             std::to_string(box.position));
        previous = box.position;
        replay.Add(box);
    }
    if (boxes.empty())
        faults.emplace_back("the journal is missing");
    if (boxes.empty() || found.isCutOff)
        return;
    const MovieContents journal = replay.TakeMovie();
    for (const FourCharCode type : {kVideoMediaType, kSoundMediaType}) {
        uint64_t inJournal = 0;
        uint64_t inHeader = 0;
        for (const TrackContents& track : journal.tracks)
            inJournal += track.mediaType == type ? static_cast<uint64_t>(track.duration) : 0;
        for (const TrackTables& track : found.tracks)
            inHeader += track.mediaType == type ? track.duration : 0;
        if (inJournal != inHeader)
            faults.push_back("the journal's \"" + TextOf(type) + "\" lasts " + std::to_string(inJournal) +
                             " units, the header's " + std::to_string(inHeader));
    }
}

} // namespace

Result CheckMovie(const std::string& path, CheckedMovie& found)
{
    MovieFile file;
    if (const Result result = file.Open(path); result != noErr)
        return result;
    MovieTables movie = ReadMovieTables(file);
    if (!IsMovie(movie))
        return invalidMovie;
    RecordingFile recording;
    if (const Result result = recording.Open(path); result == fBsyErr)
        return result;
    found = {};
    found.faults = movie.faults;
    CheckBoxes(movie, file.Size(), found.faults);
    std::vector<FileBox> media;
    std::ranges::copy_if(movie.boxes, std::back_inserter(media),
                         [](const FileBox& box) { return box.type == CodeOf("mdat"); });
    for (TrackTables& track : movie.tracks)
        CheckTrack(track, media, file.Size());
    found.tracks = std::move(movie.tracks);
    if (movie.hasHeader && found.tracks.empty())
        found.faults.emplace_back("there is no track");
    if (recording.IsOurs()) {
        found.isCutOff = !recording.IsFinished();
        CheckJournal(recording, found, found.faults);
        if (found.isCutOff)
            found.faults.emplace_back("the recording was interrupted");
    }
    return noErr;
}

} // namespace platform
