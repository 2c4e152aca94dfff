// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

namespace velmora {

/// The meaning of a control's message for the user, if its text is only a call and a code; empty for a text that needs
/// no explanation. "AddMediaSample (video) error -34": "The disk is full."
std::string MeaningOfMessage(const std::string& text);

/// A result code as a complete sentence.
std::string SentenceFor(int32_t result);

} // namespace velmora
