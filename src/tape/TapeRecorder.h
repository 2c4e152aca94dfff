// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dv/Deck.h"
#include "tape/TapeWriter.h"

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>

namespace velmora {

/// How a tape is to be recorded.
struct TapeJob {
    bool rewind = false;       ///< first
    bool play = false;         ///< start the deck, and stop it at the end; else that is done by hand
    double signalSeconds = 10; ///< without a picture after which the tape counts as over
    double seconds = 0;        ///< of tape; 0: all of it
};

/// Records what a deck plays: works its transport, takes the frames, and ends with the tape.
///
/// Frames wait in memory in front of a slow disk or a deck that answers slowly; what finds no room there is counted as
/// lost.
class TapeRecorder : private platform::DvStreamSink {
public:
    enum class State { Rewinding, WaitingForPicture, Recording, Done };
    enum class Outcome {
        Recorded,
        NoDeck,     ///< it left, does not answer, or can't be connected
        NoPicture,  ///< the tape is blank, or there is none
        Unwritable, ///< `Problem` of the writer
    };

    /// Prepares a recording from a device of the bus; `Step` starts it.
    TapeRecorder(std::shared_ptr<platform::Bus> bus, const platform::BusDevice& device, const TapeJob& job,
                 TapeOutputs outputs);
    ~TapeRecorder() override;
    TapeRecorder(const TapeRecorder&) = delete;
    TapeRecorder& operator=(const TapeRecorder&) = delete;

    /// Does what is due. To be called some times a second, at the latest when `WaitForFrames` returns.
    State Step();

    /// Waits until frames have come, for so many milliseconds at the longest.
    void WaitForFrames(int milliseconds);

    /// Ends the recording; the files are completed. Does nothing when that is done.
    void Finish();

    /// How the recording ended, and why, in one line.
    Outcome Ended() const { return outcome; }
    /// Why the recording ended, in one line; empty before.
    const std::string& Reason() const { return reason; }

    /// The writer, for its counts and files.
    const TapeWriter& Writer() const { return writer; }

    /// Frames that may wait in memory.
    static constexpr size_t kMaxWaiting = 500;

private:
    struct Frame {
        std::vector<uint8_t> bytes;
        bool isWhole = true;
        uint32_t lostBefore = 0;
    };

    void DvFrameArrived(std::span<const uint8_t> frame, bool complete, int64_t captureTime) override;
    void DvFramesLost(uint32_t count) override;
    void DvStreamFailed(platform::Result result) override;

    void Begin();
    void LookAtRewinding();
    void StartStream();
    void LookAtDeck();
    void TakeFrames();
    bool TimeIsOver() const;
    void End(Outcome how, std::string why);

    const std::shared_ptr<platform::Bus> bus;
    const platform::BusDevice device;
    const TapeJob job;
    platform::Deck deck;
    TapeWriter writer;
    std::unique_ptr<platform::DvStream> stream;
    State state = State::Rewinding;
    Outcome outcome = Outcome::Recorded;
    std::string reason;
    bool begun = false;
    bool wasPlaying = false; ///< as far as the deck said
    bool stopsDeck = false;  ///< it plays because it was started here
    int64_t nextLook = 0;
    int64_t lastAnswer = 0; ///< of the deck, while it rewinds
    int64_t lastFrame = 0;  ///< when the last one was taken, or the wait for the first one began

    std::mutex mutex; // guards the following
    std::condition_variable arrived;
    std::deque<Frame> waiting;
    uint32_t lost = 0; ///< since the last frame in `waiting`
    bool streamFailed = false;
};

} // namespace velmora
