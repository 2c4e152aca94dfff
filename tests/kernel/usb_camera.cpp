// SPDX-License-Identifier: MIT
// A USB camera for the emulated machine: this program is the device, plugged into the kernel's virtual host controller
// (vhci_hcd, which speaks USB/IP over a socket), so that the kernel's own driver for USB cameras finds and runs it. It
// follows USB Video Class 1.1, offers YUYV and MJPEG at 320x240, and sends by isochronous transfer, as most cameras do.
// The pictures show the Test Pattern; none is left out, however slow the machine is.
//
//   usb_camera [NUMBER]    the first frame's number, 0 unless given
//
// The camera is plugged in until the program ends.
#include "platform/clock/MonotonicClock.h"
#include "platform/digitizer/testpattern/TestPatternLayout.h"
#include "support/SplicedJpeg.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstring>
#include <deque>
#include <endian.h>
#include <fstream>
#include <iostream>
#include <linux/usb/ch9.h>
#include <linux/usb/video.h>
#include <optional>
#include <poll.h>
#include <string>
#include <string_view>
#include <sys/prctl.h>
#include <sys/socket.h>

using namespace platform;

namespace {

using Bytes = std::vector<uint8_t>;

constexpr int kWidth = 320, kHeight = 240;
constexpr uint32_t kFrameSize = kWidth * kHeight * 2;
constexpr uint32_t kPacketSize = 1024;
constexpr uint32_t kTenASecond = 1'000'000; // in units of 100 ns
constexpr uint8_t kMjpeg = 2;               // the format's number
constexpr uint8_t kStreaming = 1;           // the interface's number

const Bytes kDevice{18, USB_DT_DEVICE, 0, 2, USB_CLASS_MISC, 2, 1, 64, 0x6B, 0x1D, 2, 1, 0, 1, 0, 1, 0, 1};

Bytes Joined(std::initializer_list<Bytes> parts)
{
    Bytes all;
    for (const Bytes& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

constexpr uint8_t kClass = USB_DT_CS_INTERFACE, kIn = USB_DIR_IN | 1;

// The only size, with its bits per second, bytes per frame, and intervals for 10 and 5 frames a second; then the
// meaning of the colours, which are those of sRGB with the matrix of standard television.
const Bytes kFrameAndColors = Joined({
    {0x40, 1, 240, 0, 0, 0xC0, 0x5D, 0, 0, 0x80, 0xBB, 0, 0, 0x58, 2, 0},
    {0x40, 0x42, 0x0F, 0, 2, 0x40, 0x42, 0x0F, 0, 0x80, 0x84, 0x1E, 0},
    {6, kClass, UVC_VS_COLORFORMAT, 1, 1, 4},
});
const Bytes kConfiguration = Joined({
    {9, USB_DT_CONFIG, 224, 0, 2, 1, 0, USB_CONFIG_ATT_ONE, 250},
    {8, USB_DT_INTERFACE_ASSOCIATION, 0, 2, USB_CLASS_VIDEO, 3, 0, 0},
    {9, USB_DT_INTERFACE, 0, 0, 0, USB_CLASS_VIDEO, UVC_SC_VIDEOCONTROL, 0, 0},
    {13, kClass, UVC_VC_HEADER, 0x10, 1, 40, 0, 0, 0x6C, 0xDC, 2, 1, kStreaming},
    {18, kClass, UVC_VC_INPUT_TERMINAL, 1, 1, 2, 0, 0, 0, 0, 0, 0, 0, 0, 3, 0, 0, 0}, // a camera
    {9, kClass, UVC_VC_OUTPUT_TERMINAL, 2, 1, 1, 0, 1, 0},
    {9, USB_DT_INTERFACE, kStreaming, 0, 0, USB_CLASS_VIDEO, UVC_SC_VIDEOSTREAMING, 0, 0}, // while it rests
    {15, kClass, UVC_VS_INPUT_HEADER, 2, 133, 0, kIn, 0, 2, 0, 0, 0, 1, 0, 0},
    {27, kClass, UVC_VS_FORMAT_UNCOMPRESSED, 1, 1, 'Y', 'U', 'Y', '2', 0, 0, 16, 0},
    {0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71, 16, 1, 0, 0, 0, 0},
    {34, kClass, UVC_VS_FRAME_UNCOMPRESSED, 1, 0},
    kFrameAndColors,
    {11, kClass, UVC_VS_FORMAT_MJPEG, kMjpeg, 1, 1, 1, 0, 0, 0, 0},
    {34, kClass, UVC_VS_FRAME_MJPEG, 1, 0},
    kFrameAndColors,
    {9, USB_DT_INTERFACE, kStreaming, 1, 1, USB_CLASS_VIDEO, UVC_SC_VIDEOSTREAMING, 0, 0}, // while it sends
    {7, USB_DT_ENDPOINT, kIn, USB_ENDPOINT_XFER_ISOC | USB_ENDPOINT_SYNC_ASYNC, 0, 4, 1},
});

Bytes StringDescriptor(int index)
{
    if (index == 0)
        return {4, USB_DT_STRING, 0x09, 0x04}; // in American English
    Bytes text{0, USB_DT_STRING};
    for (const char letter : std::string_view("USB Test Camera"))
        text.insert(text.end(), {static_cast<uint8_t>(letter), 0});
    text[0] = static_cast<uint8_t>(text.size());
    return text;
}

/// The descriptor of a kind and number; nothing for one that this device does not have.
std::optional<Bytes> FindDescriptor(int kind, int index)
{
    if (kind == USB_DT_DEVICE)
        return kDevice;
    if (kind == USB_DT_CONFIG)
        return kConfiguration;
    if (kind == USB_DT_STRING)
        return StringDescriptor(index);
    return std::nullopt;
}

/// What the host and the camera have agreed upon, as USB Video Class 1.1 transfers it; the lowest byte first, like
/// this machine.
struct __attribute__((packed)) Agreement {
    uint16_t hint = 0;
    uint8_t format = 1, frame = 1;
    uint32_t interval = kTenASecond;
    uint16_t compression[5] = {};
    uint32_t frameSize = kFrameSize, packetSize = kPacketSize, clock = 48'000'000;
    uint8_t rest[4] = {};
};
static_assert(sizeof(Agreement) == 34);

/// A message's first 48 bytes; all numbers have their highest byte first. Its names are those of requests; an answer
/// has its status instead of the flags.
struct Header {
    uint32_t command, sequence, device, direction, endpoint, flags, length, firstFrame, packets, interval;
    usb_ctrlrequest setup;
};
static_assert(sizeof(Header) == 48);
enum Command : uint32_t { Submit = 1, Unlink, Submitted, Unlinked };

struct Packet {
    uint32_t offset, length, actual, status;
};

class Camera {
public:
    Camera(int socket, uint32_t first) : socket(socket), number(first), picture(kFrameSize)
    {
        DrawPatternBackground(Surface(), false);
    }

    /// Serves the host until it leaves.
    void Run()
    {
        for (;;) {
            const int64_t left = streaming && packets.empty() ? std::max<int64_t>(due - MonotonicNow(), 0) : -1;
            pollfd ready{socket, POLLIN, 0};
            const int pause = left < 0 ? -1 : static_cast<int>((left + 999'999) / 1'000'000);
            if (poll(&ready, 1, pause) != 0 && !Receive())
                return;
            if (streaming && packets.empty() && MonotonicNow() >= due)
                MakeFrame();
            while (!packets.empty() && !requests.empty())
                SendPackets();
        }
    }

private:
    /// A transfer that waits for frames.
    struct Request {
        uint32_t sequence;
        std::vector<Packet> packets;
    };

    PatternSurface Surface() { return {picture.data(), kYuvsPixelFormat, kWidth, kHeight, kWidth * 2}; }

    bool Receive()
    {
        Header header;
        if (!Read(&header, sizeof(header)))
            return false;
        const uint32_t sequence = be32toh(header.sequence);
        if (be32toh(header.command) == Unlink) {
            const uint32_t unlinked = be32toh(header.flags);
            const bool found = std::erase_if(requests, [=](const auto& one) { return one.sequence == unlinked; }) > 0;
            Send(Unlinked, sequence, found ? -ECONNRESET : 0, 0, 0);
            return true;
        }
        Bytes data(be32toh(header.direction) == 0 ? be32toh(header.length) : 0);
        if (!Read(data.data(), data.size()))
            return false;
        if (be32toh(header.endpoint) == 0) {
            AnswerControl(sequence, header.setup, data);
            return true;
        }
        Request request{sequence, std::vector<Packet>(be32toh(header.packets))};
        if (!Read(request.packets.data(), request.packets.size() * sizeof(Packet)))
            return false;
        requests.push_back(std::move(request));
        return true;
    }

    void AnswerControl(uint32_t sequence, const usb_ctrlrequest& setup, const Bytes& data)
    {
        const int kind = setup.bRequestType << 8 | setup.bRequest;
        const uint16_t value = le16toh(setup.wValue);
        const uint16_t index = le16toh(setup.wIndex);
        std::optional<Bytes> answer;
        if (kind == (USB_DIR_IN << 8 | USB_REQ_GET_DESCRIPTOR))
            answer = FindDescriptor(value >> 8, value & 0xFF);
        else if ((setup.bRequestType & USB_TYPE_MASK) == USB_TYPE_STANDARD)
            answer = Bytes(setup.bRequestType & USB_DIR_IN ? 2 : 0);
        else if (index == kStreaming)
            answer = AnswerStreaming(setup.bRequest, data);
        if (kind == (USB_RECIP_INTERFACE << 8 | USB_REQ_SET_INTERFACE))
            Stream(value != 0);
        if (!answer)
            return Send(Submitted, sequence, -EPIPE, 0, 0);
        answer->resize(std::min<size_t>(answer->size(), le16toh(setup.wLength)));
        const size_t done = setup.bRequestType & USB_DIR_IN ? answer->size() : data.size();
        Send(Submitted, sequence, 0, done, 0, *answer);
    }

    /// Takes the format and interval that the host asks for.
    std::optional<Bytes> AnswerStreaming(int request, const Bytes& data)
    {
        if (request == UVC_SET_CUR && data.size() >= 8) {
            std::memcpy(reinterpret_cast<uint8_t*>(&agreed), data.data(), 8);
            return Bytes();
        }
        if (request == UVC_GET_INFO)
            return Bytes{UVC_CONTROL_CAP_GET | UVC_CONTROL_CAP_SET};
        if (request == UVC_GET_LEN)
            return Bytes{sizeof(agreed), 0};
        Bytes answer(sizeof(agreed));
        std::memcpy(answer.data(), &agreed, sizeof(agreed));
        return answer;
    }

    void Stream(bool wanted)
    {
        streaming = wanted;
        packets.clear();
        due = MonotonicNow();
    }

    void MakeFrame()
    {
        DrawPatternFrame(Surface(), number++, false);
        const Bytes bytes = agreed.format == kMjpeg ? SplicedJpeg(picture, kWidth, kHeight, 470).Join() : picture;
        odd = !odd;
        constexpr size_t room = kPacketSize - 2;
        for (size_t at = 0; at < bytes.size(); at += room) {
            const size_t end = std::min(at + room, bytes.size());
            const int flags = UVC_STREAM_EOH | (odd ? UVC_STREAM_FID : 0) | (end == bytes.size() ? UVC_STREAM_EOF : 0);
            Bytes packet{2, static_cast<uint8_t>(flags)};
            packet.insert(packet.end(), bytes.begin() + static_cast<ptrdiff_t>(at),
                          bytes.begin() + static_cast<ptrdiff_t>(end));
            packets.push_back(std::move(packet));
        }
        due = std::max(due + int64_t{agreed.interval} * 100, MonotonicNow());
    }

    /// Fills the next transfer, as far as the frame goes.
    void SendPackets()
    {
        Request request = std::move(requests.front());
        requests.pop_front();
        Bytes data;
        for (Packet& packet : request.packets) {
            packet.actual = packet.status = 0;
            if (packets.empty())
                continue;
            data.insert(data.end(), packets.front().begin(), packets.front().end());
            packet.actual = htobe32(static_cast<uint32_t>(packets.front().size()));
            packets.pop_front();
        }
        const auto size = data.size();
        const auto* list = reinterpret_cast<const uint8_t*>(request.packets.data());
        data.insert(data.end(), list, list + request.packets.size() * sizeof(Packet));
        Send(Submitted, request.sequence, 0, size, request.packets.size(), data);
    }

    void Send(Command command, uint32_t sequence, int status, size_t length, size_t count, const Bytes& data = {})
    {
        Header header{};
        header.command = htobe32(command);
        header.sequence = htobe32(sequence);
        header.flags = htobe32(static_cast<uint32_t>(status));
        header.length = htobe32(static_cast<uint32_t>(length));
        header.packets = htobe32(static_cast<uint32_t>(count));
        Write(&header, sizeof(header));
        Write(data.data(), data.size());
    }

    void Write(const void* from, size_t size)
    {
        const auto* bytes = static_cast<const uint8_t*>(from);
        while (size > 0) {
            const ssize_t some = send(socket, bytes, size, MSG_NOSIGNAL);
            if (some <= 0)
                return;
            bytes += some;
            size -= static_cast<size_t>(some);
        }
    }

    bool Read(void* target, size_t size)
    {
        return size == 0 || recv(socket, target, size, MSG_WAITALL) == static_cast<ssize_t>(size);
    }

    const int socket;
    uint32_t number;
    Bytes picture;
    Agreement agreed;
    bool streaming = false;
    bool odd = false; ///< changes with each frame and is in each packet
    int64_t due = 0;
    std::deque<Bytes> packets;    ///< what is left of the present frame
    std::deque<Request> requests; ///< in the order in which they came
};

} // namespace

int main(int count, char** arguments)
{
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0)
        return 1;
    std::ofstream port("/sys/devices/platform/vhci_hcd.0/attach");
    port << "0 " << ends[1] << " 65537 " << USB_SPEED_HIGH << std::flush; // the first port, any number as its address
    close(ends[1]);
    if (!port) {
        std::cerr << "usb_camera: the virtual host controller takes no device\n";
        return 1;
    }
    Camera(ends[0], count > 1 ? static_cast<uint32_t>(std::stoul(arguments[1])) : 0).Run();
    return 0;
}
