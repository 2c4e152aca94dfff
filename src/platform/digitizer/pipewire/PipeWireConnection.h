// SPDX-License-Identifier: MIT
#pragma once

#include "platform/digitizer/pipewire/PipeWireHeaders.h"

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace platform {

/// Receives the events of the server, on the connection's thread.
class PipeWireEvents {
public:
    virtual ~PipeWireEvents() = default;

    /// The server has started to answer.
    virtual void ServerAnswers() = 0;

    /// A camera has appeared. It may be bound through `registry` until `ConnectionEnds`.
    virtual void CameraAdded(pw_registry* registry, uint32_t id) = 0;

    /// An object of any kind has disappeared.
    virtual void ObjectRemoved(uint32_t id) = 0;

    /// The server has answered all requests, or there is no server.
    virtual void AllAnswered() = 0;

    /// The connection is about to close: destroy everything that was bound through it.
    virtual void ConnectionEnds() = 0;
};

/// A connection to the PipeWire server on its own thread. It is restored whenever there is a server.
class PipeWireConnection {
public:
    /// Does nothing before `Start`. `events` must outlive the connection.
    explicit PipeWireConnection(PipeWireEvents& events) : events(events) {}
    PipeWireConnection(const PipeWireConnection&) = delete;
    PipeWireConnection& operator=(const PipeWireConnection&) = delete;

    /// Closes the connection and ends the thread.
    ~PipeWireConnection();

    /// Starts to connect, without waiting. Returns false if there is no server; the library is not used then. One
    /// thread at a time.
    bool Start();

    /// Whether the connection's thread runs.
    bool IsStarted() const { return thread.joinable(); }

    /// Requests `AllAnswered` once the server has answered everything before this call. On the connection's thread.
    void AskForEnd();

    /// Runs a task on the connection's thread, without waiting for it. Any thread, after the first event.
    void Run(std::function<void()> task);

private:
    void Work();
    bool SetUp();
    void Connect();
    void Disconnect();
    void LookAgain();
    void CheckServer();
    static pw_core_events CoreEvents();
    static pw_registry_events RegistryEvents();

    PipeWireEvents& events;
    std::thread thread;

    std::mutex mutex; // guards the following
    std::condition_variable changed;
    pw_main_loop* loop = nullptr;
    bool isSetUp = false;

    // Used by the thread only.
    pw_context* context = nullptr;
    pw_core* core = nullptr;
    pw_registry* registry = nullptr;
    spa_hook coreListener{};
    spa_hook registryListener{};
    spa_source* retryTimer = nullptr;
    spa_source* quit = nullptr;
    int lastQuestion = 0;
};

} // namespace platform
