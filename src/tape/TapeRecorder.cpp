// SPDX-License-Identifier: MIT
// A tape from the deck to its files.
//
// The state of the deck is queried twice a second. A tape has ended if the deck has stopped playing on its own, as it
// does at the end of the tape, or if no picture has arrived for a while: this covers a deck that does not respond, one
// without a tape subunit, and one that is operated by hand.
#include "tape/TapeRecorder.h"

#include "platform/clock/MonotonicClock.h"

#include <utility>

namespace velmora {
namespace {

using namespace platform;

constexpr int64_t kLookInterval = kNanosecondsPerSecond / 2;
constexpr int64_t kAnswerPatience = 10 * kNanosecondsPerSecond;

int64_t Nanoseconds(double seconds)
{
    return static_cast<int64_t>(seconds * kNanosecondsPerSecond);
}

} // namespace

TapeRecorder::TapeRecorder(std::shared_ptr<Bus> givenBus, const BusDevice& given, const TapeJob& wanted,
                           TapeOutputs outputs)
    : bus(std::move(givenBus)), device(given), job(wanted), deck(bus, given.guid), writer(std::move(outputs))
{
}

TapeRecorder::~TapeRecorder()
{
    if (stream)
        stream->Stop();
}

TapeRecorder::State TapeRecorder::Step()
{
    if (!std::exchange(begun, true))
        Begin();
    if (state == State::Rewinding && MonotonicNow() >= nextLook)
        LookAtRewinding();
    if (state == State::WaitingForPicture || state == State::Recording)
        TakeFrames();
    if ((state == State::WaitingForPicture || state == State::Recording) && MonotonicNow() >= nextLook)
        LookAtDeck();
    return state;
}

void TapeRecorder::Begin()
{
    if (!writer.Problem().empty())
        return End(Outcome::Unwritable, writer.Problem());
    if (!job.rewind)
        return StartStream();
    if (deck.Do(kDeckRewind) != noErr)
        return End(Outcome::NoDeck, device.name + " does not rewind.");
    lastAnswer = MonotonicNow();
    nextLook = lastAnswer + kLookInterval;
}

void TapeRecorder::LookAtRewinding()
{
    const int64_t now = MonotonicNow();
    nextLook = now + kLookInterval;
    const auto present = deck.State();
    lastAnswer = present ? now : lastAnswer;
    if (present && !present->IsWinding())
        StartStream();
    else if (now - lastAnswer > kAnswerPatience)
        End(Outcome::NoDeck, device.name + " does not answer.");
}

void TapeRecorder::StartStream()
{
    stream = bus->OpenStream(device.guid);
    if (!stream || stream->Start(*this) != noErr) {
        const std::string why = stream ? stream->Reason() : std::string();
        return End(Outcome::NoDeck, why.empty() ? device.name + " is not connected." : why);
    }
    if (job.play && deck.Do(kDeckPlay) != noErr)
        return End(Outcome::NoDeck, device.name + " does not play. Is there a tape in it?");
    stopsDeck = job.play;
    state = State::WaitingForPicture;
    lastFrame = MonotonicNow();
    nextLook = lastFrame + kLookInterval;
}

void TapeRecorder::LookAtDeck()
{
    const int64_t now = MonotonicNow();
    nextLook = now + kLookInterval;
    bool hasLeft = false;
    {
        const std::lock_guard lock(mutex);
        if (!waiting.empty())
            return; // process these first
        hasLeft = streamFailed;
    }
    if (hasLeft)
        return End(Outcome::NoDeck, device.name + " has left the bus.");
    const bool isSilent = now - lastFrame > Nanoseconds(job.signalSeconds);
    if (state == State::Recording) {
        const auto present = deck.State();
        wasPlaying = wasPlaying || (present && present->IsPlaying());
        const bool hasStopped = wasPlaying && present && (present->IsStopped() || present->IsWinding());
        stopsDeck = stopsDeck && !hasStopped;
        if (hasStopped)
            End(Outcome::Recorded, "The tape has ended.");
        else if (isSilent)
            End(Outcome::Recorded, "No picture arrived for a while.");
    } else if (isSilent && job.play) {
        End(Outcome::NoPicture, "There is no picture from " + device.name + ": the tape is blank, or there is none.");
    }
}

void TapeRecorder::TakeFrames()
{
    std::deque<Frame> taken;
    {
        const std::lock_guard lock(mutex);
        taken.swap(waiting);
    }
    for (const Frame& frame : taken) {
        if (!writer.Add(frame.bytes, frame.isWhole, frame.lostBefore))
            return End(Outcome::Unwritable, writer.Problem());
        lastFrame = MonotonicNow();
        if (state == State::WaitingForPicture)
            state = State::Recording;
        if (TimeIsOver())
            return End(Outcome::Recorded, "The requested time is over.");
    }
}

bool TapeRecorder::TimeIsOver() const
{
    double seconds = 0;
    for (const TapeFileReport& file : writer.Files())
        seconds += file.Seconds();
    return job.seconds > 0 && seconds >= job.seconds;
}

void TapeRecorder::WaitForFrames(int milliseconds)
{
    std::unique_lock lock(mutex);
    arrived.wait_for(lock, std::chrono::milliseconds(milliseconds),
                     [this] { return !waiting.empty() || streamFailed; });
}

void TapeRecorder::End(Outcome how, std::string why)
{
    if (state == State::Done)
        return;
    state = State::Done;
    outcome = how;
    reason = std::move(why);
    if (stream)
        stream->Stop();
    // Frames that arrived up to here belong to the tape, but not to the requested time, which is over.
    if (how != Outcome::Unwritable && !TimeIsOver())
        TakeFrames();
    if (stopsDeck && how != Outcome::NoDeck)
        deck.Do(kDeckStop);
    if (!writer.Finish() && outcome == Outcome::Recorded) {
        outcome = Outcome::Unwritable;
        reason = writer.Problem();
    }
}

void TapeRecorder::Finish()
{
    End(state == State::Recording ? Outcome::Recorded : Outcome::NoPicture, "Stopped.");
}

// Runs on the stream's thread.

void TapeRecorder::DvFrameArrived(std::span<const uint8_t> frame, bool complete, int64_t /*captureTime*/)
{
    const std::lock_guard lock(mutex);
    if (waiting.size() >= kMaxWaiting) {
        ++lost;
        return;
    }
    waiting.push_back({{frame.begin(), frame.end()}, complete, std::exchange(lost, 0)});
    arrived.notify_all();
}

void TapeRecorder::DvFramesLost(uint32_t count)
{
    const std::lock_guard lock(mutex);
    lost += count;
}

void TapeRecorder::DvStreamFailed(platform::Result)
{
    const std::lock_guard lock(mutex);
    streamFailed = true;
    arrived.notify_all();
}

} // namespace velmora
