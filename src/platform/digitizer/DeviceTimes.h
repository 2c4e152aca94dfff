// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>

namespace platform {

// Time-outs and intervals for devices of all families and for camera servers.

/// Between attempts to reach a device or server that is away.
inline constexpr std::chrono::milliseconds kRetryInterval{500};

/// How long a caller that starts a device waits for the result.
inline constexpr std::chrono::milliseconds kStartPatience{1500};

/// How long a device may take from its start to its first frame: cameras set their exposure meanwhile.
inline constexpr std::chrono::seconds kFirstFrameTime{4};

/// The shortest silence after which a camera that has delivered counts as failed.
inline constexpr std::chrono::milliseconds kSilenceTime{1500};

/// How long a caller that reads or writes a control waits for a device that does not respond.
inline constexpr std::chrono::milliseconds kControlPatience{300};

/// The time for writing all requested controls to a device that has returned.
inline constexpr std::chrono::milliseconds kRestorePatience{1000};

/// The time for the first answer of a server: a fraction of the time that a program may take to start.
inline constexpr std::chrono::milliseconds kServerPatience{80};

/// The time for the complete answer of a server that has started to answer.
inline constexpr std::chrono::milliseconds kServerAnswerTime{1000};

/// How long a camera of a server may take to start streaming.
inline constexpr std::chrono::milliseconds kServerStartTime{3000};

} // namespace platform
