#pragma once

#include "platform/digitizer/Digitizer.h"
#include "platform/digitizer/v4l2/V4L2Stream.h"

#include <map>
#include <mutex>
#include <thread>

namespace platform {

/// A device as a look at all nodes finds it.
struct V4L2Found {
    int node = 0;
    std::string name;
    std::string identity; ///< the model, with a number behind it where several devices are of one model
    std::string model;
    std::string place; ///< where it is plugged in
    std::vector<std::string> inputs;
    bool available = true;
};

/// Opens every node from /dev/video0 to /dev/video63 for a moment and tells those that capture.
std::vector<V4L2Found> FindV4L2Devices(const std::shared_ptr<V4L2System>& system);

/// What `ListDigitizers` and `OpenDigitizer` use. Opening gives null for an identity that is not there.
std::vector<DigitizerEntry> ListV4L2Digitizers(const std::shared_ptr<V4L2System>& system);
std::unique_ptr<Digitizer> OpenV4L2Digitizer(const std::shared_ptr<V4L2System>& system, const std::string& identity);

/// A camera or capture card of the kernel's V4L2 interface.
class V4L2Digitizer : public Digitizer {
public:
    /// `twins` are the places of other devices of the same model, which are never taken for this one.
    V4L2Digitizer(std::shared_ptr<V4L2System> system, V4L2Found found, std::vector<std::string> twins);
    ~V4L2Digitizer() override { Stop(); }

    std::string Name() const override { return self.name; }
    std::string Identity() const override { return self.identity; }
    std::vector<std::string> Inputs() const override { return self.inputs; }
    int Input() const override;
    Result SelectInput(int input) override;
    std::vector<std::string> Standards() const override;
    int Standard() const override;
    Result SelectStandard(int standard) override;
    std::vector<CaptureFormat> Formats() const override;
    CaptureFormat Format() const override;
    Result SetFormat(const CaptureFormat& wanted) override;
    Result Start(FrameSink& target) override;
    void Stop() override;
    Result GetAnalog(AnalogControl control, uint16_t& value) const override;
    Result SetAnalog(AnalogControl control, uint16_t value) override;
    std::vector<ImageControl> Controls() const override;
    Result SetControl(uint32_t identity, int64_t value) override;
    Result GetFeature(FourCharCode code, CameraFeature& feature) const override;
    Result SetFeature(FourCharCode code, int32_t value) override;

private:
    enum class End { Stopped, FormatChanged, Failed };
    using MaybeEnd = std::optional<End>; // nothing while delivery goes on

    std::shared_ptr<V4L2Device> Device() const;
    std::shared_ptr<V4L2Device> Reopen();
    void TakeUp(std::shared_ptr<V4L2Device> opened);
    bool OpenAgain();
    std::unique_ptr<V4L2Stream> StreamFrom(V4L2Stream::Size size, Result& result);
    Result BeginStream();
    void Run();
    End Deliver();
    MaybeEnd Answer(short events);
    MaybeEnd DeliverFrame();
    void FollowSource();
    void Adopt(std::unique_ptr<V4L2Stream> begun);
    void EndStream();
    bool WaitForStop(int milliseconds);
    void Halt();
    void Resume();
    void RememberWish(const v4l2_control& wish);
    template <typename Change> Result WhileHalted(Change change);

    const std::shared_ptr<V4L2System> system;
    const std::vector<std::string> twins;
    V4L2Found self; // `node` and `place` follow the device; the others stay

    mutable std::mutex mutex; // guards the following, which both threads use
    std::shared_ptr<V4L2Device> device;
    std::vector<CaptureFormat> formats;
    CaptureFormat wanted;               // what the caller asked for
    CaptureFormat inUse;                // what the device made of it
    std::map<uint32_t, int32_t> wishes; // controls that were set, for a device that comes back with its defaults
    std::optional<int> chosenInput;     // the same for input and standard
    std::optional<v4l2_std_id> chosenStandard;

    // The thread's own while it runs, otherwise the caller's.
    FrameSink* sink = nullptr;
    std::unique_ptr<V4L2Stream> stream;
    uint32_t nextSequence = 0;  // counts on over the restarts of a run
    uint32_t firstSequence = 0; // of the present stream
    bool outageTold = false;    // one outage is told of once
    int restartsWithoutFrame = 0;
    int callsInVain = 0;
    int64_t silenceEnds = 0; // when a device that delivers nothing is given up
    Result failure = noErr;  // why delivery ended

    UniqueFD stopEvent;
    std::thread thread;
};

} // namespace platform
