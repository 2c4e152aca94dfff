// SPDX-License-Identifier: MIT
#pragma once

#include "platform/digitizer/pipewire/PipeWireHeaders.h"

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace platform {

/// Takes what happens at the server. All calls come from the connection's thread.
class PipeWireEvents {
public:
    virtual ~PipeWireEvents() = default;

    /// The server has begun to answer.
    virtual void ServerAnswers() = 0;

    /// A camera has come. It may be bound through `registry` until `ConnectionEnds`.
    virtual void CameraAdded(pw_registry* registry, uint32_t id) = 0;

    /// An object of any kind has gone.
    virtual void ObjectRemoved(uint32_t id) = 0;

    /// The server has answered all that was asked, or there is no server.
    virtual void AllAnswered() = 0;

    /// The connection is about to close: what was bound through it must be destroyed now.
    virtual void ConnectionEnds() = 0;
};

/// A connection to the PipeWire server, on a thread of its own. It is made again whenever there is a server.
class PipeWireConnection {
public:
    /// Nothing happens before `Start`. `events` outlives the connection.
    explicit PipeWireConnection(PipeWireEvents& events) : events(events) {}
    PipeWireConnection(const PipeWireConnection&) = delete;
    PipeWireConnection& operator=(const PipeWireConnection&) = delete;

    /// Closes the connection and ends the thread.
    ~PipeWireConnection();

    /// Starts to connect, without waiting for anything. False while there is no server: the library is not touched
    /// then. One thread at a time.
    bool Start();

    /// Whether the connection's thread runs.
    bool IsStarted() const { return thread.joinable(); }

    /// Asks for `AllAnswered` once the server has answered everything before this call. On the connection's thread.
    void AskForEnd();

    /// Runs a task on the connection's thread, without waiting for it. From any thread, after the first event.
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

    // The thread's own.
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
