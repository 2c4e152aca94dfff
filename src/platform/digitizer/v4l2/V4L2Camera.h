// SPDX-License-Identifier: MIT
#pragma once

#include "platform/digitizer/v4l2/V4L2Controls.h"
#include "platform/digitizer/v4l2/V4L2Stream.h"

namespace platform {

/// An open camera or capture card of the kernel's V4L2 interface.
class V4L2Camera final : public CaptureDevice {
public:
    /// A camera on that open device.
    explicit V4L2Camera(std::shared_ptr<V4L2Device> opened) : device(std::move(opened)), controls(device) {}
    ~V4L2Camera() override { V4L2Camera::End(); }

    std::vector<CaptureFormat> Formats() override;
    CaptureFormat PresentFormat() override { return CurrentFormat(*device); }
    Outcome Prepare() override;
    Outcome Begin(const CaptureFormat& wanted, bool sameSize, CaptureFormat& actual) override;
    void End() override;
    pollfd Waiting() const override { return {device->Descriptor(), POLLIN | POLLPRI, 0}; }
    int Poll(std::span<pollfd> descriptors, int milliseconds) override
    {
        return device->System().Poll(descriptors, milliseconds);
    }
    Taken Take(short events, CapturedFrame& frame) override;
    bool GiveBack() override { return stream->GiveBack() || Failed(stream->LastError()); }
    Taken Silent() override;
    Outcome Failure() const override { return failure; }

    std::vector<ImageControl> ReadControls() override { return controls.Read(); }
    Result WriteControl(uint32_t identity, int64_t value) override { return controls.Write(identity, value); }

    std::vector<std::string> Inputs() override;
    int Input() override;
    Result SelectInput(int input) override;
    std::vector<std::string> Standards() override;
    int Standard() override;
    Result SelectStandard(int standard) override;

private:
    bool SourceChanged();
    bool Failed(int error);
    void FollowKeyFrames(Taken taken, uint32_t sequence);

    const std::shared_ptr<V4L2Device> device;
    V4L2Controls controls;
    std::vector<V4L2Offer> offers;
    std::unique_ptr<V4L2Stream> stream;
    uint32_t keyFrameRequestsMet = 0;
    uint32_t lastSequence = 0;
    Outcome failure;
};

} // namespace platform
