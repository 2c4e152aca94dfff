// SPDX-License-Identifier: MIT
// Controls of a driver that knows the extended calls alone.
#include "platform/digitizer/v4l2/V4L2Controls.h"

#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <map>

using namespace platform;

namespace {

constexpr int64_t kLarge = int64_t{1} << 40;

class Driver : public V4L2System {
public:
    struct Control {
        uint32_t type;
        int64_t minimum, maximum, value;
        uint32_t flags = 0;
    };
    std::map<uint32_t, Control> controls;

    UniqueFD Open(const char*) override { return UniqueFD(::open("/dev/null", O_RDWR | O_CLOEXEC)); }
    int Ioctl(int, unsigned long request, void* argument) override
    {
        if (request == VIDIOC_QUERYCAP)
            static_cast<v4l2_capability*>(argument)->capabilities = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_STREAMING;
        else if (request == VIDIOC_QUERY_EXT_CTRL)
            return Query(*static_cast<v4l2_query_ext_ctrl*>(argument));
        else if (request == VIDIOC_QUERYMENU)
            return Name(*static_cast<v4l2_querymenu*>(argument));
        else if (request == VIDIOC_G_EXT_CTRLS || request == VIDIOC_S_EXT_CTRLS)
            return Transfer(request == VIDIOC_S_EXT_CTRLS, *static_cast<v4l2_ext_controls*>(argument)->controls);
        else if (request != VIDIOC_SUBSCRIBE_EVENT)
            return ENOTTY;
        return 0;
    }

private:
    int Query(v4l2_query_ext_ctrl& query) const
    {
        const auto next = controls.upper_bound(query.id & ~V4L2_CTRL_FLAG_NEXT_CTRL);
        if (next == controls.end())
            return EINVAL;
        const Control& found = next->second;
        query.id = next->first;
        query.type = found.type;
        query.minimum = found.minimum;
        query.maximum = found.maximum;
        query.step = 1;
        query.flags = found.flags;
        return 0;
    }
    // A menu with a hole.
    static int Name(v4l2_querymenu& entry)
    {
        entry.value = 25 * entry.index;
        return entry.index == 1 ? EINVAL : 0;
    }
    int Transfer(bool write, v4l2_ext_control& one)
    {
        Control& found = controls.at(one.id);
        const bool isWide = found.type == V4L2_CTRL_TYPE_INTEGER64;
        if (write)
            found.value = isWide ? one.value64 : one.value;
        isWide ? static_cast<void>(one.value64 = found.value) : static_cast<void>(one.value = int32_t(found.value));
        return 0;
    }
};

TEST(V4L2Controls, OfEachKind)
{
    const auto driver = std::make_shared<Driver>();
    driver->controls = {{1, {V4L2_CTRL_TYPE_INTEGER64, -kLarge, kLarge, kLarge - 1}},
                        {2, {V4L2_CTRL_TYPE_INTEGER64, -9, 9, -3}}, // small, and of 64 bits all the same
                        {3, {V4L2_CTRL_TYPE_INTEGER_MENU, 0, 2, 2}},
                        {4, {V4L2_CTRL_TYPE_BUTTON, 0, 0, 0, V4L2_CTRL_FLAG_WRITE_ONLY}},
                        {5, {V4L2_CTRL_TYPE_STRING, 0, 9, 0, V4L2_CTRL_FLAG_HAS_PAYLOAD}},
                        {6, {V4L2_CTRL_TYPE_INTEGER, 0, 9, 4}}};
    int error = 0;
    V4L2Controls controls(V4L2Device::Open(driver, 0, error));
    const auto read = controls.Read();
    std::map<uint32_t, int64_t> values;
    for (const ImageControl& control : read)
        values[control.identity] = control.value;
    EXPECT_EQ(values, (std::map<uint32_t, int64_t>{{1, kLarge - 1}, {2, -3}, {3, 2}, {4, 0}, {6, 4}}));
    EXPECT_EQ(read[2].choices, (decltype(read[2].choices){{0, "0"}, {2, "50"}}));
    EXPECT_EQ(read[3].kind, ImageControl::Kind::Button);

    const std::tuple<uint32_t, int64_t, Result> writes[] = {
        {1, -kLarge, noErr},       {2, -9, noErr},      {3, 0, noErr}, {4, 1, noErr},
        {1, 2 * kLarge, paramErr}, {5, 0, digiUnimpErr}};
    for (const auto& [identity, value, result] : writes) {
        EXPECT_EQ(controls.Write(identity, value), result) << identity;
        EXPECT_TRUE(result != noErr || driver->controls[identity].value == value) << identity;
    }
    // A control whose range has changed by itself is asked for again.
    driver->controls[6].maximum = 99;
    v4l2_event event{};
    event.u.ctrl.changes = V4L2_EVENT_CTRL_CH_RANGE;
    controls.Changed(event);
    EXPECT_EQ(controls.Read().back().maximum, 99);
}

} // namespace
