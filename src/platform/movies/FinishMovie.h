// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/ResultCodes.h"
#include "platform/movies/MovieStorage.h"

#include <memory>

namespace platform {

/// Finishes a movie: waits until it is complete, or until the handler of `SetMovieFinishHandler` sends it to the
/// background, which is not a failure.
Result FinishMovie(const std::shared_ptr<MovieStorage>& storage);

} // namespace platform
