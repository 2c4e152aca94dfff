// SPDX-License-Identifier: MIT
#pragma once

#include "platform/digitizer/CaptureDevice.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <linux/videodev2.h>

namespace platform {

/// The system calls for video devices. Tests substitute simulated cameras.
class V4L2System {
public:
    virtual ~V4L2System() = default;

    /// Opens a node such as "/dev/video0"; an empty descriptor, with `errno`, on failure.
    virtual UniqueFD Open(const char* path);

    /// Returns 0 or an error number. A call interrupted by a signal is repeated.
    virtual int Ioctl(int descriptor, unsigned long request, void* argument);

    /// Maps memory of the device; null with `errno` on failure.
    virtual void* Map(int descriptor, size_t length, int64_t offset);
    /// Unmaps memory of `Map`.
    virtual void Unmap(void* memory, size_t length);

    /// As poll(): number of descriptors with events, 0 after the time-out, -1 with `errno`.
    virtual int Poll(std::span<pollfd> descriptors, int milliseconds);

    /// The numbers of the nodes to examine, ascending: those known to the system's device manager. If it knows none,
    /// those of 0 to 63 that exist (a container), and in any case the first few: a wrapper library may provide nodes
    /// that do not exist as files, and takes some time for each one.
    virtual std::vector<int> Nodes();

    /// The device's persistent name in udev, wherever it is plugged in; empty if unknown.
    virtual std::string SerialName(int descriptor);

    /// What is known about a node that can't be opened.
    struct NodeLabel {
        std::string name;
        std::string serial;
        bool captures = true;
    };
    /// Name and serial number of a node, without opening it.
    virtual NodeLabel LabelOf(int node);

    /// A number that changes whenever devices may have come or gone since the last call.
    virtual uint64_t ChangeCount();

    /// The system in use: the kernel's, or one set by a test.
    static std::shared_ptr<V4L2System> Current();
    /// Replaces the system, for tests; null restores the kernel's.
    static void SetCurrent(std::shared_ptr<V4L2System> system);
};

/// Such as "/dev/video0".
std::string PathOfNode(int node);

/// The result code for an error number of a device: `noDeviceForChannel` if the error may disappear when a device
/// returns or another process releases it.
Result ResultOfDeviceError(int error);

/// The meaning of an error number when a device is opened or started, with a sentence for the user. Bus errors are
/// temporary.
Outcome OutcomeOfDeviceError(int error, const std::string& name);

/// The text in a fixed field of a driver's record, which need not be terminated.
template <size_t size> std::string TextInField(const uint8_t (&field)[size])
{
    const auto* text = reinterpret_cast<const char*>(field);
    return {text, strnlen(text, size)};
}

/// A picture's layout in memory, for both single-planar and multi-planar devices.
struct V4L2Layout {
    uint32_t pixelFormat = 0;
    uint32_t width = 0;
    uint32_t height = 0; ///< of one field, if `field` is a single or alternating one
    uint32_t field = V4L2_FIELD_ANY;
    uint32_t colorspace = 0;
    uint32_t encoding = 0;
    uint32_t quantization = 0;
    uint32_t transfer = 0;
    uint32_t planes = 1; ///< memory planes
    std::array<uint32_t, 3> strides{};

    bool operator==(const V4L2Layout&) const = default;
};

/// An open capture node. Several threads may use it at once, since the driver serialises the calls.
class V4L2Device {
public:
    /// Opens a node that captures and streams. Null with 0 for a node of another kind; null with an error number on
    /// failure.
    static std::shared_ptr<V4L2Device> Open(std::shared_ptr<V4L2System> system, int node, int& error);

    /// Returns 0 or an error number, which is logged.
    template <typename Argument> int Ioctl(unsigned long request, Argument& argument) const
    {
        return Call(request, &argument);
    }

    /// Reads, tries or sets the layout; `request` is VIDIOC_G_FMT, VIDIOC_TRY_FMT or VIDIOC_S_FMT. Returns 0 or an
    /// error number.
    int Layout(unsigned long request, V4L2Layout& layout) const;

    /// The system with which the device was opened.
    V4L2System& System() const { return *system; }
    /// The file descriptor, owned by this object.
    int Descriptor() const { return descriptor.Get(); }
    /// The number of the node.
    int Node() const { return node; }
    /// Whether the driver uses the multi-planar interface.
    bool IsMultiPlanar() const { return multiPlanar; }
    /// The kernel's type of the device's buffers.
    uint32_t BufferType() const
    {
        return multiPlanar ? V4L2_BUF_TYPE_VIDEO_CAPTURE_MPLANE : V4L2_BUF_TYPE_VIDEO_CAPTURE;
    }
    /// The name of the driver.
    const std::string& Driver() const { return driver; }
    const std::string& Card() const { return card; }       ///< its name for the user
    const std::string& BusInfo() const { return busInfo; } ///< where it is plugged in
    const std::string& Model() const { return model; }     ///< the same for this device in any place

    /// Whether the device is a virtual camera that other programs feed.
    bool IsLoopback() const { return driver == "v4l2 loopback"; }

private:
    V4L2Device() = default;
    int Call(unsigned long request, void* argument) const;

    std::shared_ptr<V4L2System> system;
    UniqueFD descriptor;
    int node = 0;
    bool multiPlanar = false;
    std::string driver;
    std::string card;
    std::string busInfo;
    std::string model;
};

} // namespace platform
