// SPDX-License-Identifier: MIT
#pragma once

namespace velmora {

/// The exit codes of `velmora-record`.
enum class ExitCode { Recorded = 0, WrongUse = 1, NoDevice = 2, Unwritable = 3, DiskFull = 4, Failed = 5 };

} // namespace velmora
