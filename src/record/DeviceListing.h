// SPDX-License-Identifier: MIT
#pragma once

#include <QJsonObject>

#include <string>

namespace velmora {

/// What this machine can record with: "cameras" with their inputs, formats and image controls, "microphones" with their
/// rates, "decks" on FireWire, and "compressors". Waits for a sound server that still owes its answer, for at most four
/// seconds. The platform has been started.
QJsonObject ListEverything();

/// The same for people.
std::string ListingText(const QJsonObject& listing);

} // namespace velmora
