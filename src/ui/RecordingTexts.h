// SPDX-License-Identifier: MIT
#pragma once

#include "framework/String.h"
#include "recording/RecordingStatus.h"

#include <cstdint>
#include <string>

namespace velmora {

// What the user reads about recordings, made of plain figures.

/// For the title bar: "Recording 00:12:03, 1.2 GB, 3 frames lost, 41 min left". What is as it should be is left out.
framework::String RecordingTitle(const RecordingStatus& status);

/// "00:12:03"
std::string ClockText(double seconds);

/// "1.2 GB", in powers of ten.
std::string SizeText(int64_t bytes);

/// "Writing Movie.mov: 120 of 340 MB"
framework::String WritingText(const std::string& path, int64_t doneBytes, int64_t totalBytes);

/// Why a file could not be written or read: "the disk /media/card is full". `path` tells which disk.
std::string ReasonText(int32_t result, const std::string& path);

/// The name of a file without its folder.
std::string NameOf(const std::string& path);

/// The disk that holds a file or would hold it, by where it is mounted; with its label, if it has one.
std::string DiskOf(const std::string& path);

} // namespace velmora
