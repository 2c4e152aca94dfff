// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/ResultCodes.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <pulse/pulseaudio.h>
#include <string>
#include <vector>

namespace platform {

/// One source as the sound server describes it.
struct PulseSourceInfo {
    struct Port {
        std::string name; ///< the server's own
        std::string description;
        bool unplugged = false;
        bool operator==(const Port&) const = default;
    };

    uint32_t index = PA_INVALID_INDEX; ///< the server's own, another one each time that the source is plugged in
    std::string name;                  ///< the server's own, the same on the next day
    std::string description;
    std::vector<Port> ports;
    int port = 0; ///< index of the one in use
    bool isDefault = false;
    bool isMonitor = false;
    bool isMuted = false;
    pa_cvolume volume{};
    pa_channel_map channels{};

    /// Pairs of channels to choose from: a device with more than two is recorded two at a time.
    int Pairs() const { return channels.channels > 2 ? (channels.channels + 1) / 2 : 1; }

    /// What can be chosen, by names for people: each port, and of each one its pairs of channels.
    std::vector<std::string> InputNames() const;

    bool IsUnplugged() const { return !ports.empty() && ports[static_cast<size_t>(port)].unplugged; }

    /// Whether a list shows both alike: the volume and the port in use don't matter.
    bool LooksLike(const PulseSourceInfo& other) const
    {
        return name == other.name && description == other.description && ports == other.ports &&
               isDefault == other.isDefault && channels.channels == other.channels.channels;
    }
};

/// The connection to the sound server.
class PulseServer {
public:
    /// The process's own connection, made at the first call.
    static std::shared_ptr<PulseServer> Shared();

    PulseServer();
    ~PulseServer();
    PulseServer(const PulseServer&) = delete;
    PulseServer& operator=(const PulseServer&) = delete;

    /// Connects when that has not been tried or has failed, without waiting.
    void Prepare();

    /// All sources: microphones, those with nothing plugged in, monitors, each kind with the default one first; empty
    /// while there is no
    /// server. Connects when that has not been tried or has failed, and waits for at most 80 ms; what comes later
    /// reaches the sound watchers.
    std::vector<PulseSourceInfo> Sources();

    /// Whether there is a server that has not yet sent its first list.
    bool AnswerIsDue();

    /// The last known state of a source, without waiting.
    std::optional<PulseSourceInfo> Find(const std::string& name);

    /// Asks the server for a change of that source and waits for its answer; a success is noted by `amend` at once.
    /// `siInputDeviceErr` without a server, for a refusal, or for no answer within 200 ms.
    using Request = std::function<pa_operation*(pa_context* context, pa_context_success_cb_t done, void* argument)>;
    Result Change(const std::string& name, const Request& request, const std::function<void(PulseSourceInfo&)>& amend);

    /// Something that keeps a stream while it wants one. Called with the loop locked.
    class Client {
    public:
        virtual ~Client() = default;
        /// Opens the stream if it is wanted, missing and possible, and looks after one that is there. False when it
        /// wants to be called again soon.
        virtual bool Tend(pa_context* context) = 0;
        virtual bool WantsStream() const = 0;
        virtual void ConnectionLost() = 0;
    };

    // With the loop locked:
    void Add(Client& client);
    void Remove(Client& client);
    pa_context* Context() const { return context; }
    void TendLater();

    /// Holds the loop's thread off: no callback runs meanwhile. Within a callback that is so anyhow.
    class Lock {
    public:
        explicit Lock(PulseServer& server) : loop(pa_threaded_mainloop_in_thread(server.loop) ? nullptr : server.loop)
        {
            if (loop != nullptr)
                pa_threaded_mainloop_lock(loop);
        }
        ~Lock()
        {
            if (loop != nullptr)
                pa_threaded_mainloop_unlock(loop);
        }
        Lock(const Lock&) = delete;
        Lock& operator=(const Lock&) = delete;

    private:
        pa_threaded_mainloop* loop;
    };

private:
    enum class Link { Down, Connecting, Up };

    void Connect();
    void Disconnect();
    void ContextChanged();
    void RequestList();
    void ListArrived();
    void Publish(std::vector<PulseSourceInfo> list, Link state);
    void Tend();
    bool IsWanted() const;

    pa_threaded_mainloop* loop;
    pa_mainloop_api* api;

    // Guarded by the loop's lock.
    pa_context* context = nullptr;
    pa_time_event* timer = nullptr;
    std::vector<Client*> clients;
    std::vector<PulseSourceInfo> arriving;
    std::string defaultSource;
    bool listing = false;
    bool listAgain = false;
    bool wasUp = false;

    // Guarded by the mutex, which is taken inside of the loop's lock and never the other way round.
    std::mutex mutex;
    std::condition_variable answered;
    std::vector<PulseSourceInfo> sources;
    Link link = Link::Down;
    bool running = false;
    std::chrono::steady_clock::time_point deadline;
};

} // namespace platform
