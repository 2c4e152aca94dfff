// SPDX-License-Identifier: MIT
#pragma once

#include <QJsonObject>

#include <string>

namespace velmora {

/// The devices and compressors of this machine: "cameras" with their inputs, formats and image controls, "microphones"
/// with their sample rates, "decks" on FireWire, and "compressors". Waits up to four seconds for the sound server's
/// list. The platform must be started.
QJsonObject ListEverything();

/// The list as text for the user.
std::string ListingText(const QJsonObject& listing);

} // namespace velmora
