// SPDX-License-Identifier: MIT
#pragma once

#include "recording/RecordingStatus.h"

#include <QJsonArray>
#include <QJsonObject>

#include <cstdint>
#include <string>
#include <vector>

namespace velmora {

/// A report about a recording as JSON: its devices, each lost frame with its cause and its time in seconds since the
/// start (on a slow machine also frames captured between the end and the stop), outages of the camera, and each file
/// with its tracks: samples, durations, by how much the sound is longer than the video, and SHA-256 checksums of all
/// samples.
class RecordingReport {
public:
    /// `path` is the file that `Write` writes.
    explicit RecordingReport(std::string path) : path(std::move(path)) {}

    /// Returns whether the file can be written. Creates an empty one.
    bool IsWritable() const;

    /// Notes the start of the recording and the names of its devices.
    void Begin(const std::string& camera, const std::string& microphone);

    /// Adds the status and the frames lost since the last call. Call it regularly: lost frames that are counted in the
    /// status but not in `lost` were lost before the disk at about this time.
    void Note(const RecordingStatus& status, const std::vector<LostFrame>& lost);

    /// Reads the tracks of the files and writes the report. Returns false on failure.
    bool Write(const std::vector<std::string>& files);

private:
    double SecondsAt(int64_t captureTime) const;
    void AddLost(int64_t captureTime, const std::string& cause);

    std::string path;
    QJsonObject root;
    QJsonArray lostFrames;
    QJsonArray deviceChanges;
    int64_t began = 0;
    bool cameraAway = false;
};

} // namespace velmora
