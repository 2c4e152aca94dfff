// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

namespace velmora {

/// What a message of the control means to a user, where its text says no more than a call and a code; empty for a text
/// that speaks for itself. "AddMediaSample (video) error -34": "The disk is full."
std::string MeaningOfMessage(const std::string& text);

/// A result code as a sentence of its own.
std::string SentenceFor(int32_t result);

} // namespace velmora
