// SPDX-License-Identifier: MIT
// The connection to the sound server.
//
// The library's main loop runs on its own thread, and all calls of the library are made with the loop's lock held. The
// list of sources, which the main thread reads most, has its own mutex, so that a busy or hanging server cannot block
// it.
//
// The link is Down (not tried, refused or lost), Connecting (the server has not yet sent its first list) or Up. The
// first caller that needs the list connects. From then on, while a client wants a stream or watches the list, a timer
// retries: twice a second, or less often if no stream is wanted and no server has been seen. Each list that arrives,
// and the same timer, let the clients open missing streams.
#include "platform/sound/PulseServer.h"

#include "platform/log/Log.h"
#include "platform/sound/SoundWatcher.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace platform {
namespace {

using namespace std::chrono_literals;

constexpr auto kMaxListWait = 80ms;
constexpr auto kMaxAnswerWait = 200ms;
constexpr pa_usec_t kRetryMicroseconds = 500'000;
constexpr pa_usec_t kRareRetryMicroseconds = 4'000'000; // if no server has been seen and no stream is wanted

PulseServer& ServerOf(void* argument)
{
    return *static_cast<PulseServer*>(argument);
}

std::string TextOrEmpty(const char* text)
{
    return text == nullptr ? std::string() : text;
}

void Release(pa_operation* operation)
{
    if (operation != nullptr)
        pa_operation_unref(operation);
}

PulseSourceInfo InfoOf(const pa_source_info& source, const std::string& defaultSource)
{
    PulseSourceInfo info;
    info.index = source.index;
    info.name = TextOrEmpty(source.name);
    info.description = TextOrEmpty(source.description);
    info.isDefault = info.name == defaultSource;
    info.isMonitor = source.monitor_of_sink != PA_INVALID_INDEX;
    info.isMuted = source.mute != 0;
    info.volume = source.volume;
    info.channels = source.channel_map;
    for (uint32_t i = 0; i < source.n_ports; ++i) {
        const pa_source_port_info& port = *source.ports[i];
        if (&port == source.active_port)
            info.port = static_cast<int>(i);
        info.ports.push_back(
            {TextOrEmpty(port.name), TextOrEmpty(port.description), port.available == PA_PORT_AVAILABLE_NO});
    }
    return info;
}

} // namespace

std::vector<std::string> PulseSourceInfo::InputNames() const
{
    std::vector<std::string> names;
    const size_t count = ports.empty() && Pairs() > 1 ? 1 : ports.size();
    for (size_t i = 0; i < count; ++i) {
        std::string name;
        if (i < ports.size())
            name = (ports[i].description.empty() ? ports[i].name : ports[i].description) +
                   (ports[i].unplugged ? " (unplugged)" : "");
        for (int first = 1; Pairs() > 1 && first <= channels.channels; first += 2)
            names.push_back(name + (name.empty() ? "Channel " : ", channel ") + std::to_string(first) +
                            (first < channels.channels ? " and " + std::to_string(first + 1) : ""));
        if (Pairs() == 1)
            names.push_back(name);
    }
    return names;
}

std::shared_ptr<PulseServer> PulseServer::Shared()
{
    static const auto server = std::make_shared<PulseServer>();
    return server;
}

PulseServer::PulseServer() : loop(pa_threaded_mainloop_new()), api(pa_threaded_mainloop_get_api(loop))
{
    // The library's lock uses data that its thread initializes when it starts: wait for that.
    pa_mainloop_api_once(
        api,
        [](pa_mainloop_api*, void* argument) {
            PulseServer& server = ServerOf(argument);
            const std::lock_guard lock(server.mutex);
            server.running = true;
            server.answered.notify_all();
        },
        this);
    pa_threaded_mainloop_set_name(loop, "sound server");
    if (pa_threaded_mainloop_start(loop) < 0)
        return;
    std::unique_lock lock(mutex);
    answered.wait(lock, [this] { return running; });
}

PulseServer::~PulseServer()
{
    pa_threaded_mainloop_stop(loop);
    if (timer != nullptr)
        api->time_free(timer);
    if (context != nullptr) {
        pa_context_set_state_callback(context, nullptr, nullptr);
        pa_context_disconnect(context);
        pa_context_unref(context);
    }
    pa_threaded_mainloop_free(loop);
}

std::vector<PulseSourceInfo> PulseServer::Sources()
{
    Prepare();
    std::unique_lock lock(mutex);
    answered.wait_until(lock, deadline, [this] { return link != Link::Connecting; });
    return sources;
}

bool PulseServer::IsListPending()
{
    const std::lock_guard lock(mutex);
    return link == Link::Connecting;
}

std::optional<PulseSourceInfo> PulseServer::Find(const std::string& name)
{
    const std::lock_guard lock(mutex);
    const auto found = std::ranges::find(sources, name, &PulseSourceInfo::name);
    return found == sources.end() ? std::nullopt : std::optional(*found);
}

// Creating a context may itself access a display or files, so the loop's thread does it.
void PulseServer::Prepare()
{
    {
        const std::lock_guard lock(mutex);
        if (link != Link::Down)
            return;
        link = Link::Connecting;
        deadline = std::chrono::steady_clock::now() + kMaxListWait;
    }
    const Lock lock(*this);
    pa_mainloop_api_once(
        api, [](pa_mainloop_api*, void* argument) { ServerOf(argument).Connect(); }, this);
}

void PulseServer::Connect()
{
    if (context != nullptr)
        return;
    {
        const std::lock_guard lock(mutex);
        if (std::exchange(link, Link::Connecting) == Link::Down)
            deadline = std::chrono::steady_clock::now() + kMaxListWait;
    }
    context = pa_context_new(api, "Velmora");
    pa_context_set_state_callback(
        context, [](pa_context*, void* argument) { ServerOf(argument).ContextChanged(); }, this);
    // Most failures have already been reported to the state callback.
    if (pa_context_connect(context, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0 && context != nullptr)
        Disconnect();
}

void PulseServer::ContextChanged()
{
    const pa_context_state_t state = pa_context_get_state(context);
    if (!PA_CONTEXT_IS_GOOD(state)) {
        soundLog.Write(wasUp ? LogLevel::Warning : LogLevel::Debug,
                       "connection to the sound server: ", pa_strerror(pa_context_errno(context)));
        Disconnect();
    } else if (state == PA_CONTEXT_READY) {
        pa_context_set_subscribe_callback(
            context,
            [](pa_context*, pa_subscription_event_type_t, uint32_t, void* argument) {
                ServerOf(argument).RequestList();
            },
            this);
        const auto mask =
            static_cast<pa_subscription_mask_t>(PA_SUBSCRIPTION_MASK_SOURCE | PA_SUBSCRIPTION_MASK_SERVER);
        Release(pa_context_subscribe(context, mask, nullptr, nullptr));
        RequestList();
    }
}

void PulseServer::Disconnect()
{
    pa_context_set_state_callback(context, nullptr, nullptr);
    pa_context_set_subscribe_callback(context, nullptr, nullptr);
    for (Client* client : clients)
        client->ConnectionLost();
    pa_context_unref(std::exchange(context, nullptr));
    listing = listAgain = false;
    Publish({}, Link::Down);
    if (IsWanted())
        UpdateStreamsLater();
}

// Two requests, answered in order: the default source, and all sources. If a change is reported while the answers are
// pending they may be out of date, so the list is requested again.
void PulseServer::RequestList()
{
    if (listing) {
        listAgain = true;
        return;
    }
    listing = true;
    listAgain = false;
    arriving.clear();
    Release(pa_context_get_server_info(
        context,
        [](pa_context*, const pa_server_info* info, void* argument) {
            if (info != nullptr)
                ServerOf(argument).defaultSource = TextOrEmpty(info->default_source_name);
        },
        this));
    Release(pa_context_get_source_info_list(
        context,
        [](pa_context*, const pa_source_info* info, int end, void* argument) {
            PulseServer& server = ServerOf(argument);
            if (end == 0)
                server.arriving.push_back(InfoOf(*info, server.defaultSource));
            else
                server.ListArrived();
        },
        this));
}

void PulseServer::ListArrived()
{
    listing = false;
    if (listAgain) {
        RequestList();
        return;
    }
    std::ranges::stable_sort(arriving, {}, [](const PulseSourceInfo& source) {
        return std::tuple(source.isMonitor, source.IsUnplugged(), !source.isDefault);
    });
    soundLog.Info("list of ", arriving.size(), " sources");
    wasUp = true;
    Publish(std::move(arriving), Link::Up);
    UpdateStreams();
}

void PulseServer::Publish(std::vector<PulseSourceInfo> list, Link state)
{
    bool isUnchanged = false;
    {
        const std::lock_guard lock(mutex);
        isUnchanged = std::ranges::equal(sources, list, &PulseSourceInfo::LooksLike);
        sources = std::move(list);
        link = state;
    }
    answered.notify_all();
    if (!isUnchanged)
        NoteSoundSourcesChanged();
}

Result PulseServer::Change(const std::string& name, const Request& request,
                           const std::function<void(PulseSourceInfo&)>& amend)
{
    struct Answer {
        PulseServer* server;
        std::optional<bool> success;
    } answer{this, {}};
    const auto done = [](pa_context*, int success, void* argument) {
        auto& waiting = *static_cast<Answer*>(argument);
        const std::lock_guard lock(waiting.server->mutex);
        waiting.success = success != 0;
        waiting.server->answered.notify_all();
    };
    pa_operation* operation = nullptr;
    {
        const Lock lock(*this);
        if (context != nullptr)
            operation = request(context, done, &answer);
    }
    if (operation == nullptr)
        return siInputDeviceErr;
    {
        std::unique_lock lock(mutex);
        answered.wait_for(lock, kMaxAnswerWait, [&] { return answer.success.has_value(); });
    }
    const Lock lock(*this);
    pa_operation_cancel(operation); // the answer can no longer arrive
    pa_operation_unref(operation);
    soundLog.Info(name, ": change ", answer.success ? *answer.success ? "done" : "refused" : "not answered");
    if (!answer.success.value_or(false))
        return siInputDeviceErr;
    const std::lock_guard listLock(mutex);
    if (const auto found = std::ranges::find(sources, name, &PulseSourceInfo::name); found != sources.end())
        amend(*found);
    return noErr;
}

void PulseServer::Add(Client& client)
{
    clients.push_back(&client);
}

void PulseServer::Remove(Client& client)
{
    std::erase(clients, &client);
}

bool PulseServer::IsWanted() const
{
    return wasUp || SoundSourcesAreWatched() || std::ranges::any_of(clients, &Client::WantsStream);
}

void PulseServer::UpdateStreamsLater()
{
    if (timer != nullptr)
        return;
    timeval soon{};
    pa_gettimeofday(&soon);
    const bool urgent = wasUp || std::ranges::any_of(clients, &Client::WantsStream);
    pa_timeval_add(&soon, urgent ? kRetryMicroseconds : kRareRetryMicroseconds);
    timer = api->time_new(
        api, &soon,
        [](pa_mainloop_api* loopApi, pa_time_event* event, const timeval*, void* argument) {
            loopApi->time_free(event);
            ServerOf(argument).timer = nullptr;
            ServerOf(argument).UpdateStreams();
        },
        this);
}

void PulseServer::UpdateStreams()
{
    if (context == nullptr) {
        Connect();
        return;
    }
    bool complete = true;
    for (Client* client : clients)
        complete = client->UpdateStream(context) && complete;
    if (!complete)
        UpdateStreamsLater();
}

} // namespace platform
