// SPDX-License-Identifier: MIT
// The connection to the PipeWire server.
//
// The thread runs a loop of the library. Once connected, the registry announces each object. A round trip after the
// last request shows that all answers have arrived. When the connection is lost it is closed by the next turn of the
// loop, since it can't be closed from its own callback, and a timer connects again.
#include "platform/digitizer/pipewire/PipeWireConnection.h"

#include "platform/digitizer/DeviceTimes.h"
#include "platform/log/Log.h"

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <string>
#include <unistd.h>
#include <utility>

namespace platform {
namespace {

timespec TimespecOf(std::chrono::nanoseconds time)
{
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
    return {seconds.count(), (time - seconds).count()};
}

// Whether there is a socket to connect to.
bool IsServerThere()
{
    const char* remote = getenv("PIPEWIRE_REMOTE");
    const std::string name = remote == nullptr ? "pipewire-0" : remote;
    if (name.starts_with('/'))
        return access(name.c_str(), F_OK) == 0;
    for (const char* variable : {"PIPEWIRE_RUNTIME_DIR", "XDG_RUNTIME_DIR"})
        if (const char* folder = getenv(variable); folder != nullptr)
            return access((std::string(folder) + "/" + name).c_str(), F_OK) == 0;
    return access(("/run/pipewire/" + name).c_str(), F_OK) == 0;
}

} // namespace

PipeWireConnection::~PipeWireConnection()
{
    if (!thread.joinable())
        return;
    {
        std::unique_lock lock(mutex);
        changed.wait(lock, [this] { return isSetUp; });
        if (loop != nullptr)
            pw_loop_signal_event(pw_main_loop_get_loop(loop), quit);
    }
    thread.join();
}

bool PipeWireConnection::Start()
{
    if (!thread.joinable() && IsServerThere())
        thread = std::thread([this] { Work(); });
    return thread.joinable();
}

// The caller of the destructor uses loop and event until it releases the mutex.
void PipeWireConnection::Work()
{
    pw_init(nullptr, nullptr);
    if (SetUp()) {
        Connect();
        pw_main_loop_run(loop);
        Disconnect();
    } else {
        digitizerLog.Warning("PipeWire: no context: ", ErrorText(errno));
        events.AllAnswered();
    }
    if (context != nullptr)
        pw_context_destroy(context);
    const std::lock_guard lock(mutex);
    if (loop != nullptr)
        pw_main_loop_destroy(std::exchange(loop, nullptr));
}

bool PipeWireConnection::SetUp()
{
    pw_main_loop* made = pw_main_loop_new(nullptr);
    if (made != nullptr) {
        pw_loop* turns = pw_main_loop_get_loop(made);
        retryTimer = pw_loop_add_timer(
            turns, [](void* self, uint64_t) { static_cast<PipeWireConnection*>(self)->CheckServer(); }, this);
        quit = pw_loop_add_event(
            turns, [](void* self, uint64_t) { pw_main_loop_quit(static_cast<PipeWireConnection*>(self)->loop); }, this);
        context = pw_context_new(turns, nullptr, 0);
    }
    const std::lock_guard lock(mutex);
    loop = made;
    isSetUp = true;
    changed.notify_all();
    return context != nullptr;
}

void PipeWireConnection::LookAgain()
{
    timespec delay = TimespecOf(kRetryInterval);
    pw_loop_update_timer(pw_main_loop_get_loop(loop), retryTimer, &delay, nullptr, false);
}

// The timer fires for an absent server and for a lost connection.
void PipeWireConnection::CheckServer()
{
    if (core == nullptr)
        return Connect();
    Disconnect();
    LookAgain();
}

void PipeWireConnection::Connect()
{
    core = IsServerThere() ? pw_context_connect(context, nullptr, 0) : nullptr;
    if (core == nullptr) {
        digitizerLog.Debug("PipeWire: no server: ", ErrorText(errno));
        events.AllAnswered();
        return LookAgain();
    }
    static const pw_core_events coreEvents = CoreEvents();
    static const pw_registry_events registryEvents = RegistryEvents();
    pw_core_add_listener(core, &coreListener, &coreEvents, this);
    registry = pw_core_get_registry(core, PW_VERSION_REGISTRY, 0);
    pw_registry_add_listener(registry, &registryListener, &registryEvents, this);
    AskForEnd();
}

void PipeWireConnection::Disconnect()
{
    if (core == nullptr)
        return;
    events.ConnectionEnds();
    spa_hook_remove(&registryListener);
    pw_proxy_destroy(reinterpret_cast<pw_proxy*>(registry));
    spa_hook_remove(&coreListener);
    pw_core_disconnect(std::exchange(core, nullptr));
}

void PipeWireConnection::AskForEnd()
{
    lastQuestion = pw_core_sync(core, PW_ID_CORE, 0);
}

void PipeWireConnection::Run(std::function<void()> task)
{
    const std::lock_guard lock(mutex);
    if (loop == nullptr)
        return;
    auto owned = std::make_unique<std::function<void()>>(std::move(task));
    const auto invoke = [](spa_loop*, bool, uint32_t, const void*, size_t, void* data) {
        (*std::unique_ptr<std::function<void()>>(static_cast<std::function<void()>*>(data)))();
        return 0;
    };
    pw_loop_invoke(pw_main_loop_get_loop(loop), invoke, 0, nullptr, 0, false, owned.release());
}

pw_core_events PipeWireConnection::CoreEvents()
{
    pw_core_events handlers{};
    handlers.version = PW_VERSION_CORE_EVENTS;
    handlers.done = [](void* self, uint32_t id, int sequence) {
        auto* connection = static_cast<PipeWireConnection*>(self);
        if (id == PW_ID_CORE && sequence == connection->lastQuestion)
            connection->events.AllAnswered();
    };
    handlers.info = [](void* self, const pw_core_info*) {
        static_cast<PipeWireConnection*>(self)->events.ServerAnswers();
    };
    handlers.error = [](void* self, uint32_t id, int, int result, const char* message) {
        digitizerLog.Debug("PipeWire: object ", id, ": ", ErrorText(-result), ": ", message);
        if (id != PW_ID_CORE || result != -EPIPE)
            return;
        auto* connection = static_cast<PipeWireConnection*>(self);
        digitizerLog.Warning("PipeWire: the server has gone");
        timespec atOnce{0, 1};
        pw_loop_update_timer(pw_main_loop_get_loop(connection->loop), connection->retryTimer, &atOnce, nullptr, false);
    };
    return handlers;
}

pw_registry_events PipeWireConnection::RegistryEvents()
{
    pw_registry_events handlers{};
    handlers.version = PW_VERSION_REGISTRY_EVENTS;
    handlers.global = [](void* self, uint32_t id, uint32_t, const char* type, uint32_t, const spa_dict* properties) {
        const char* kind = properties == nullptr ? nullptr : spa_dict_lookup(properties, PW_KEY_MEDIA_CLASS);
        auto* connection = static_cast<PipeWireConnection*>(self);
        if (std::string_view(type) == PW_TYPE_INTERFACE_Node && kind != nullptr &&
            std::string_view(kind) == "Video/Source")
            connection->events.CameraAdded(connection->registry, id);
    };
    handlers.global_remove = [](void* self, uint32_t id) {
        static_cast<PipeWireConnection*>(self)->events.ObjectRemoved(id);
    };
    return handlers;
}

} // namespace platform
