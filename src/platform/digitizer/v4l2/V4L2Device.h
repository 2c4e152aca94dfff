#pragma once

#include "platform/digitizer/UniqueFD.h"
#include "platform/memory/ResultCodes.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <linux/videodev2.h>
#include <memory>
#include <poll.h>
#include <span>
#include <string>

namespace platform {

/// The system calls through which video devices are reached. Tests put a camera of their own in their place.
class V4L2System {
public:
    virtual ~V4L2System() = default;

    /// An owned descriptor for a node such as "/dev/video0"; an empty one, with `errno`, when it can't be opened.
    virtual UniqueFD Open(const char* path);

    /// 0 or an error number. A call that a signal interrupts is made again.
    virtual int Ioctl(int descriptor, unsigned long request, void* argument);

    /// Memory of the device, or null with `errno`.
    virtual void* Map(int descriptor, size_t length, int64_t offset);
    virtual void Unmap(void* memory, size_t length);

    /// As poll(): number of descriptors with events, 0 after the time, -1 with `errno`.
    virtual int Poll(std::span<pollfd> descriptors, int milliseconds);

    /// The device's name of its own at udev, the same wherever it is plugged in; empty where none is known.
    virtual std::string SerialName(int descriptor);

    /// The system in use: the kernel's, or one that a test has set. Null goes back to the kernel's.
    static std::shared_ptr<V4L2System> Current();
    static void SetCurrent(std::shared_ptr<V4L2System> system);
};

/// The result code for an error number of a device. What may come right when a device returns or another process lets
/// go of it is `noDeviceForChannel`.
Result ResultOfDeviceError(int error);

/// Text in a fixed field of a driver's record, which need not be terminated.
template <size_t size> std::string TextInField(const uint8_t (&field)[size])
{
    const auto* text = reinterpret_cast<const char*>(field);
    return {text, strnlen(text, size)};
}

/// An open capture node. It may be used by several threads at once, as the driver serialises the calls.
class V4L2Device {
public:
    /// Opens a node that captures and streams; null for any other and for what can't be opened.
    static std::shared_ptr<V4L2Device> Open(std::shared_ptr<V4L2System> system, int node);

    /// 0 or an error number.
    template <typename Argument> int Ioctl(unsigned long request, Argument& argument) const
    {
        return system->Ioctl(descriptor.Get(), request, &argument);
    }

    V4L2System& System() const { return *system; }
    int Descriptor() const { return descriptor.Get(); }
    int Node() const { return node; }
    const std::string& Card() const { return card; }       ///< its name for people
    const std::string& BusInfo() const { return busInfo; } ///< where it is plugged in
    const std::string& Model() const { return model; }     ///< the same for the same device in any place

private:
    V4L2Device() = default;

    std::shared_ptr<V4L2System> system;
    UniqueFD descriptor;
    int node = 0;
    std::string card;
    std::string busInfo;
    std::string model;
};

} // namespace platform
