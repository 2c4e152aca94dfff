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

/// A source as described by the sound server.
struct PulseSourceInfo {
    /// A port of the source, such as a microphone socket.
    struct Port {
        std::string name; ///< the server's own
        std::string description;
        bool unplugged = false;
        bool operator==(const Port&) const = default;
    };

    uint32_t index = PA_INVALID_INDEX; ///< the server's index, a new one each time the source is plugged in
    std::string name;                  ///< the server's persistent name
    std::string description;
    std::vector<Port> ports;
    int port = 0; ///< index of the one in use
    bool isDefault = false;
    bool isMonitor = false;
    bool isMuted = false;
    pa_cvolume volume{};
    pa_channel_map channels{};

    /// The number of channel pairs to choose from: of a device with more than two channels, one pair is recorded.
    int Pairs() const { return channels.channels > 2 ? (channels.channels + 1) / 2 : 1; }

    /// Names of the selectable inputs, for the user: each port, with each of its channel pairs.
    std::vector<std::string> InputNames() const;

    /// Whether nothing is plugged into the port in use.
    bool IsUnplugged() const { return !ports.empty() && ports[static_cast<size_t>(port)].unplugged; }

    /// Whether both look the same in a list, which does not show the volume and the port in use.
    bool LooksLike(const PulseSourceInfo& other) const
    {
        return name == other.name && description == other.description && ports == other.ports &&
               isDefault == other.isDefault && channels.channels == other.channels.channels;
    }
};

/// The connection to the sound server (PulseAudio, or PipeWire's replacement of it).
class PulseServer {
public:
    /// The connection of this process, created at the first call.
    static std::shared_ptr<PulseServer> Shared();

    /// Does not connect yet. Use `Shared`.
    PulseServer();
    ~PulseServer();
    PulseServer(const PulseServer&) = delete;
    PulseServer& operator=(const PulseServer&) = delete;

    /// Starts to connect, unless connected, without waiting.
    void Prepare();

    /// All sources: microphones, then those with nothing plugged in, then monitors, each kind with the default one
    /// first; empty without a server. Connects if necessary and waits for 80 ms at most; a list that arrives later is
    /// reported to the sound watchers.
    std::vector<PulseSourceInfo> Sources();

    /// Whether the first list of a server is still to come.
    bool IsListPending();

    /// The last known state of a source, without waiting.
    std::optional<PulseSourceInfo> Find(const std::string& name);

    /// Sends a request to the server.
    using Request = std::function<pa_operation*(pa_context* context, pa_context_success_cb_t done, void* argument)>;
    /// Changes a source of the server and waits for the answer; on success `amend` makes the change in the list.
    /// `siInputDeviceErr` without a server, if it refuses, or if it does not answer within 200 ms.
    Result Change(const std::string& name, const Request& request, const std::function<void(PulseSourceInfo&)>& amend);

    /// The owner of a stream. Called with the loop locked.
    class Client {
    public:
        virtual ~Client() = default;
        /// Opens the stream if it is wanted and missing, and checks an open one. Returns false to be called again soon.
        virtual bool UpdateStream(pa_context* context) = 0;
        /// Whether the stream is wanted.
        virtual bool WantsStream() const = 0;
        /// Called when the connection is lost, which ends the stream.
        virtual void ConnectionLost() = 0;
    };

    // With the loop locked:
    void Add(Client& client);                       ///< adds a client, which must be removed before it is destroyed
    void Remove(Client& client);                    ///< removes a client
    pa_context* Context() const { return context; } ///< the connection; null while there is none
    void UpdateStreamsLater();                      ///< lets the timer retry the connection and missing streams

    /// Locks the loop: no callback runs meanwhile. Does nothing in a callback, where it is locked.
    class Lock {
    public:
        /// Locks the loop of `server`.
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
    void UpdateStreams();
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

    // Guarded by the mutex. Lock order: the loop's lock first, then the mutex.
    std::mutex mutex;
    std::condition_variable answered;
    std::vector<PulseSourceInfo> sources;
    Link link = Link::Down;
    bool running = false;
    std::chrono::steady_clock::time_point deadline;
};

} // namespace platform
