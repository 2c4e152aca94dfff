// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/ResultCodes.h"
#include "platform/movies/MovieStorage.h"

#include <memory>

namespace platform {

/// Finishes a movie: waits until that is done, or until the handler of `SetMovieFinishHandler` sends it to the
/// background, which is no failure.
Result FinishMovie(const std::shared_ptr<MovieStorage>& storage);

} // namespace platform
