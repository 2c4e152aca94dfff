// SPDX-License-Identifier: MIT
#pragma once

#include "platform/digitizer/CaptureDevice.h"
#include "platform/threads/ControlThread.h"

#include <map>

namespace platform {

/// A digitizer over a device of any family: formats, requested settings, controls and the thread are shared code.
///
/// The device is open from construction on while it is present, so that its formats and controls can be read at any
/// time. The requested settings (input, standard, format, controls) are kept, and restored on a device that returns
/// with its defaults.
class CameraDigitizer : public Digitizer, private DeviceRun {
public:
    struct Label {
        std::string name;
        std::string identity;
    };
    /// A camera with that label; `opener` opens the device when necessary.
    CameraDigitizer(Label label, DeviceOpener opener);
    ~CameraDigitizer() override { CameraDigitizer::Stop(); }

    std::string Name() const override { return label.name; }
    std::string Identity() const override { return label.identity; }
    std::vector<std::string> Inputs() const override { return inputs; }
    int Input() const override;
    Result SelectInput(int input) override;
    std::vector<std::string> Standards() const override;
    int Standard() const override;
    Result SelectStandard(int standard) override;
    std::vector<CaptureFormat> Formats() const override;
    CaptureFormat Format() const override;
    Result SetFormat(const CaptureFormat& wanted) override;
    Result Start(FrameSink& sink) override { return thread.Start(sink); }
    void Stop() override { thread.Stop(); }
    std::string Reason() const override;
    std::vector<ImageControl> Controls() const override;
    Result SetControl(uint32_t identity, int64_t value) override;

private:
    Result Begin() override;
    void End(Result why) override;
    pollfd Waiting() const override { return running->Waiting(); }
    int Poll(std::span<pollfd> descriptors, int milliseconds) override
    {
        return running->Poll(descriptors, milliseconds);
    }
    Taken Take(short events, CapturedFrame& frame) override;
    bool GiveBack() override { return running->GiveBack(); }
    Result Failure() const override { return running->Failure().result; }
    int64_t SilenceAllowed(bool beforeFirstFrame) const override;
    Taken Silent() override;

    std::shared_ptr<CaptureDevice> Device() const;
    bool Open(Outcome& outcome);
    void Close();
    void TakeUp(const std::shared_ptr<CaptureDevice>& opened);
    void PutControlsBack(const std::shared_ptr<CaptureDevice>& opened) const;
    void ReadFormats(CaptureDevice& opened);
    CaptureFormat FormatToBegin(CaptureDevice& opened);
    Outcome BeginAt(const CaptureFormat& format, bool sameSize);
    Outcome BeginCheaper(const CaptureFormat& refused, Outcome outcome);
    Outcome BeginOpenOrNew();
    Result Conclude(const Outcome& outcome);
    void LogStart(const Outcome& outcome) const;
    void RememberRequest(uint32_t identity, int64_t value);
    template <typename Select> Result ChangeSource(Select select);

    const Label label;
    const DeviceOpener opener;
    std::vector<std::string> inputs;

    mutable std::mutex mutex; // guards the following, which several threads use
    std::shared_ptr<CaptureDevice> device;
    std::vector<CaptureFormat> formats;
    CaptureFormat wanted; ///< as requested, or chosen initially
    CaptureFormat inUse;  ///< as set on the device
    std::string reason;
    std::map<uint32_t, int64_t> requested; ///< values of controls
    std::optional<int> requestedInput;
    std::optional<int> requestedStandard;
    mutable std::vector<ImageControl> known; ///< the controls as last read
    mutable int64_t readTime = 0;            ///< when they were read; 0: read them again

    std::shared_ptr<CaptureDevice> running; ///< owned by the device's thread while it runs
    bool sourceChanged = false;             ///< likewise
    bool isFailing = false;                 ///< likewise; no good frame has arrived since the last failure
    mutable ControlThread controlThread;
    ReconnectingThread thread{*this};
};

} // namespace platform
