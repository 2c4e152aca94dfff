// SPDX-License-Identifier: MIT
#pragma once

#include "framework/String.h"
#include "recording/RecordingStatus.h"

#include <cstdint>
#include <string>

namespace velmora {

// Texts about recordings for the user, made from plain numbers.

/// For the title bar: "Recording 00:12:03, 1.2 GB, 3 frames lost, 41 min left". Only mentions what is not as it should
/// be.
framework::String RecordingTitle(const RecordingStatus& status);

/// "00:12:03"
std::string ClockText(double seconds);

/// "1.2 GB", in powers of ten.
std::string SizeText(int64_t bytes);

/// "Writing Movie.mov: 120 of 340 MB"
framework::String WritingText(const std::string& path, int64_t doneBytes, int64_t totalBytes);

/// Why a file could not be written or read: "the disk /media/card is full". `path` selects the disk.
std::string ReasonText(int32_t result, const std::string& path);

/// The name of a file without its folder.
std::string NameOf(const std::string& path);

/// The disk of a file, by its mount point; with its label, if it has one.
std::string DiskOf(const std::string& path);

} // namespace velmora
