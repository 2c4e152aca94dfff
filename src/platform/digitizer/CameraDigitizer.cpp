// SPDX-License-Identifier: MIT
#include "platform/digitizer/CameraDigitizer.h"

#include "platform/clock/MonotonicClock.h"
#include "platform/digitizer/DeviceTimes.h"
#include "platform/digitizer/FormatChoice.h"
#include "platform/log/Log.h"

#include <cstdio>

namespace platform {
namespace {

// Windows that read several values in a row get all of them from one reading of the device.
constexpr int64_t kControlsStayFresh = 50 * kNanosecondsPerMillisecond;

std::string TextOfFormat(const CaptureFormat& format)
{
    char text[64];
    std::snprintf(text, sizeof text, "%d × %d at %.4g frames a second", format.width, format.height, format.frameRate);
    return text;
}

std::string LoggedFormat(const CaptureFormat& format)
{
    return "\"" + TextOf(format.format) + "\", " + TextOfFormat(format);
}

} // namespace

int CaptureDevice::Poll(std::span<pollfd> descriptors, int milliseconds)
{
    return ::poll(descriptors.data(), descriptors.size(), milliseconds);
}

int64_t CaptureDevice::SilenceAllowed(bool beforeFirstFrame, double frameRate) const
{
    const std::chrono::nanoseconds usual = beforeFirstFrame ? std::chrono::nanoseconds(kFirstFrameTime) : kSilenceTime;
    const int64_t periods = frameRate > 0 ? static_cast<int64_t>(5e9 / std::max(frameRate, 0.001)) : 0;
    return std::max<int64_t>(usual.count(), periods);
}

CameraDigitizer::CameraDigitizer(Label name, DeviceOpener open) : label(std::move(name)), opener(std::move(open))
{
    Outcome outcome;
    Open(outcome);
    reason = outcome.reason;
    if (!device)
        return;
    inputs = device->Inputs();
    wanted = inUse = FirstFormat(formats, device->PresentFormat());
}

std::shared_ptr<CaptureDevice> CameraDigitizer::Device() const
{
    const std::lock_guard lock(mutex);
    return device;
}

bool CameraDigitizer::Open(Outcome& outcome)
{
    Close();
    outcome = {noDeviceForChannel};
    const auto opened = opener(outcome);
    if (!opened)
        return false;
    outcome = {};
    TakeUp(opened);
    return true;
}

// Makes a newly opened device the one in use, in the requested state. Settings that the device rejects stay as they
// are: a picture in the wrong light is better than none.
void CameraDigitizer::TakeUp(const std::shared_ptr<CaptureDevice>& opened)
{
    std::unique_lock lock(mutex);
    const auto input = requestedInput;
    const auto standard = requestedStandard;
    lock.unlock();
    if (input)
        opened->SelectInput(*input);
    if (standard)
        opened->SelectStandard(*standard);
    PutControlsBack(opened);
    ReadFormats(*opened);
    lock.lock();
    device = opened;
    readTime = 0;
}

void CameraDigitizer::PutControlsBack(const std::shared_ptr<CaptureDevice>& opened) const
{
    ControlValues values;
    {
        const std::lock_guard lock(mutex);
        values.assign(requested.begin(), requested.end());
    }
    if (values.empty())
        return;
    controlThread.Run(
        [opened, values] {
            WriteInOrder(opened->ReadControls(), values,
                         [&](uint32_t identity, int64_t value) { return opened->WriteControl(identity, value); });
        },
        kRestorePatience);
}

void CameraDigitizer::ReadFormats(CaptureDevice& opened)
{
    auto offered = opened.Formats();
    const std::lock_guard lock(mutex);
    formats = std::move(offered);
}

// A source that has changed on its own is followed; the requested settings stay.
CaptureFormat CameraDigitizer::FormatToBegin(CaptureDevice& opened)
{
    const CaptureFormat present = std::exchange(sourceChanged, false) ? opened.PresentFormat() : CaptureFormat();
    const std::lock_guard lock(mutex);
    if (present.format != 0)
        return present;
    return wanted.format != 0 ? NearestFormat(formats, wanted) : FirstFormat(formats);
}

Outcome CameraDigitizer::BeginAt(const CaptureFormat& format, bool sameSize)
{
    CaptureFormat actual = format;
    Outcome outcome = running->Begin(format, sameSize, actual);
    if (!outcome)
        return outcome;
    const std::lock_guard lock(mutex);
    inUse = actual;
    return outcome;
}

Outcome CameraDigitizer::BeginCheaper(const CaptureFormat& refused, Outcome outcome)
{
    const std::string without = outcome.reason + ": " + TextOfFormat(refused) + " is not possible.";
    for (const CaptureFormat& cheaper : CheaperFormats(Formats(), refused)) {
        if (thread.IsStopping())
            break;
        if (const Outcome attempt = BeginAt(cheaper, false))
            return {noErr, without + " The camera delivers " + TextOfFormat(cheaper) + " instead."};
        else if (!attempt.noBandwidth)
            return attempt;
    }
    return {noDeviceForChannel, without};
}

// Starts the device, and opens it if necessary. One that has been open for a long time may have been unplugged and
// plugged in again, or may keep the size of an earlier run: it is opened again before it counts as failed.
Outcome CameraDigitizer::BeginOpenOrNew()
{
    Outcome outcome;
    running = Device();
    const bool wasOpen = running != nullptr;
    for (bool isNew = !wasOpen;; isNew = true) {
        running.reset();
        if (isNew && !Open(outcome))
            return outcome;
        running = Device();
        const Outcome prepared = running->Prepare();
        if (const CaptureFormat format = FormatToBegin(*running); format.format != 0) {
            outcome = BeginAt(format, !isNew);
            if (outcome.noBandwidth)
                return BeginCheaper(format, outcome);
        } else {
            outcome = {deviceCantMeetRequest, "The device offers no picture format that can be used."};
        }
        if (outcome && !prepared)
            outcome.reason = prepared.reason;
        if (outcome || isNew)
            return outcome;
    }
}

Result CameraDigitizer::Conclude(const Outcome& outcome)
{
    const std::lock_guard lock(mutex);
    reason = outcome.reason;
    return outcome.result;
}

// A device that can't be used is closed: another one may take its place.
Result CameraDigitizer::Begin()
{
    const Outcome outcome = BeginOpenOrNew();
    const Result result = outcome.result;
    // The reason of a failure stays valid until the device has shown that it works again.
    if (!isFailing || !outcome || !outcome.reason.empty())
        Conclude(outcome);
    isFailing = isFailing && outcome.reason.empty(); // a remark about the start is kept
    LogStart(outcome);
    if (result != noErr)
        running.reset();
    if (result == noDeviceForChannel)
        Close();
    return result;
}

void CameraDigitizer::LogStart(const Outcome& outcome) const
{
    if (outcome && digitizerLog.Writes(LogLevel::Info))
        digitizerLog.Info(label.name, ": started, ", LoggedFormat(Format()), " ", outcome.reason);
    else if (!outcome)
        digitizerLog.Debug(label.name, ": not started (", outcome.result, "): ", outcome.reason);
}

void CameraDigitizer::End(Result why)
{
    if (why != noErr) {
        Conclude({why, running->Failure().reason});
        isFailing = true;
        digitizerLog.Warning(label.name, ": outage (", why, "): ", Reason());
    }
    running->End();
    running.reset();
    if (why != noErr)
        Close();
}

void CameraDigitizer::Close()
{
    const std::lock_guard lock(mutex);
    device.reset();
}

Taken CameraDigitizer::Take(short events, CapturedFrame& frame)
{
    const Taken taken = running->Take(events, frame);
    if (taken == Taken::Frame && std::exchange(isFailing, false))
        Conclude({});
    if (taken == Taken::Damaged)
        digitizerLog.Debug(label.name, ": damaged frame");
    sourceChanged = taken == Taken::Restart;
    return taken;
}

Taken CameraDigitizer::Silent()
{
    return running->Silent();
}

int64_t CameraDigitizer::SilenceAllowed(bool beforeFirstFrame) const
{
    return running->SilenceAllowed(beforeFirstFrame, Format().frameRate);
}

std::vector<CaptureFormat> CameraDigitizer::Formats() const
{
    const std::lock_guard lock(mutex);
    return formats;
}

CaptureFormat CameraDigitizer::Format() const
{
    const std::lock_guard lock(mutex);
    return inUse;
}

std::string CameraDigitizer::Reason() const
{
    const std::lock_guard lock(mutex);
    return reason;
}

// Undo a format that the device itself rejects.
Result CameraDigitizer::SetFormat(const CaptureFormat& request)
{
    if (digitizerLog.Writes(LogLevel::Info))
        digitizerLog.Info(label.name, ": requested ", LoggedFormat(request));
    CaptureFormat before;
    CaptureFormat nearest;
    {
        const std::lock_guard lock(mutex);
        nearest = NearestFormat(formats, request);
        if (nearest.format == 0)
            return deviceCantMeetRequest;
        before = std::exchange(wanted, nearest);
        if (!thread.IsRunning())
            inUse = nearest;
        if (!thread.IsRunning() || nearest == inUse || nearest == before)
            return noErr;
    }
    const Result result = thread.Around([] { return noErr; });
    if (result == noErr || result == noDeviceForChannel)
        return result;
    thread.Around([&, this] {
        const std::lock_guard lock(mutex);
        wanted = inUse = before;
        return noErr;
    });
    return result;
}

int CameraDigitizer::Input() const
{
    const auto opened = Device();
    if (opened)
        return opened->Input();
    const std::lock_guard lock(mutex);
    return requestedInput.value_or(0);
}

// Changes the source of the picture, on which the formats depend.
template <typename Select> Result CameraDigitizer::ChangeSource(Select select)
{
    return thread.Around([&, this] {
        const auto opened = Device();
        const Result result = opened ? select(*opened) : noDeviceForChannel;
        digitizerLog.Info(label.name, ": another input or standard, result ", result);
        if (result == noErr)
            ReadFormats(*opened);
        return result;
    });
}

Result CameraDigitizer::SelectInput(int input)
{
    if (input < 0 || input >= static_cast<int>(inputs.size()))
        return inputs.empty() ? digiUnimpErr : paramErr;
    if (input == Input())
        return noErr;
    return ChangeSource([&, this](CaptureDevice& opened) {
        const Result result = opened.SelectInput(input);
        const std::lock_guard lock(mutex);
        if (result == noErr)
            requestedInput = input;
        return result;
    });
}

std::vector<std::string> CameraDigitizer::Standards() const
{
    const auto opened = Device();
    return opened ? opened->Standards() : std::vector<std::string>();
}

int CameraDigitizer::Standard() const
{
    const auto opened = Device();
    return opened ? opened->Standard() : 0;
}

Result CameraDigitizer::SelectStandard(int standard)
{
    const auto standards = Standards();
    if (standard < 0 || standard >= static_cast<int>(standards.size()))
        return standards.empty() ? digiUnimpErr : paramErr;
    if (standard == Standard())
        return noErr;
    return ChangeSource([&, this](CaptureDevice& opened) {
        const Result result = opened.SelectStandard(standard);
        const std::lock_guard lock(mutex);
        if (result == noErr)
            requestedStandard = standard;
        return result;
    });
}

std::vector<ImageControl> CameraDigitizer::Controls() const
{
    const auto opened = Device();
    if (!opened)
        return {};
    {
        const std::lock_guard lock(mutex);
        if (readTime != 0 && MonotonicNow() - readTime < kControlsStayFresh)
            return known;
    }
    const auto read = std::make_shared<std::vector<ImageControl>>();
    const bool ended = controlThread.Run([opened, read] { *read = opened->ReadControls(); }, kControlPatience);
    const std::lock_guard lock(mutex);
    if (ended) {
        known = std::move(*read);
        readTime = MonotonicNow();
    }
    return known;
}

// A device that does not respond at once applies the value when it does.
Result CameraDigitizer::SetControl(uint32_t identity, int64_t value)
{
    const auto opened = Device();
    if (!opened)
        return noDeviceForChannel;
    const auto written = std::make_shared<std::atomic<Result>>(noErr);
    controlThread.Run([=] { *written = opened->WriteControl(identity, value); }, kControlPatience);
    const Result result = *written;
    digitizerLog.Info(label.name, ": control ", identity, " set to ", value, ", result ", result);
    if (result == noErr)
        RememberRequest(identity, value);
    const std::lock_guard lock(mutex);
    readTime = 0;
    return result;
}

// A control that was switched to automatic has no requested value any more.
void CameraDigitizer::RememberRequest(uint32_t identity, int64_t value)
{
    const std::lock_guard lock(mutex);
    requested[identity] = value;
    for (const ImageControl& control : known)
        if (control.automaticSwitch == identity && control.manualValue != value)
            requested.erase(control.identity);
}

} // namespace platform
