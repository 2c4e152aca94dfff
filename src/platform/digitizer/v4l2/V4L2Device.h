// SPDX-License-Identifier: MIT
#pragma once

#include "platform/digitizer/CaptureDevice.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <linux/videodev2.h>

namespace platform {

/// The system calls through which video devices are reached. Tests put cameras of their own in their place.
class V4L2System {
public:
    virtual ~V4L2System() = default;

    /// An owned descriptor for a node such as "/dev/video0"; an empty one, with `errno`, when it can't be opened.
    virtual UniqueFD Open(const char* path);

    /// 0 or an error number. A call that a signal interrupts is made again.
    virtual int Ioctl(int descriptor, unsigned long request, void* argument);

    /// Memory of the device, or null with `errno`.
    virtual void* Map(int descriptor, size_t length, int64_t offset);
    /// Unmaps memory of `Map`.
    virtual void Unmap(void* memory, size_t length);

    /// As poll(): number of descriptors with events, 0 after the time, -1 with `errno`.
    virtual int Poll(std::span<pollfd> descriptors, int milliseconds);

    /// The numbers of the nodes to look at, ascending: those that the system's device manager knows. Where it knows
    /// none, those of 0 to 63 that are there (a container), and in any case the first few: a wrapper library may answer
    /// for nodes that are not there, and takes its time for each one that it is asked for.
    virtual std::vector<int> Nodes();

    /// The device's name of its own at udev, the same wherever it is plugged in; empty where none is known.
    virtual std::string SerialName(int descriptor);

    /// What is known of a node that can't be opened.
    struct NodeLabel {
        std::string name;
        std::string serial;
        bool captures = true;
    };
    /// Name and serial number of a node, without opening it.
    virtual NodeLabel LabelOf(int node);

    /// A count that changes whenever devices may have come or gone since the last call.
    virtual uint64_t ChangeCount();

    /// The system in use: the kernel's, or one that a test has set. Null goes back to the kernel's.
    static std::shared_ptr<V4L2System> Current();
    /// Replaces the system, for tests.
    static void SetCurrent(std::shared_ptr<V4L2System> system);
};

/// Such as "/dev/video0".
std::string PathOfNode(int node);

/// The result code for an error number of a device. What may come right when a device returns or another process lets
/// go of it is `noDeviceForChannel`.
Result ResultOfDeviceError(int error);

/// What an error number means when a device is opened or started, for people as well. Errors of the bus are "not now".
Outcome OutcomeOfDeviceError(int error, const std::string& name);

/// Text in a fixed field of a driver's record, which need not be terminated.
template <size_t size> std::string TextInField(const uint8_t (&field)[size])
{
    const auto* text = reinterpret_cast<const char*>(field);
    return {text, strnlen(text, size)};
}

/// A picture's layout in memory, for devices with one or several planes of memory alike.
struct V4L2Layout {
    uint32_t pixelFormat = 0;
    uint32_t width = 0;
    uint32_t height = 0; ///< of one field, where `field` is a single or an alternating one
    uint32_t field = V4L2_FIELD_ANY;
    uint32_t colorspace = 0;
    uint32_t encoding = 0;
    uint32_t quantization = 0;
    uint32_t transfer = 0;
    uint32_t planes = 1; ///< of memory
    std::array<uint32_t, 3> strides{};

    bool operator==(const V4L2Layout&) const = default;
};

/// An open capture node. It may be used by several threads at once, as the driver serialises the calls.
class V4L2Device {
public:
    /// Opens a node that captures and streams. Null with 0 for a node of another kind; null with an error number for
    /// one that can't be opened.
    static std::shared_ptr<V4L2Device> Open(std::shared_ptr<V4L2System> system, int node, int& error);

    /// 0 or an error number, which is logged.
    template <typename Argument> int Ioctl(unsigned long request, Argument& argument) const
    {
        return Call(request, &argument);
    }

    /// Reads, tries or sets the layout; `request` is VIDIOC_G_FMT, VIDIOC_TRY_FMT or VIDIOC_S_FMT. 0 or an error
    /// number.
    int Layout(unsigned long request, V4L2Layout& layout) const;

    /// The system that the device was opened with.
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
    const std::string& Card() const { return card; }       ///< its name for people
    const std::string& BusInfo() const { return busInfo; } ///< where it is plugged in
    const std::string& Model() const { return model; }     ///< the same for the same device in any place

    /// Whether the device is a virtual camera that other programs fill.
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
