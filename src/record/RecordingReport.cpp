// SPDX-License-Identifier: MIT
#include "record/RecordingReport.h"

#include "Version.h"
#include "platform/clock/MonotonicClock.h"
#include "platform/movies/MovieCheck.h"
#include "record/FormatNames.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QJsonDocument>

#include <algorithm>
#include <fstream>

namespace velmora {
namespace {

using platform::MovieFile;
using platform::TrackTables;

constexpr size_t kPiece = size_t{1} << 20;

QString Text(const std::string& utf8)
{
    return QString::fromStdString(utf8);
}

// The SHA-256 checksum of all samples of a track, in order.
QString Checksum(const MovieFile& file, const TrackTables& track)
{
    QCryptographicHash hash(QCryptographicHash::Sha256);
    std::vector<uint8_t> piece(kPiece);
    for (const platform::SampleRange& range : track.ranges)
        for (int64_t done = 0; done < range.size;) {
            const auto wanted = static_cast<size_t>(std::min<int64_t>(range.size - done, kPiece));
            const size_t count = file.Read(range.position + done, std::span(piece).first(wanted));
            if (count == 0)
                return {};
            hash.addData(QByteArrayView(piece.data(), static_cast<qsizetype>(count)));
            done += static_cast<int64_t>(count);
        }
    return hash.result().toHex();
}

QJsonObject FileEntry(const std::string& path)
{
    QJsonObject entry{{"file", Text(path)}};
    MovieFile file;
    platform::CheckedMovie movie;
    if (file.Open(path) != platform::noErr || platform::CheckMovie(path, movie) != platform::noErr)
        return entry;
    QJsonArray tracks;
    double seconds[2] = {};
    for (const TrackTables& track : movie.tracks) {
        const std::string codec = track.descriptions.empty() ? "" : ShownCode(track.descriptions.front());
        tracks.append(QJsonObject{{"type", Text(platform::TextOf(track.mediaType))},
                                  {"codec", Text(codec)},
                                  {"samples", static_cast<qint64>(track.samples)},
                                  {"seconds", track.Seconds()},
                                  {"sha256", Checksum(file, track)}});
        seconds[track.mediaType == platform::kSoundMediaType ? 1 : 0] = track.Seconds();
    }
    entry["bytes"] = static_cast<qint64>(file.Size());
    entry["whole"] = movie.IsWhole();
    entry["tracks"] = tracks;
    if (seconds[0] > 0 && seconds[1] > 0)
        entry["soundLongerBySeconds"] = seconds[1] - seconds[0];
    return entry;
}

} // namespace

bool RecordingReport::IsWritable() const
{
    return static_cast<bool>(std::ofstream(path));
}

void RecordingReport::Begin(const std::string& camera, const std::string& microphone)
{
    began = platform::MonotonicNow();
    root = {{"program", Text("velmora-record " + std::string(kVersion))},
            {"began", QDateTime::currentDateTime()
                          .toOffsetFromUtc(QDateTime::currentDateTime().offsetFromUtc())
                          .toString(Qt::ISODateWithMs)},
            {"camera", Text(camera)},
            {"microphone", Text(microphone)}};
}

double RecordingReport::SecondsAt(int64_t captureTime) const
{
    return static_cast<double>(captureTime - began) / platform::kNanosecondsPerSecond;
}

void RecordingReport::AddLost(int64_t captureTime, const std::string& cause)
{
    lostFrames.append(QJsonObject{{"seconds", SecondsAt(captureTime)}, {"cause", Text(cause)}});
}

void RecordingReport::Note(const RecordingStatus& status, const std::vector<LostFrame>& lost)
{
    for (const LostFrame& frame : lost)
        if (frame.captureTime >= began)
            AddLost(frame.captureTime, frame.cause);
    const int64_t now = platform::MonotonicNow();
    for (auto known = static_cast<uint64_t>(lostFrames.size()); known < status.lost + status.damaged; ++known)
        AddLost(now, "disk");
    if (status.cameraAway != cameraAway)
        deviceChanges.append(
            QJsonObject{{"seconds", SecondsAt(now)}, {"change", status.cameraAway ? "camera away" : "camera back"}});
    cameraAway = status.cameraAway;
    root["seconds"] = status.seconds;
    root["cameraAwaySeconds"] = status.awaySeconds;
}

bool RecordingReport::Write(const std::vector<std::string>& files)
{
    QJsonArray entries;
    qint64 frames = 0;
    for (const std::string& file : files) {
        const QJsonObject entry = FileEntry(file);
        entries.append(entry);
        for (const QJsonValue track : entry["tracks"].toArray())
            frames += track["type"].toString() == "vide" ? track["samples"].toInteger() : 0;
    }
    root["frames"] = frames;
    const auto damaged = std::ranges::count_if(
        lostFrames, [](const QJsonValue& frame) { return frame["cause"].toString() == "damaged"; });
    root["lost"] = lostFrames.size() - damaged;
    root["damaged"] = static_cast<qint64>(damaged);
    root["lostFrames"] = lostFrames;
    root["deviceChanges"] = deviceChanges;
    root["files"] = entries;
    std::ofstream out(path, std::ios::binary);
    out << QJsonDocument(root).toJson().toStdString();
    out.close();
    return static_cast<bool>(out);
}

} // namespace velmora
