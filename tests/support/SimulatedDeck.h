// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dv/Bus.h"
#include "support/Await.h"

#include <atomic>
#include <deque>
#include <map>

namespace test {

/// A tape deck according to AV/C: a transport, and the faulty responses of real decks.
class SimulatedDeck {
public:
    enum class Manner { Prompt, InterimThenLate, OnlyInterim, LosesFirstCommand, Silent, AnswersOthersFirst };

    uint8_t transport = 0xC4; ///< opcode of the transport's state: 0xC3 play, 0xC4 wind, 0xC2 record
    uint8_t operand = 0x60;   ///< its operand: 0x60 stopped
    Manner manner = Manner::Prompt;
    std::vector<std::vector<uint8_t>> received;

    /// The frames with which the deck answers a command, in order.
    std::vector<std::vector<uint8_t>> Take(std::vector<uint8_t> command)
    {
        received.push_back(command);
        if (manner == Manner::Silent || (manner == Manner::LosesFirstCommand && received.size() == 1))
            return {};
        auto final = Answer(command);
        if (manner == Manner::InterimThenLate)
            return {With(final, 0x0F), final};
        if (manner == Manner::OnlyInterim)
            return {With(final, 0x0F)};
        if (manner == Manner::AnswersOthersFirst)
            return {{0x09, 0x28, command[2], 0}, {0x09, 0x20, 0x01, 0}, {0x0C}, final};
        return {final};
    }

private:
    std::vector<uint8_t> Answer(std::vector<uint8_t> frame)
    {
        const bool control = frame[0] == 0;
        if (frame[1] != 0x20)
            return With(frame, 0x08);
        if (!control && frame[2] == 0xD0 && frame[3] == 0x7F)
            return {0x0C, 0x20, transport, operand};
        if (!control && frame[2] == 0x51)
            return {0x0C, 0x20, 0x51, 0x71, 0x04, 0x03, 0x02, 0x01}; // frames, seconds, minutes, hours of its tape
        if (!control || frame[2] < 0xC2 || frame[2] > 0xC4)
            return With(frame, 0x08);
        transport = frame[2];
        operand = frame[3];
        return With(frame, 0x09);
    }

    static std::vector<uint8_t> With(std::vector<uint8_t> frame, uint8_t response)
    {
        frame[0] = response;
        return frame;
    }
};

/// A bus with decks on it.
class SimulatedBus : public platform::Bus {
public:
    std::map<uint64_t, SimulatedDeck> decks;
    int resetsToCome = 0; ///< so many writes fail as in a bus reset
    std::atomic<bool> isPlugged{true};

    std::vector<platform::BusDevice> Devices() override
    {
        std::vector<platform::BusDevice> devices;
        for (const auto& deck : isPlugged ? decks : decltype(decks)())
            devices.push_back({deck.first, "Deck"});
        return devices;
    }

    platform::Result SendCommand(uint64_t guid, std::span<const uint8_t> frame) override
    {
        waiting.clear();
        const auto deck = decks.find(guid);
        if (deck == decks.end() || (resetsToCome > 0 && resetsToCome-- > 0))
            return platform::ioErr;
        for (auto& answer : deck->second.Take({frame.begin(), frame.end()}))
            waiting.push_back(std::move(answer));
        return platform::noErr;
    }

    std::optional<std::vector<uint8_t>> NextResponse(uint64_t, std::chrono::milliseconds) override
    {
        if (waiting.empty())
            return std::nullopt;
        auto frame = std::move(waiting.front());
        waiting.pop_front();
        return frame;
    }

    std::unique_ptr<platform::DvStream> OpenStream(uint64_t guid) override
    {
        return isPlugged && decks.contains(guid) ? std::make_unique<Stream>(*this) : nullptr;
    }

    /// The sink of the running stream, which a test feeds with frames; null while none runs.
    std::atomic<platform::DvStreamSink*> streaming{nullptr};

private:
    struct Stream : platform::DvStream {
        explicit Stream(SimulatedBus& owner) : bus(owner) {}
        ~Stream() override { Stream::Stop(); }
        platform::Result Start(platform::DvStreamSink& sink) override
        {
            bus.streaming = &sink;
            return platform::noErr;
        }
        void Stop() override { bus.streaming = nullptr; }
        SimulatedBus& bus;
    };

    std::deque<std::vector<uint8_t>> waiting;
};

/// A machine whose bus has one deck.
struct DeckMachine {
    static constexpr uint64_t kGuid = 0x0011223344556677;

    DeckMachine()
    {
        bus->decks[kGuid];
        platform::SetBusProvider([this] { return bus; });
    }
    ~DeckMachine() { platform::SetBusProvider({}); }

    /// Waits for the stream of the deck.
    platform::DvStreamSink& Stream() const
    {
        platform::DvStreamSink* sink = nullptr;
        Await([&] { return (sink = bus->streaming) != nullptr; });
        return *sink;
    }

    std::shared_ptr<SimulatedBus> bus = std::make_shared<SimulatedBus>();
};

} // namespace test
