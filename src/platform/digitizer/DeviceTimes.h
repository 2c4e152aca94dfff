// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>

namespace platform {

// How long devices of all families, and servers of cameras, are waited for.

/// Between attempts at a device or a server that is away.
inline constexpr std::chrono::milliseconds kRetryInterval{500};

/// A caller that starts a device waits this long for the result.
inline constexpr std::chrono::milliseconds kStartPatience{1500};

/// A device may take this long from its start to its first frame: cameras set their exposure meanwhile.
inline constexpr std::chrono::seconds kFirstFrameTime{4};

/// The least silence after which a camera that has delivered counts as failed.
inline constexpr std::chrono::milliseconds kSilenceTime{1500};

/// A caller that reads or writes a control waits this long for a device that does not answer.
inline constexpr std::chrono::milliseconds kControlPatience{300};

/// The requested values of all controls are written to a device that returned in this time.
inline constexpr std::chrono::milliseconds kRestorePatience{1000};

/// The first answer of a server: a fraction of the time that a program may take to start.
inline constexpr std::chrono::milliseconds kServerPatience{80};

/// The whole answer of a server that has begun to answer.
inline constexpr std::chrono::milliseconds kServerAnswerTime{1000};

/// A camera at a server may take this long to start streaming.
inline constexpr std::chrono::milliseconds kServerStartTime{3000};

} // namespace platform
