// SPDX-License-Identifier: MIT
#pragma once

#include "recording/RecordingStatus.h"

#include <QJsonArray>
#include <QJsonObject>

#include <cstdint>
#include <string>
#include <vector>

namespace velmora {

/// What happened in a recording, as JSON: its devices, each lost frame with its time in seconds from the beginning and
/// its cause (on a machine that lags behind, also those that came after the end and before the stop), when the camera
/// was away, and each file with its tracks: samples, durations, how much longer the sound is than the picture, and
/// SHA-256 checksums over all samples of a track.
class RecordingReport {
public:
    /// `path` is written at the end.
    explicit RecordingReport(std::string path) : path(std::move(path)) {}

    /// Whether the file can be written. Makes an empty one.
    bool IsWritable() const;

    void Begin(const std::string& camera, const std::string& microphone);

    /// To be called now and then, with the frames that were lost since the last call. What the status counts and no
    /// such frame explains was lost in front of the disk, at about this time.
    void Note(const RecordingStatus& status, const std::vector<LostFrame>& lost);

    /// Reads the files for their tracks and writes the report. False where that is not possible.
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
