// SPDX-License-Identifier: MIT
#pragma once

#include "platform/clock/MonotonicClock.h"
#include "platform/digitizer/v4l2/V4L2Device.h"
#include "support/FrameCollector.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <sys/eventfd.h>
#include <thread>

/// A V4L2 device in memory. Set up before it is plugged in; `Emit` lets it deliver.
struct SimulatedCamera {
    struct Format {
        uint32_t pixelFormat = V4L2_PIX_FMT_YUYV;
        std::vector<v4l2_frmsizeenum> sizes;     ///< empty: the device can't list them
        std::vector<v4l2_frmivalenum> intervals; ///< empty: the same
    };
    struct Control {
        int64_t minimum = 0;
        int64_t maximum = 0;
        uint8_t step = 1;
        int64_t value = 0;
        uint32_t type = V4L2_CTRL_TYPE_INTEGER;
        uint32_t flags = 0;
    };
    struct Frame {
        std::vector<uint8_t> bytes;
        uint32_t sequence = 0;
        uint32_t flags = V4L2_BUF_FLAG_TIMESTAMP_MONOTONIC;
        int64_t time = 0; ///< nanoseconds; 0: now
    };

    int node = 0;
    std::string card = "Simulated Camera";
    std::string busInfo = "usb-1";
    uint32_t capabilities = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_STREAMING;
    std::vector<Format> formats;
    std::map<uint32_t, Control> controls; ///< by identity
    bool takesExtendedCalls = false;      ///< for its controls, and no others
    v4l2_pix_format now{};                ///< as it is set
    v4l2_fract interval{1, 30};
    uint32_t padding = 0;               ///< bytes that each row has behind its pixels
    std::array<uint32_t, 4> reported{}; ///< color space, encoding, quantization, transfer function
    uint32_t bufferSize = 65536;
    bool busy = false; ///< another process has its buffers
    int openError = 0;
    std::string driver = "simulated";
    /// Answers a call in the driver's place: 0 or an error number; nothing leaves the call to the usual answer.
    std::function<std::optional<int>(SimulatedCamera&, unsigned long request, void* argument)> peculiarity;

    static v4l2_frmsizeenum Discrete(uint32_t width, uint32_t height)
    {
        v4l2_frmsizeenum size{};
        size.type = V4L2_FRMSIZE_TYPE_DISCRETE;
        size.discrete = {width, height};
        return size;
    }
    static v4l2_frmivalenum Interval(uint32_t numerator, uint32_t denominator)
    {
        v4l2_frmivalenum one{};
        one.type = V4L2_FRMIVAL_TYPE_DISCRETE;
        one.discrete = {numerator, denominator};
        return one;
    }
    /// A camera that offers one format and size at 30 frames a second, and is set to it.
    static SimulatedCamera Simple(uint32_t pixelFormat = V4L2_PIX_FMT_YUYV, uint32_t width = 16, uint32_t height = 4)
    {
        SimulatedCamera camera;
        camera.formats = {{pixelFormat, {Discrete(width, height)}, {Interval(1, 30)}}};
        camera.now.pixelformat = pixelFormat;
        camera.now.width = width;
        camera.now.height = height;
        return camera;
    }
};

/// The cameras of a machine. Any call can be made to fail, at any turn.
class SimulatedCameras : public platform::V4L2System {
public:
    using Camera = SimulatedCamera;
    static constexpr unsigned long kMap = 1, kOpen = 2, kPoll = 3; ///< stand for other calls among the requests

    void Plug(Camera camera)
    {
        const std::lock_guard lock(mutex);
        Slot slot;
        slot.camera = std::move(camera);
        slots[slot.camera.node] = std::move(slot);
        ++listChanges;
    }

    void Unplug(int node)
    {
        const std::lock_guard lock(mutex);
        slots.erase(node);
        ++listChanges;
        for (const auto& [descriptor, at] : open)
            if (at == node)
                eventfd_write(descriptor, 1);
    }

    Camera At(int node)
    {
        const std::lock_guard lock(mutex);
        return slots.at(node).camera;
    }

    /// Puts a frame into the next buffer; waits until the device streams and has one. False after ten seconds.
    bool Emit(int node, Camera::Frame frame)
    {
        std::unique_lock lock(mutex);
        const auto ready = [&] { return slots.contains(node) && slots[node].streaming && !slots[node].queued.empty(); };
        if (!changed.wait_for(lock, std::chrono::seconds(10), ready))
            return false;
        Slot& slot = slots[node];
        const uint32_t index = slot.queued.front();
        slot.queued.pop_front();
        std::copy_n(frame.bytes.begin(), std::min<size_t>(frame.bytes.size(), slot.camera.bufferSize),
                    slot.memory[index].begin());
        slot.done.push_back({index, std::move(frame)});
        eventfd_write(slot.streamer, 1);
        return true;
    }

    /// Calls of that kind fail after `skipped` others.
    void Fail(unsigned long request, int error, int skipped = 0)
    {
        const std::lock_guard lock(mutex);
        failures[request] = {error, skipped};
    }
    void FailNothing()
    {
        const std::lock_guard lock(mutex);
        failures.clear();
    }

    /// Whether the device of a node neither streams nor has buffers, and none is mapped: so it must be after a stop.
    bool IsIdle(int node)
    {
        const std::lock_guard lock(mutex);
        return !slots[node].streaming && slots[node].memory.empty() && mapped == 0;
    }

    platform::UniqueFD Open(const char* path) override
    {
        const std::lock_guard lock(mutex);
        const int node = std::stoi(std::string(path).substr(10));
        if (!slots.contains(node)) {
            errno = ENOENT;
            return {};
        }
        ++calls[kOpen];
        if (slots[node].camera.openError != 0) {
            errno = slots[node].camera.openError;
            return {};
        }
        platform::UniqueFD descriptor(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC));
        open[descriptor.Get()] = node;
        return descriptor;
    }

    int Ioctl(int descriptor, unsigned long request, void* argument) override
    {
        const bool isOfControls = request == VIDIOC_QUERYCTRL || request == VIDIOC_G_CTRL || request == VIDIOC_S_CTRL;
        if (isOfControls && hangControls) {
            std::this_thread::sleep_for(std::chrono::seconds(2)); // the fault itself: a camera that does not answer
            return ETIMEDOUT;
        }
        const std::lock_guard lock(mutex);
        ++calls[request];
        const auto at = open.find(descriptor);
        if (at == open.end() || !slots.contains(at->second))
            return ENODEV;
        if (const int error = Failure(request); error != 0)
            return error;
        Slot& slot = slots[at->second];
        const auto peculiar =
            slot.camera.peculiarity ? slot.camera.peculiarity(slot.camera, request, argument) : std::nullopt;
        const int error = peculiar ? *peculiar : Answer(slot, descriptor, request, argument);
        changed.notify_all();
        return error;
    }

    void* Map(int descriptor, size_t, int64_t offset) override
    {
        const std::lock_guard lock(mutex);
        if (const int error = Failure(kMap); error != 0) {
            errno = error;
            return nullptr;
        }
        ++mapped;
        return slots[open[descriptor]].memory[static_cast<size_t>(offset)].data();
    }

    void Unmap(void*, size_t) override
    {
        const std::lock_guard lock(mutex);
        --mapped;
    }

    int Poll(std::span<pollfd> descriptors, int milliseconds) override
    {
        const int ready = V4L2System::Poll(descriptors, milliseconds);
        const std::lock_guard lock(mutex);
        ++calls[kPoll];
        for (auto& descriptor : descriptors) {
            const auto at = open.find(descriptor.fd);
            if (at != open.end() && descriptor.revents != 0 && !slots.contains(at->second))
                descriptor.revents = POLLERR | POLLHUP;
        }
        return ready;
    }

    std::string SerialName(int) override { return {}; }
    NodeLabel LabelOf(int node) override { return {At(node).card, {}, true}; }
    std::vector<int> Nodes() override
    {
        const std::lock_guard lock(mutex);
        std::vector<int> nodes;
        for (const auto& [node, slot] : slots)
            nodes.push_back(node);
        return nodes;
    }
    uint64_t ChangeCount() override { return listChanges; }

    /// How often a call was made.
    int Calls(unsigned long request)
    {
        const std::lock_guard lock(mutex);
        return calls[request];
    }

    std::atomic<bool> hangControls = false;

private:
    struct Slot {
        Camera camera;
        std::vector<std::vector<uint8_t>> memory;
        std::deque<uint32_t> queued;
        std::deque<std::pair<uint32_t, Camera::Frame>> done;
        int streamer = -1;
        bool streaming = false;
    };
    struct PlannedFailure {
        int error = 0;
        int skipped = 0;
    };

    int Failure(unsigned long request)
    {
        PlannedFailure& planned = failures[request];
        if (planned.skipped == 0)
            return planned.error;
        --planned.skipped;
        return 0;
    }

    static int Answer(Slot& slot, int descriptor, unsigned long request, void* argument)
    {
        for (const auto answer : {AnswerFormat, AnswerList, AnswerControl})
            if (const int error = answer(slot.camera, request, argument); error >= 0)
                return error;
        return AnswerStream(slot, descriptor, request, argument);
    }

    template <size_t size> static void CopyText(const std::string& text, uint8_t (&field)[size])
    {
        std::copy_n(text.begin(), std::min(text.size(), size), field);
    }

    static void SetLayout(Camera& camera, v4l2_pix_format& layout)
    {
        const bool packedPairs = layout.pixelformat == V4L2_PIX_FMT_YUYV || layout.pixelformat == V4L2_PIX_FMT_UYVY;
        const uint32_t bytes = packedPairs ? 2 : 1;
        const bool isCompressed = layout.pixelformat == V4L2_PIX_FMT_MJPEG || layout.pixelformat == V4L2_PIX_FMT_H264;
        layout.bytesperline = isCompressed ? 0 : layout.width * bytes + camera.padding;
        layout.colorspace = camera.reported[0];
        layout.ycbcr_enc = camera.reported[1];
        layout.quantization = camera.reported[2];
        layout.xfer_func = camera.reported[3];
    }

    // Each part answers 0 or an error, and -1 for what is another part's.
    static int AnswerFormat(Camera& camera, unsigned long request, void* argument)
    {
        auto& format = *static_cast<v4l2_format*>(argument);
        auto& rate = *static_cast<v4l2_streamparm*>(argument);
        switch (request) {
        case VIDIOC_G_FMT:
            SetLayout(camera, camera.now);
            format.fmt.pix = camera.now;
            return 0;
        case VIDIOC_TRY_FMT:
        case VIDIOC_S_FMT:
            if (std::ranges::find(camera.formats, format.fmt.pix.pixelformat, &Camera::Format::pixelFormat) ==
                camera.formats.end())
                return EINVAL;
            SetLayout(camera, format.fmt.pix);
            if (request == VIDIOC_S_FMT)
                camera.now = format.fmt.pix;
            return request == VIDIOC_S_FMT && camera.busy ? EBUSY : 0;
        case VIDIOC_S_PARM:
            camera.interval = rate.parm.capture.timeperframe;
            return 0;
        case VIDIOC_G_PARM:
            rate.parm.capture.timeperframe = camera.interval;
            return 0;
        default:
            return -1;
        }
    }

    template <typename Entry>
    static int AnswerFrom(const Camera& camera, std::vector<Entry> Camera::Format::*list, Entry& entry)
    {
        const auto found = std::ranges::find(camera.formats, entry.pixel_format, &Camera::Format::pixelFormat);
        const uint32_t index = entry.index;
        if (((*found).*list).empty())
            return ENOTTY;
        if (index >= ((*found).*list).size())
            return EINVAL;
        entry = ((*found).*list)[index];
        entry.index = index;
        return 0;
    }

    static int AnswerList(Camera& camera, unsigned long request, void* argument)
    {
        switch (request) {
        case VIDIOC_QUERYCAP: {
            auto& capability = *static_cast<v4l2_capability*>(argument);
            CopyText(camera.driver, capability.driver);
            CopyText(camera.card, capability.card);
            CopyText(camera.busInfo, capability.bus_info);
            capability.capabilities = V4L2_CAP_DEVICE_CAPS;
            capability.device_caps = camera.capabilities;
            return 0;
        }
        case VIDIOC_ENUM_FMT: {
            auto& entry = *static_cast<v4l2_fmtdesc*>(argument);
            if (entry.index >= camera.formats.size())
                return EINVAL;
            entry.pixelformat = camera.formats[entry.index].pixelFormat;
            return 0;
        }
        case VIDIOC_ENUM_FRAMESIZES:
            return AnswerFrom(camera, &Camera::Format::sizes, *static_cast<v4l2_frmsizeenum*>(argument));
        case VIDIOC_ENUM_FRAMEINTERVALS:
            return AnswerFrom(camera, &Camera::Format::intervals, *static_cast<v4l2_frmivalenum*>(argument));
        default:
            return -1;
        }
    }

    static int AnswerControl(Camera& camera, unsigned long request, void* argument)
    {
        const bool isExtended = camera.takesExtendedCalls;
        switch (request) {
        case VIDIOC_QUERYCTRL:
            return isExtended ? ENOTTY : Query(camera, *static_cast<v4l2_queryctrl*>(argument));
        case VIDIOC_QUERY_EXT_CTRL:
            return isExtended ? Query(camera, *static_cast<v4l2_query_ext_ctrl*>(argument)) : ENOTTY;
        case VIDIOC_G_CTRL:
        case VIDIOC_S_CTRL:
            return isExtended ? ENOTTY
                              : Transfer(camera, request == VIDIOC_S_CTRL, *static_cast<v4l2_control*>(argument));
        case VIDIOC_G_EXT_CTRLS:
        case VIDIOC_S_EXT_CTRLS:
            return isExtended ? Transfer(camera, request == VIDIOC_S_EXT_CTRLS,
                                         *static_cast<v4l2_ext_controls*>(argument)->controls)
                              : ENOTTY;
        case VIDIOC_SUBSCRIBE_EVENT:
            return isExtended ? 0 : ENOTTY;
        case VIDIOC_QUERYMENU: { // a menu with a hole
            auto& entry = *static_cast<v4l2_querymenu*>(argument);
            entry.value = 25 * entry.index;
            return entry.index == 1 ? EINVAL : 0;
        }
        default:
            return -1;
        }
    }

    template <typename Record> static int Query(const Camera& camera, Record& query)
    {
        const bool isStep = (query.id & V4L2_CTRL_FLAG_NEXT_CTRL) != 0;
        const auto found =
            isStep ? camera.controls.upper_bound(query.id & ~V4L2_CTRL_FLAG_NEXT_CTRL) : camera.controls.find(query.id);
        if (found == camera.controls.end())
            return EINVAL;
        const Camera::Control& control = found->second;
        query.id = found->first;
        query.type = control.type;
        query.minimum = static_cast<decltype(query.minimum)>(control.minimum);
        query.maximum = static_cast<decltype(query.maximum)>(control.maximum);
        query.step = control.step;
        query.flags = control.flags;
        return 0;
    }

    template <typename Record> static int Transfer(Camera& camera, bool isWrite, Record& record)
    {
        const auto found = camera.controls.find(record.id);
        if (found == camera.controls.end())
            return EINVAL;
        int64_t& value = found->second.value;
        if constexpr (requires { record.value64; })
            if (found->second.type == V4L2_CTRL_TYPE_INTEGER64) {
                isWrite ? value = record.value64 : record.value64 = value;
                return 0;
            }
        isWrite ? value = record.value : record.value = static_cast<int32_t>(value);
        return 0;
    }

    static int AnswerStream(Slot& slot, int descriptor, unsigned long request, void* argument)
    {
        auto& buffer = *static_cast<v4l2_buffer*>(argument);
        switch (request) {
        case VIDIOC_REQBUFS: {
            auto& wish = *static_cast<v4l2_requestbuffers*>(argument);
            if (slot.camera.busy || (slot.streamer >= 0 && slot.streamer != descriptor))
                return EBUSY;
            slot.memory.assign(wish.count, std::vector<uint8_t>(slot.camera.bufferSize));
            slot.streamer = wish.count == 0 ? -1 : descriptor;
            slot.queued.clear();
            slot.done.clear();
            return 0;
        }
        case VIDIOC_QUERYBUF:
            buffer.length = slot.camera.bufferSize;
            buffer.m.offset = buffer.index;
            return 0;
        case VIDIOC_QBUF:
            slot.queued.push_back(buffer.index);
            return 0;
        case VIDIOC_DQBUF:
            return TakeDone(slot, buffer);
        case VIDIOC_STREAMON:
            slot.streaming = true;
            return 0;
        case VIDIOC_STREAMOFF:
            slot.streaming = false;
            return 0;
        default:
            return ENOTTY;
        }
    }

    static int TakeDone(Slot& slot, v4l2_buffer& buffer)
    {
        eventfd_t count = 0;
        eventfd_read(slot.streamer, &count);
        if (slot.done.empty())
            return EAGAIN;
        const auto [index, frame] = std::move(slot.done.front());
        slot.done.pop_front();
        if (!slot.done.empty())
            eventfd_write(slot.streamer, 1);
        buffer.index = index;
        buffer.bytesused = static_cast<uint32_t>(frame.bytes.size());
        buffer.sequence = frame.sequence;
        buffer.flags = frame.flags;
        const int64_t time = frame.time == 0 ? platform::MonotonicNow() : frame.time;
        buffer.timestamp = {static_cast<time_t>(time / 1'000'000'000),
                            static_cast<suseconds_t>(time % 1'000'000'000 / 1000)};
        return 0;
    }

    std::mutex mutex;
    std::condition_variable changed;
    std::map<int, Slot> slots;
    std::map<int, int> open; // descriptor to node; a number may come back for another node
    std::map<unsigned long, PlannedFailure> failures;
    std::map<unsigned long, int> calls;
    std::atomic<uint64_t> listChanges = 1;
    size_t mapped = 0;
};

/// Tests of a machine with simulated cameras.
class V4L2Test : public testing::Test {
protected:
    void SetUp() override { platform::V4L2System::SetCurrent(cameras); }
    void TearDown() override { platform::V4L2System::SetCurrent(nullptr); }

    void Open(const SimulatedCamera& camera)
    {
        cameras->Plug(camera);
        digitizer = platform::OpenDigitizer();
        ASSERT_EQ(digitizer->Name(), camera.card);
    }
    void Start(const SimulatedCamera& camera)
    {
        Open(camera);
        ASSERT_EQ(digitizer->Start(frames), platform::noErr);
    }

    /// Has the first camera send a frame, and waits until it has arrived.
    bool Deliver(uint32_t sequence, size_t size = 128)
    {
        const size_t before = frames.Seen().size();
        return cameras->Emit(0, {std::vector<uint8_t>(size), sequence}) && frames.WaitFor(before + 1);
    }

    std::shared_ptr<SimulatedCameras> cameras = std::make_shared<SimulatedCameras>();
    FrameCollector frames;
    std::unique_ptr<platform::Digitizer> digitizer;
};
