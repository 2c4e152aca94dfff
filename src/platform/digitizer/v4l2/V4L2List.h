// SPDX-License-Identifier: MIT
#pragma once

#include "platform/digitizer/Digitizer.h"
#include "platform/digitizer/v4l2/V4L2Device.h"

namespace platform {

/// What `ListDigitizers` and `OpenDigitizer` use. The list holds what captures, streams by itself and has a format that
/// is used here, and nodes that may not be opened, with the reason. It is made once and kept until the system reports a
/// change. Making it only opens nodes and asks what they are: nothing is tried out, since that disturbs other readers
/// of virtual cameras. Nodes on which this process streams are not opened again.
std::vector<DigitizerEntry> ListV4L2Digitizers(const std::shared_ptr<V4L2System>& system);

/// Null for an identity that is not in the list.
std::unique_ptr<Digitizer> OpenV4L2Digitizer(const std::shared_ptr<V4L2System>& system, const std::string& identity);

/// Whether a listed device may be had at the moment: it is not known to be in use. Sets the device to the format that
/// it has, which a streaming device refuses; virtual cameras, which many may read, are not touched.
bool IsFree(const std::shared_ptr<V4L2System>& system, const std::string& identity);

/// Whether a camera that a server offers is in the list as well: by the path of its node, or because a wrapper library
/// shows all of the server's cameras as nodes.
bool IsListedAs(const std::shared_ptr<V4L2System>& system, const std::string& path);

/// Notes what a start found: another process has the device, or not.
void NoteInUse(const V4L2Device& device, bool inUse);

/// Notes that this process begins or ends to stream on a device.
void NoteStreaming(const V4L2Device& device, bool streaming);

} // namespace platform
