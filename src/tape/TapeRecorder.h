// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dv/Deck.h"
#include "tape/TapeWriter.h"

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>

namespace velmora {

/// How to record a tape.
struct TapeJob {
    bool rewind = false;       ///< rewind the tape first
    bool play = false;         ///< start the deck, and stop it at the end; otherwise the user does
    double signalSeconds = 10; ///< seconds without a picture after which the tape has ended
    double seconds = 0;        ///< length in seconds; 0: the whole tape
};

/// Records what a deck plays: operates its transport, takes the frames, and ends with the tape.
///
/// Frames are buffered in memory while the disk is slow or the deck answers slowly; frames that do not fit are counted
/// as lost.
class TapeRecorder : private platform::DvStreamSink {
public:
    enum class State { Rewinding, WaitingForPicture, Recording, Done };
    enum class Outcome {
        Recorded,
        NoDeck,     ///< it left, does not respond, or can't be connected
        NoPicture,  ///< the tape is blank, or there is none
        Unwritable, ///< see `Problem` of the writer
    };

    /// Prepares a recording from a device; `Step` starts it.
    TapeRecorder(std::shared_ptr<platform::Bus> bus, const platform::BusDevice& device, const TapeJob& job,
                 TapeOutputs outputs);
    ~TapeRecorder() override;
    TapeRecorder(const TapeRecorder&) = delete;
    TapeRecorder& operator=(const TapeRecorder&) = delete;

    /// Does what is due. Call it a few times per second, and whenever `WaitForFrames` returns.
    State Step();

    /// Waits for frames, at most that many milliseconds.
    void WaitForFrames(int milliseconds);

    /// Ends the recording and completes the files. Does nothing the second time.
    void Finish();

    /// How the recording ended.
    Outcome Ended() const { return outcome; }
    /// Why the recording ended, in one line; empty before.
    const std::string& Reason() const { return reason; }

    /// The writer, for its counts and files.
    const TapeWriter& Writer() const { return writer; }

    /// Maximum number of frames in memory.
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
    bool wasPlaying = false; ///< according to the last response of the deck
    bool stopsDeck = false;  ///< whether it was started here, so that it must be stopped here
    int64_t nextLook = 0;
    int64_t lastAnswer = 0; ///< of the deck, while it rewinds
    int64_t lastFrame = 0;  ///< when the last one was processed, or the wait for the first one started

    std::mutex mutex; // guards the following
    std::condition_variable arrived;
    std::deque<Frame> waiting;
    uint32_t lost = 0; ///< since the last frame in `waiting`
    bool streamFailed = false;
};

} // namespace velmora
