// SPDX-License-Identifier: MIT
#pragma once

#include "support/SimulatedFireWire.h"

#include <dc1394/dc1394.h>

#include <cstring>
#include <sys/eventfd.h>
#include <sys/mman.h>

namespace test {

inline struct SimulatedIIDCUnit* theUnit = nullptr;

constexpr uint64_t kCommandBase = 0xF00000; // from the beginning of the register space
constexpr uint64_t kFormat7 = 0x2000;       // from the command registers
constexpr uint64_t kAbsoluteGain = 0x3000;
constexpr size_t kFrameSize = 640 * 480 * 2;

// IIDC 1.31: an offset in a register counts quadlets.
constexpr uint32_t QuadletsTo(uint64_t offset)
{
    return static_cast<uint32_t>((kCommandBase + offset) / 4);
}

/// An IIDC camera on a `SimulatedFireWire`, behind libdc1394 as it is: the library's functions for registers and for
/// capture are the test program's own. The registers have one fixed mode (640x480 YUV 4:2:2 at 15 and 30 a second) and
/// a scalable one (1024x768, whose packets depend on the coding), gain with absolute values, and temperature.
///
/// Capture keeps the library's rules: a frame for each readable event, polling without one is a success without a
/// frame, `frames_behind` is always 0, and stopping fails for a camera that was unplugged.
struct SimulatedIIDCUnit {
    static constexpr uint64_t kGuid = 0x0814436100003DA7;

    explicit SimulatedIIDCUnit(SimulatedFireWire& bus)
    {
        theUnit = this;
        setenv("RAW1394DEV", "/dev/null", 1); // the library asks whether this file is there
        FireWireNode node = MakeNode(kGuid, 0x00A02D, 0x000102, "");
        // The unit leads to a directory of the registers' place and the names.
        node.rom.resize(9);
        node.rom.insert(node.rom.end(), {3U << 16, 0x1200'A02D, 0x1300'0102, 0xD400'0001, 3U << 16,
                                         0x4000'0000 | QuadletsTo(0), 0x8100'0002, 0x8200'0006, 4U << 16, 0, 0,
                                         0x4D61'6B65, 0x7200'0000, 4U << 16, 0, 0, 0x4361'6D65, 0x7261'0000});
        bus.Plug(node);
        registers = {{0x100, 0x8100'0000}, // formats 0 and 7
                     {0x180, 0x1000'0000}, // mode 3 of format 0
                     {0x19C, 0x8000'0000}, // mode 0 of format 7
                     {0x20C, 0x1800'0000}, // its rates 15 and 30
                     {0x2E0, QuadletsTo(kFormat7)},
                     {0x404, 0x0090'0000}, // temperature and gain
                     {0x520, 0xCD00'0064}, // gain: absolute, switched, manual, 0 to 100
                     {0x52C, 0x8D06'4384}, // temperature: 100 to 900
                     {0x720, QuadletsTo(kAbsoluteGain)},
                     {0x820, 0x8200'000A},
                     {0x82C, 0x821F'41BC}, // target 500, present 444
                     {kFormat7, 1024U << 16 | 768},
                     {kFormat7 + 0x04, 8U << 16 | 8},
                     {kFormat7 + 0x14, 0x8800'0000}, // Mono8 and RGB8
                     {kFormat7 + 0x7C, 0x8000'0000}};
        const float range[] = {0, 24, 6};
        for (uint64_t i = 0; i < 3; ++i)
            std::memcpy(&registers[kAbsoluteGain + 4 * i], &range[i], 4);
        UpdateFormat7();
    }
    ~SimulatedIIDCUnit()
    {
        theUnit = nullptr;
        unsetenv("RAW1394DEV");
    }

    /// Delivers a frame of the present mode, complete at that time of day. Returns false if the buffers are full.
    bool Emit(uint64_t microseconds)
    {
        if (unused.empty())
            return false;
        filled.push_back(unused.front());
        unused.pop_front();
        filled.back()->timestamp = microseconds;
        return eventfd_write(descriptor, 1) == 0;
    }

    std::map<uint64_t, uint32_t> registers; ///< by offset from the camera's command registers
    bool isPlugged = true;
    uint32_t fastestSpeed = DC1394_ISO_SPEED_400;
    dc1394error_t setupError = DC1394_SUCCESS;
    bool isChannelTaken = false; ///< its channel, by another program
    size_t framesOut = 0;        ///< taken and not given back

    /// What the functions of the library work on. The largest packets are larger for colour, and so is the frame.
    void UpdateFormat7()
    {
        const bool isColor = registers[kFormat7 + 0x10] >> 24 == 4;
        const uint32_t size = registers[kFormat7 + 0x0C];
        const uint32_t packet = isColor ? 4096 : 2048;
        const uint32_t pixels = (size >> 16) * (size & 0xFFFF);
        registers[kFormat7 + 0x34] = pixels;
        registers[kFormat7 + 0x3C] = pixels * (isColor ? 3 : 1);
        registers[kFormat7 + 0x40] = 8U << 16 | packet;
        registers[kFormat7 + 0x44] = (registers[kFormat7 + 0x44] & 0xFFFF'0000) | packet;
        registers[kFormat7 + 0x7C] = 0x8000'0000;
    }

    int descriptor = -1;
    std::vector<dc1394video_frame_t> frames;
    std::deque<dc1394video_frame_t*> unused;
    std::deque<dc1394video_frame_t*> filled;
};

// What this program puts in the place of libdc1394's own.

extern "C" {

dc1394error_t dc1394_get_control_registers(dc1394camera_t*, uint64_t offset, uint32_t* values, uint32_t count)
{
    for (uint32_t i = 0; i < count; ++i)
        values[i] = theUnit->registers[offset + 4 * i];
    return theUnit->isPlugged ? DC1394_SUCCESS : DC1394_FAILURE;
}

dc1394error_t dc1394_set_control_registers(dc1394camera_t*, uint64_t offset, const uint32_t* values, uint32_t count)
{
    if (!theUnit->isPlugged)
        return DC1394_FAILURE;
    for (uint32_t i = 0; i < count; ++i)
        theUnit->registers[offset + 4 * i] = values[i];
    if (offset >= kFormat7 && offset < kFormat7 + 0x100)
        theUnit->UpdateFormat7();
    return DC1394_SUCCESS;
}

dc1394error_t dc1394_get_registers(dc1394camera_t* camera, uint64_t offset, uint32_t* values, uint32_t count)
{
    return dc1394_get_control_registers(camera, offset - kCommandBase, values, count);
}

dc1394error_t dc1394_set_registers(dc1394camera_t* camera, uint64_t offset, const uint32_t* values, uint32_t count)
{
    return dc1394_set_control_registers(camera, offset - kCommandBase, values, count);
}

dc1394error_t dc1394_capture_setup(dc1394camera_t*, uint32_t buffers, uint32_t)
{
    const uint32_t speed = theUnit->registers[0x60C] >> 24 & 3;
    if (theUnit->setupError != DC1394_SUCCESS)
        return theUnit->setupError;
    if (!theUnit->isPlugged || speed + DC1394_ISO_SPEED_100 > theUnit->fastestSpeed)
        return DC1394_IOCTL_FAILURE;
    theUnit->descriptor = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC | EFD_SEMAPHORE);
    auto* memory = static_cast<uint8_t*>(mmap(nullptr, kFrameSize * buffers, PROT_READ | PROT_WRITE,
                                              MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
    dc1394video_frame_t frame{};
    frame.allocated_image_bytes = kFrameSize;
    frame.color_coding = DC1394_COLOR_CODING_YUV422;
    frame.size[0] = 640;
    frame.size[1] = 480;
    frame.image_bytes = kFrameSize;
    frame.data_depth = 8;
    theUnit->frames.assign(buffers, frame);
    theUnit->filled.clear();
    theUnit->unused.clear();
    for (auto& each : theUnit->frames) {
        each.image = std::exchange(memory, memory + kFrameSize);
        theUnit->unused.push_back(&each);
    }
    return DC1394_SUCCESS;
}

dc1394error_t dc1394_iso_allocate_channel(dc1394camera_t*, uint64_t, int*)
{
    return theUnit->isChannelTaken ? DC1394_NO_ISO_CHANNEL : DC1394_SUCCESS;
}

dc1394error_t dc1394_iso_release_channel(dc1394camera_t*, int)
{
    return DC1394_SUCCESS;
}

dc1394error_t dc1394_capture_stop(dc1394camera_t*)
{
    if (!theUnit->isPlugged || theUnit->descriptor < 0)
        return DC1394_IOCTL_FAILURE;
    close(std::exchange(theUnit->descriptor, -1));
    munmap(theUnit->frames.front().image, theUnit->frames.size() * kFrameSize);
    return DC1394_SUCCESS;
}

int dc1394_capture_get_fileno(dc1394camera_t*)
{
    return theUnit->descriptor;
}

dc1394error_t dc1394_capture_dequeue(dc1394camera_t*, dc1394capture_policy_t, dc1394video_frame_t** frame)
{
    *frame = nullptr;
    if (!theUnit->isPlugged)
        return DC1394_IOCTL_FAILURE;
    eventfd_t one = 0;
    if (eventfd_read(theUnit->descriptor, &one) != 0)
        return DC1394_SUCCESS;
    *frame = theUnit->filled.front();
    theUnit->filled.pop_front();
    ++theUnit->framesOut;
    return DC1394_SUCCESS;
}

dc1394error_t dc1394_capture_enqueue(dc1394camera_t*, dc1394video_frame_t* frame)
{
    --theUnit->framesOut;
    theUnit->unused.push_back(frame);
    return DC1394_SUCCESS;
}

dc1394bool_t dc1394_capture_is_frame_corrupt(dc1394camera_t*, dc1394video_frame_t*)
{
    return DC1394_FALSE;
}

} // extern "C"

} // namespace test
