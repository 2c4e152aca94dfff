// SPDX-License-Identifier: MIT
#pragma once

#include "platform/digitizer/Digitizer.h"
#include "platform/digitizer/v4l2/V4L2Device.h"

namespace platform {

/// Implements `ListDigitizers` and `OpenDigitizer`. The list contains devices that capture, stream on their own and
/// have a supported format, and nodes that may not be opened, with the reason. It is created once and cached until the
/// system reports a change. Creating it only opens nodes and reads their properties: nothing is tried out, since that
/// disturbs other readers of virtual cameras. Nodes on which this process streams are not opened again.
std::vector<DigitizerEntry> ListV4L2Digitizers(const std::shared_ptr<V4L2System>& system);

/// Null for an identity that is not in the list.
std::unique_ptr<Digitizer> OpenV4L2Digitizer(const std::shared_ptr<V4L2System>& system, const std::string& identity);

/// Whether a listed device is not known to be in use. Sets the device to its present format, which a streaming device
/// rejects; virtual cameras, which many programs may read, are not touched.
bool IsFree(const std::shared_ptr<V4L2System>& system, const std::string& identity);

/// Whether a camera of a server is in the list as well: by the path of its node, or because a wrapper library provides
/// all of the server's cameras as nodes.
bool IsListedAs(const std::shared_ptr<V4L2System>& system, const std::string& path);

/// Stores the result of a start: whether another process uses the device.
void NoteInUse(const V4L2Device& device, bool inUse);

/// Stores that this process starts or stops streaming on a device.
void NoteStreaming(const V4L2Device& device, bool streaming);

} // namespace platform
