// SPDX-License-Identifier: MIT
// One function for each box that both the finished and the fragmented movie contain:
//
//   moov(mvhd trak(tkhd edts(elst) mdia(mdhd hdlr minf(vmhd|smhd hdlr dinf(dref) stbl(stsd ...)))))
//
// Times are written in 32 bits unless they need 64, since older readers handle that better.
#include "platform/movies/MovieBoxes.h"

#include "platform/movies/SampleDescriptions.h"

#include <algorithm>
#include <string_view>

namespace platform {
namespace {

uint8_t VersionFor(uint64_t creationTime, int64_t duration)
{
    return creationTime > UINT32_MAX || duration > UINT32_MAX ? 1 : 0;
}

void PutIdentityMatrix(ByteWriter& out)
{
    for (const uint32_t entry : {0x00010000U, 0U, 0U, 0U, 0x00010000U, 0U, 0U, 0U, 0x40000000U})
        out.U32(entry);
}

// "tkhd": the track header. The size is the display size of the track's pictures, whatever size the track was created
// with: several readers take the aspect ratio from here.
void PutTrackHead(ByteWriter& out, const TrackBox& box)
{
    constexpr uint32_t kEnabledInMoviePreviewAndPoster = 15;
    const TrackContents& track = box.movie.tracks[box.index];
    const int64_t duration = DurationOf(box.edits);
    const Box head(out, "tkhd");
    const uint8_t version = VersionFor(box.movie.creationTime, duration);
    PutVersionAndFlags(out, version, kEnabledInMoviePreviewAndPoster);
    PutTime(out, version, box.movie.creationTime);
    PutTime(out, version, PresentMovieTime());
    out.U32(static_cast<uint32_t>(box.index + 1));
    out.U32(0);
    PutTime(out, version, static_cast<uint64_t>(duration));
    out.Zeros(8);
    out.U16(0); // layer
    out.U16(0); // alternate group
    out.U16(static_cast<uint16_t>(track.volume));
    out.U16(0);
    PutIdentityMatrix(out);
    const ShownSize size = ShownSizeOf(track);
    out.U32(static_cast<uint32_t>(size.width));
    out.U32(static_cast<uint32_t>(size.height));
}

// "elst": the pieces of the media that the track shows, in order.
void PutEditList(ByteWriter& out, const std::vector<Edit>& edits)
{
    uint8_t version = 0;
    for (const Edit& edit : edits)
        if (edit.duration > UINT32_MAX || edit.mediaTime > INT32_MAX)
            version = 1;
    const Box box(out, "elst");
    PutVersionAndFlags(out, version, 0);
    out.U32(static_cast<uint32_t>(edits.size()));
    for (const Edit& edit : edits) {
        PutTime(out, version, static_cast<uint64_t>(edit.duration));
        PutTime(out, version, static_cast<uint64_t>(edit.mediaTime));
        out.U32(0x00010000); // rate
    }
}

// "edts": holds the edit list.
void PutEdits(ByteWriter& out, const std::vector<Edit>& edits)
{
    if (edits.empty())
        return;
    const Box box(out, "edts");
    PutEditList(out, edits);
}

// "mdhd": the media's time scale and duration.
void PutMediaHead(ByteWriter& out, const TrackBox& box)
{
    const Box head(out, "mdhd");
    const uint8_t version = VersionFor(box.movie.creationTime, box.mediaDuration);
    PutVersionAndFlags(out, version, 0);
    PutTime(out, version, box.movie.creationTime);
    PutTime(out, version, PresentMovieTime());
    out.U32(static_cast<uint32_t>(box.movie.tracks[box.index].timeScale));
    PutTime(out, version, static_cast<uint64_t>(box.mediaDuration));
    out.U16(0); // language: English
    out.U16(0); // quality
}

// "hdlr": the handler of the media or of its data.
void PutHandler(ByteWriter& out, std::string_view kind, FourCharCode type, std::string_view name)
{
    const Box box(out, "hdlr");
    PutVersionAndFlags(out, 0, 0);
    out.U32(CodeOf(kind));
    out.U32(type);
    out.Zeros(12);
    out.U8(static_cast<uint8_t>(name.size()));
    for (const char letter : name)
        out.U8(static_cast<uint8_t>(letter));
}

// "vmhd": how pictures are drawn: copied, with dithering on screens of few colours.
void PutVideoMediaHead(ByteWriter& out)
{
    const Box box(out, "vmhd");
    PutVersionAndFlags(out, 0, 1);
    out.U16(0x0040);
    for (int i = 0; i < 3; ++i)
        out.U16(0x8000);
}

// "smhd": the balance of sound, centred.
void PutSoundMediaHead(ByteWriter& out)
{
    const Box box(out, "smhd");
    PutVersionAndFlags(out, 0, 0);
    out.U32(0);
}

// "dref": the one data reference, to this file itself.
void PutDataReferences(ByteWriter& out)
{
    constexpr uint32_t kSameFile = 1;
    const Box box(out, "dref");
    PutVersionAndFlags(out, 0, 0);
    out.U32(1);
    const Box reference(out, "alis");
    PutVersionAndFlags(out, 0, kSameFile);
}

// "dinf": holds the data references.
void PutDataInformation(ByteWriter& out)
{
    const Box box(out, "dinf");
    PutDataReferences(out);
}

// "stsd": the sample descriptions.
void PutSampleDescriptions(ByteWriter& out, const TrackContents& track)
{
    const Box box(out, "stsd");
    PutVersionAndFlags(out, 0, 0);
    out.U32(static_cast<uint32_t>(track.descriptions.size()));
    for (const auto& description : track.descriptions)
        out.Raw(description);
}

// "stbl": holds the sample tables.
void PutSampleTables(ByteWriter& out, const TrackBox& track, const TablesWriter& putTables)
{
    const Box box(out, "stbl");
    PutSampleDescriptions(out, track.movie.tracks[track.index]);
    putTables(out);
}

// "gmhd": the media header for other media than video and sound; with "tcmi", how a player displays the timecode.
void PutTimecodeMediaHead(ByteWriter& out)
{
    constexpr std::string_view kFont = "Helvetica";
    const Box head(out, "gmhd");
    {
        const Box box(out, "gmin");
        PutVersionAndFlags(out, 0, 0);
        out.U16(0x0040); // copied
        for (int i = 0; i < 3; ++i)
            out.U16(0x8000);
        out.Zeros(4);
    }
    const Box timecode(out, "tmcd");
    const Box box(out, "tcmi");
    PutVersionAndFlags(out, 0, 0);
    out.Zeros(4); // font and face by default
    out.U16(12);
    out.Zeros(8); // black
    for (int i = 0; i < 3; ++i)
        out.U16(0xFFFF); // on white
    out.U8(static_cast<uint8_t>(kFont.size()));
    for (const char letter : kFont)
        out.U8(static_cast<uint8_t>(letter));
}

// "minf": the handler, the data references and the sample tables of the media.
void PutMediaInformation(ByteWriter& out, const TrackBox& track, const TablesWriter& putTables)
{
    const Box box(out, "minf");
    if (track.movie.tracks[track.index].mediaType == kVideoMediaType)
        PutVideoMediaHead(out);
    else if (track.movie.tracks[track.index].mediaType == kTimecodeMediaType)
        PutTimecodeMediaHead(out);
    else
        PutSoundMediaHead(out);
    PutHandler(out, "dhlr", CodeOf("alis"), "Data Handler");
    PutDataInformation(out);
    PutSampleTables(out, track, putTables);
}

std::string_view NameOfMedia(FourCharCode type)
{
    if (type == kTimecodeMediaType)
        return "Time Code Media";
    return type == kVideoMediaType ? "Video Media" : "Sound Media";
}

// "mdia": the media of a track.
void PutMedia(ByteWriter& out, const TrackBox& track, const TablesWriter& putTables)
{
    const FourCharCode type = track.movie.tracks[track.index].mediaType;
    const Box box(out, "mdia");
    PutMediaHead(out, track);
    PutHandler(out, "mhlr", type, NameOfMedia(type));
    PutMediaInformation(out, track, putTables);
}

// "tref": refers to the track with the timecode of these pictures.
void PutTimecodeReference(ByteWriter& out, const TrackBox& track)
{
    const auto& tracks = track.movie.tracks;
    const auto timecode = std::ranges::find_if(tracks, [](const TrackContents& one) {
        return one.mediaType == kTimecodeMediaType && !one.descriptions.empty();
    });
    if (tracks[track.index].mediaType != kVideoMediaType || timecode == tracks.end())
        return;
    const Box reference(out, "tref");
    const Box box(out, "tmcd");
    out.U32(static_cast<uint32_t>(timecode - tracks.begin() + 1));
}

// "\251day": when the pictures were recorded.
void PutRecordingDate(ByteWriter& out, const std::string& date)
{
    constexpr uint16_t kEnglish = 0;
    if (date.empty())
        return;
    const Box box(out, "\xA9"
                       "day");
    out.U16(static_cast<uint16_t>(date.size()));
    out.U16(kEnglish);
    for (const char letter : date)
        out.U8(static_cast<uint8_t>(letter));
}

} // namespace

void PutVersionAndFlags(ByteWriter& out, uint8_t version, uint32_t flags)
{
    out.U32(static_cast<uint32_t>(version) << 24 | flags);
}

void PutTime(ByteWriter& out, uint8_t version, uint64_t time)
{
    if (version == 1)
        out.U64(time);
    else
        out.U32(static_cast<uint32_t>(time));
}

void PutMovieHead(ByteWriter& out, const MovieContents& movie, int64_t duration)
{
    const Box box(out, "mvhd");
    const uint8_t version = VersionFor(movie.creationTime, duration);
    PutVersionAndFlags(out, version, 0);
    PutTime(out, version, movie.creationTime);
    PutTime(out, version, PresentMovieTime());
    out.U32(kFileTimeScale);
    PutTime(out, version, static_cast<uint64_t>(duration));
    out.U32(0x00010000); // rate
    out.U16(0x0100);     // volume
    out.Zeros(10);
    PutIdentityMatrix(out);
    out.Zeros(24); // preview, poster, selection, current time
    out.U32(static_cast<uint32_t>(movie.tracks.size() + 1));
}

void PutTrack(ByteWriter& out, const TrackBox& track, const TablesWriter& putTables)
{
    const Box box(out, "trak");
    PutTrackHead(out, track);
    PutEdits(out, track.edits);
    PutTimecodeReference(out, track);
    PutMedia(out, track, putTables);
}

// "udta": user data: the creator code of the program as "cre8", and the recording date.
void PutUserData(ByteWriter& out, const MovieContents& movie)
{
    const Box box(out, "udta");
    {
        const Box creator(out, "cre8");
        out.U32(movie.creator);
    }
    PutRecordingDate(out, movie.recordingDate);
    out.U32(0);
}

} // namespace platform
