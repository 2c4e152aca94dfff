// SPDX-License-Identifier: MIT
// Cameras at the PipeWire server.
//
// A thread runs a loop of the library with one connection. Each node of class "Video/Source" is bound; the server then
// sends its properties and answers for its formats and controls. A round trip behind the last question tells when all
// answers are there. When the connection breaks, everything is dropped and a timer tries again.
//
// What the loop's callbacks write and the callers read lies behind one mutex.
#include "platform/digitizer/pipewire/PipeWireNodes.h"

#include "platform/digitizer/pipewire/PipeWireObjects.h"
#include "platform/digitizer/v4l2/V4L2Pictures.h"

#include <cmath>
#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>
#include <unistd.h>

namespace platform {
namespace {

constexpr std::chrono::milliseconds kFirstAnswer{80};
constexpr std::chrono::milliseconds kWholeAnswer{1000};
constexpr timespec kRetryInterval{1, 0};
constexpr int64_t kFractionSteps = 1000;

constexpr std::pair<uint32_t, uint32_t> kFormats[] = {
    {SPA_VIDEO_FORMAT_YUY2, V4L2_PIX_FMT_YUYV},     {SPA_VIDEO_FORMAT_UYVY, V4L2_PIX_FMT_UYVY},
    {SPA_VIDEO_FORMAT_YVYU, V4L2_PIX_FMT_YVYU},     {SPA_VIDEO_FORMAT_VYUY, V4L2_PIX_FMT_VYUY},
    {SPA_VIDEO_FORMAT_NV12, V4L2_PIX_FMT_NV12},     {SPA_VIDEO_FORMAT_NV21, V4L2_PIX_FMT_NV21},
    {SPA_VIDEO_FORMAT_NV16, V4L2_PIX_FMT_NV16},     {SPA_VIDEO_FORMAT_I420, V4L2_PIX_FMT_YUV420},
    {SPA_VIDEO_FORMAT_YV12, V4L2_PIX_FMT_YVU420},   {SPA_VIDEO_FORMAT_RGB, V4L2_PIX_FMT_RGB24},
    {SPA_VIDEO_FORMAT_BGR, V4L2_PIX_FMT_BGR24},     {SPA_VIDEO_FORMAT_BGRx, V4L2_PIX_FMT_XBGR32},
    {SPA_VIDEO_FORMAT_BGRA, V4L2_PIX_FMT_ABGR32},   {SPA_VIDEO_FORMAT_xRGB, V4L2_PIX_FMT_XRGB32},
    {SPA_VIDEO_FORMAT_ARGB, V4L2_PIX_FMT_ARGB32},   {SPA_VIDEO_FORMAT_RGBx, V4L2_PIX_FMT_RGBX32},
    {SPA_VIDEO_FORMAT_RGBA, V4L2_PIX_FMT_RGBA32},   {SPA_VIDEO_FORMAT_xBGR, V4L2_PIX_FMT_BGRX32},
    {SPA_VIDEO_FORMAT_ABGR, V4L2_PIX_FMT_BGRA32},   {SPA_VIDEO_FORMAT_GRAY8, V4L2_PIX_FMT_GREY},
    {SPA_VIDEO_FORMAT_GRAY16_LE, V4L2_PIX_FMT_Y16},
};

// What is offered of a size or a rate that is given as a range.
constexpr spa_rectangle kUsualSizes[] = {{320, 240},  {640, 360},  {640, 480},   {800, 600},
                                         {1280, 720}, {1280, 960}, {1920, 1080}, {3840, 2160}};
constexpr spa_fraction kUsualRates[] = {{60, 1}, {50, 1}, {30, 1}, {25, 1}, {15, 1}};

struct Meaning {
    uint32_t property;
    FourCharCode feature;
    const char* name;
};
constexpr Meaning kMeanings[] = {
    {SPA_PROP_brightness, CodeOf("brit"), "Brightness"},
    {SPA_PROP_contrast, kContrastFeature, "Contrast"},
    {SPA_PROP_saturation, CodeOf("satu"), "Saturation"},
    {SPA_PROP_hue, CodeOf("hue "), "Hue"},
    {SPA_PROP_gamma, CodeOf("gmma"), "Gamma"},
    {SPA_PROP_exposure, CodeOf("xpsr"), "Exposure"},
    {SPA_PROP_gain, CodeOf("gain"), "Gain"},
    {SPA_PROP_sharpness, CodeOf("shrp"), "Sharpness"},
};

bool IsBetween(const spa_rectangle& one, const spa_rectangle& least, const spa_rectangle& most)
{
    return one.width >= least.width && one.height >= least.height && one.width <= most.width &&
           one.height <= most.height;
}

double RateOf(const spa_fraction& fraction)
{
    return fraction.denom == 0 ? 0 : static_cast<double>(fraction.num) / fraction.denom;
}

bool IsBetween(const spa_fraction& one, const spa_fraction& least, const spa_fraction& most)
{
    return RateOf(one) >= RateOf(least) && RateOf(one) <= RateOf(most);
}

/// The values that a property of a parameter may take. The first of a choice is its default; lists repeat it, ranges
/// have least and greatest behind it.
template <typename Value> struct Choice {
    std::vector<Value> values;
    bool isRange = false;
};

template <typename Value> Choice<Value> ValuesOf(const spa_pod* object, uint32_t key, uint32_t type)
{
    Choice<Value> found;
    const spa_pod_prop* property = spa_pod_find_prop(object, nullptr, key);
    if (property == nullptr)
        return found;
    uint32_t count = 0;
    uint32_t choice = SPA_CHOICE_None;
    const spa_pod* pod = spa_pod_get_values(&property->value, &count, &choice);
    if (pod == nullptr || pod->type != type || pod->size < sizeof(Value))
        return found;
    found.isRange = (choice == SPA_CHOICE_Range || choice == SPA_CHOICE_Step) && count >= 3;
    const auto* values = static_cast<const Value*>(SPA_POD_BODY_CONST(pod));
    const uint32_t first = choice == SPA_CHOICE_Enum && count > 1 ? 1 : 0;
    const uint32_t end = choice == SPA_CHOICE_None ? 1 : count;
    for (uint32_t i = first; i < end; ++i)
        found.values.push_back(values[i]);
    return found;
}

template <typename Value, size_t size>
std::vector<Value> Spread(const Choice<Value>& choice, const Value (&usual)[size])
{
    if (!choice.isRange)
        return choice.values;
    const Value& least = choice.values[1];
    const Value& most = choice.values[2];
    std::vector<Value> values;
    std::ranges::copy_if(usual, std::back_inserter(values),
                         [&](const Value& one) { return IsBetween(one, least, most); });
    values.push_back(choice.values[0]);
    values.push_back(most);
    return values;
}

void AddOffer(PipeWireNode& node, uint32_t pixelFormat, const spa_rectangle& size, double rate)
{
    const CaptureFormat format{FormatOfPixelFormat(pixelFormat), static_cast<int32_t>(size.width),
                               static_cast<int32_t>(size.height), rate};
    const bool isUsable =
        size.width >= 1 && size.height >= 1 && size.width <= 16384 && size.height <= 16384 && rate > 0 && rate < 1000;
    if (isUsable &&
        std::ranges::find(node.offers, format, [](const auto& one) { return one.format; }) == node.offers.end())
        node.offers.push_back({format, pixelFormat});
}

void ReadFormat(PipeWireNode& node, const spa_pod* parameter)
{
    uint32_t mediaType = 0;
    uint32_t subtype = 0;
    if (spa_format_parse(parameter, &mediaType, &subtype) < 0 || mediaType != SPA_MEDIA_TYPE_video)
        return;
    std::vector<uint32_t> pixelFormats;
    if (subtype == SPA_MEDIA_SUBTYPE_mjpg)
        pixelFormats.push_back(V4L2_PIX_FMT_MJPEG);
    else if (subtype == SPA_MEDIA_SUBTYPE_raw)
        for (const uint32_t videoFormat : ValuesOf<uint32_t>(parameter, SPA_FORMAT_VIDEO_format, SPA_TYPE_Id).values)
            if (const uint32_t pixelFormat = PixelFormatOfVideoFormat(videoFormat); pixelFormat != 0)
                pixelFormats.push_back(pixelFormat);
    const auto sizes =
        Spread(ValuesOf<spa_rectangle>(parameter, SPA_FORMAT_VIDEO_size, SPA_TYPE_Rectangle), kUsualSizes);
    auto rates = Spread(ValuesOf<spa_fraction>(parameter, SPA_FORMAT_VIDEO_framerate, SPA_TYPE_Fraction), kUsualRates);
    if (rates.empty())
        rates.push_back({30, 1});
    std::ranges::sort(rates, std::greater(), RateOf);
    for (const uint32_t pixelFormat : pixelFormats)
        for (const spa_rectangle& size : sizes)
            for (const spa_fraction& rate : rates)
                AddOffer(node, pixelFormat, size, RateOf(rate));
}

int64_t StepsOf(const PipeWireNode::Property& property, double value)
{
    const double range = property.maximum - property.minimum;
    return range <= 0 ? 0 : std::llround(std::clamp((value - property.minimum) / range, 0.0, 1.0) * kFractionSteps);
}

void ReadPropertyInfo(PipeWireNode& node, const spa_pod* parameter)
{
    const auto identities = ValuesOf<uint32_t>(parameter, SPA_PROP_INFO_id, SPA_TYPE_Id).values;
    const auto* meaning =
        identities.empty() ? std::end(kMeanings) : std::ranges::find(kMeanings, identities[0], &Meaning::property);
    if (meaning == std::end(kMeanings))
        return;
    PipeWireNode::Property property;
    property.control.identity = meaning->property;
    property.control.name = meaning->name;
    property.control.features = {meaning->feature};
    const auto whole = ValuesOf<int32_t>(parameter, SPA_PROP_INFO_type, SPA_TYPE_Int);
    const auto fraction = ValuesOf<float>(parameter, SPA_PROP_INFO_type, SPA_TYPE_Float);
    if (whole.isRange) {
        property.control.deviceDefault = whole.values[0];
        property.control.minimum = whole.values[1];
        property.control.maximum = std::max(whole.values[1], whole.values[2]);
    } else if (fraction.isRange && std::isfinite(fraction.values[1]) && std::isfinite(fraction.values[2])) {
        property.isFraction = true;
        property.minimum = static_cast<double>(fraction.values[1]);
        property.maximum = static_cast<double>(fraction.values[2]);
        property.control.maximum = kFractionSteps;
        property.control.deviceDefault = StepsOf(property, static_cast<double>(fraction.values[0]));
    } else {
        return;
    }
    property.control.value = property.control.deviceDefault;
    std::erase_if(node.properties, [&](const auto& one) { return one.control.identity == meaning->property; });
    node.properties.push_back(std::move(property));
}

void ReadProperties(PipeWireNode& node, const spa_pod* parameter)
{
    for (PipeWireNode::Property& property : node.properties) {
        const uint32_t key = property.control.identity;
        if (const auto whole = ValuesOf<int32_t>(parameter, key, SPA_TYPE_Int).values; !whole.empty())
            property.control.value = whole[0];
        if (const auto fraction = ValuesOf<float>(parameter, key, SPA_TYPE_Float).values; !fraction.empty())
            property.control.value = StepsOf(property, static_cast<double>(fraction[0]));
    }
}

std::string TextOf(const spa_dict* properties, const char* key)
{
    const char* text = properties == nullptr ? nullptr : spa_dict_lookup(properties, key);
    return text == nullptr ? std::string() : std::string(text);
}

// Whether there is a socket to connect to; nothing else of the library is touched without one.
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

uint32_t PixelFormatOfVideoFormat(uint32_t videoFormat)
{
    const auto* known = std::ranges::find(kFormats, videoFormat, &std::pair<uint32_t, uint32_t>::first);
    return known == std::end(kFormats) ? 0 : known->second;
}

uint32_t VideoFormatOfPixelFormat(uint32_t pixelFormat)
{
    const auto* known = std::ranges::find(kFormats, pixelFormat, &std::pair<uint32_t, uint32_t>::second);
    return known == std::end(kFormats) ? 0 : known->first;
}

class PipeWireNodes::Watch {
public:
    ~Watch()
    {
        if (!thread.joinable())
            return;
        {
            std::unique_lock lock(mutex);
            changed.wait(lock, [this] { return loop != nullptr || failed; });
            if (loop != nullptr)
                pw_loop_signal_event(pw_main_loop_get_loop(loop), quit);
        }
        thread.join();
    }

    // The time for the first answer runs from here on.
    void Prepare()
    {
        const std::lock_guard lock(mutex);
        if (thread.joinable() || !IsServerThere())
            return;
        deadline = std::chrono::steady_clock::now() + kFirstAnswer;
        thread = std::thread([this] { Run(); });
    }

    std::vector<PipeWireNode> List()
    {
        Prepare();
        std::unique_lock lock(mutex);
        if (!thread.joinable())
            return {};
        const auto hasEnded = [this] { return settled || failed; };
        changed.wait_until(lock, deadline, [&] { return answers || hasEnded(); });
        // A server that has begun to answer is only slow, on a busy machine, and its cameras are worth the wait.
        if (answers)
            changed.wait_until(lock, deadline + kWholeAnswer, hasEnded);
        std::vector<PipeWireNode> list;
        for (const auto& [id, bound] : nodes)
            if (!bound->node.offers.empty())
                list.push_back(bound->node);
        return list;
    }

    Result SetProperty(const std::string& name, uint32_t property, int64_t value)
    {
        const std::lock_guard lock(mutex);
        for (const auto& [id, bound] : nodes)
            if (bound->node.name == name)
                return Set(*bound, property, value);
        return noDeviceForChannel;
    }

private:
    /// A node and what listens to it.
    struct Bound {
        Watch* watch = nullptr;
        pw_proxy* proxy = nullptr;
        spa_hook listener{};
        PipeWireNode node;
    };

    /// A value on its way to the loop.
    struct Setting {
        Watch* watch;
        std::string name;
        uint32_t property;
        bool isFraction;
        double value;
    };

    void Run()
    {
        pw_init(nullptr, nullptr);
        pw_main_loop* made = pw_main_loop_new(nullptr);
        if (made != nullptr) {
            pw_loop* events = pw_main_loop_get_loop(made);
            retry = pw_loop_add_timer(
                events, [](void* self, uint64_t) { static_cast<Watch*>(self)->Connect(); }, this);
            quit = pw_loop_add_event(
                events, [](void* self, uint64_t) { pw_main_loop_quit(static_cast<Watch*>(self)->loop); }, this);
            context = pw_context_new(events, nullptr, 0);
        }
        {
            const std::lock_guard lock(mutex);
            loop = made;
            failed = context == nullptr;
            changed.notify_all();
        }
        if (context != nullptr) {
            Connect();
            pw_main_loop_run(loop);
            Disconnect();
            pw_context_destroy(context);
        }
        const std::lock_guard lock(mutex);
        if (loop != nullptr)
            pw_main_loop_destroy(loop);
    }

    void RetryLater()
    {
        timespec delay = kRetryInterval;
        pw_loop_update_timer(pw_main_loop_get_loop(loop), retry, &delay, nullptr, false);
    }

    void Connect()
    {
        Disconnect();
        core = IsServerThere() ? pw_context_connect(context, nullptr, 0) : nullptr;
        if (core == nullptr) {
            Settle();
            RetryLater();
            return;
        }
        static const pw_core_events coreEvents = CoreEvents();
        static const pw_registry_events registryEvents = RegistryEvents();
        pw_core_add_listener(core, &coreListener, &coreEvents, this);
        registry = pw_core_get_registry(core, PW_VERSION_REGISTRY, 0);
        pw_registry_add_listener(registry, &registryListener, &registryEvents, this);
        Ask();
    }

    void Disconnect()
    {
        const std::lock_guard lock(mutex);
        for (auto& [id, bound] : nodes)
            Unbind(*bound);
        nodes.clear();
        if (core == nullptr)
            return;
        spa_hook_remove(&registryListener);
        pw_proxy_destroy(reinterpret_cast<pw_proxy*>(registry));
        spa_hook_remove(&coreListener);
        pw_core_disconnect(core);
        core = nullptr;
    }

    static void Unbind(Bound& bound)
    {
        spa_hook_remove(&bound.listener);
        pw_proxy_destroy(bound.proxy);
    }

    void Ask() { lastQuestion = pw_core_sync(core, PW_ID_CORE, 0); }

    void Settle()
    {
        const std::lock_guard lock(mutex);
        settled = true;
        changed.notify_all();
    }

    static pw_core_events CoreEvents()
    {
        pw_core_events events{};
        events.version = PW_VERSION_CORE_EVENTS;
        events.done = [](void* self, uint32_t id, int sequence) {
            auto* watch = static_cast<Watch*>(self);
            if (id == PW_ID_CORE && sequence == watch->lastQuestion)
                watch->Settle();
        };
        events.info = [](void* self, const pw_core_info*) {
            auto* watch = static_cast<Watch*>(self);
            const std::lock_guard lock(watch->mutex);
            watch->answers = true;
            watch->changed.notify_all();
        };
        events.error = [](void* self, uint32_t id, int, int result, const char*) {
            if (id == PW_ID_CORE && result == -EPIPE)
                static_cast<Watch*>(self)->RetryLater();
        };
        return events;
    }

    static pw_registry_events RegistryEvents()
    {
        pw_registry_events events{};
        events.version = PW_VERSION_REGISTRY_EVENTS;
        events.global = [](void* self, uint32_t id, uint32_t, const char* type, uint32_t, const spa_dict* properties) {
            if (std::string_view(type) == PW_TYPE_INTERFACE_Node &&
                TextOf(properties, PW_KEY_MEDIA_CLASS) == "Video/Source")
                static_cast<Watch*>(self)->Bind(id);
        };
        events.global_remove = [](void* self, uint32_t id) { static_cast<Watch*>(self)->Forget(id); };
        return events;
    }

    static pw_node_events NodeEvents()
    {
        pw_node_events events{};
        events.version = PW_VERSION_NODE_EVENTS;
        events.info = [](void* self, const pw_node_info* info) {
            auto* bound = static_cast<Bound*>(self);
            bound->watch->Informed(*bound, *info);
        };
        events.param = [](void* self, int, uint32_t id, uint32_t index, uint32_t, const spa_pod* parameter) {
            auto* bound = static_cast<Bound*>(self);
            bound->watch->Answered(*bound, id, index, parameter);
        };
        return events;
    }

    void Bind(uint32_t id)
    {
        static const pw_node_events nodeEvents = NodeEvents();
        auto bound = std::make_unique<Bound>();
        bound->watch = this;
        bound->proxy =
            static_cast<pw_proxy*>(pw_registry_bind(registry, id, PW_TYPE_INTERFACE_Node, PW_VERSION_NODE, 0));
        if (bound->proxy == nullptr)
            return;
        pw_node_add_listener(reinterpret_cast<pw_node*>(bound->proxy), &bound->listener, &nodeEvents, bound.get());
        const std::lock_guard lock(mutex);
        nodes[id] = std::move(bound);
        Ask();
    }

    void Forget(uint32_t id)
    {
        const std::lock_guard lock(mutex);
        if (const auto found = nodes.find(id); found != nodes.end()) {
            Unbind(*found->second);
            nodes.erase(found);
        }
    }

    void Informed(Bound& bound, const pw_node_info& info)
    {
        const std::lock_guard lock(mutex);
        if ((info.change_mask & PW_NODE_CHANGE_MASK_PROPS) != 0) {
            bound.node.name = TextOf(info.props, PW_KEY_NODE_NAME);
            bound.node.description = TextOf(info.props, PW_KEY_NODE_DESCRIPTION);
            bound.node.kernelPath = TextOf(info.props, "api.v4l2.path");
            if (bound.node.description.empty())
                bound.node.description = bound.node.name;
        }
        if ((info.change_mask & PW_NODE_CHANGE_MASK_PARAMS) == 0)
            return;
        auto* node = reinterpret_cast<pw_node*>(bound.proxy);
        for (uint32_t i = 0; i < info.n_params; ++i)
            for (const uint32_t wanted : {SPA_PARAM_EnumFormat, SPA_PARAM_PropInfo, SPA_PARAM_Props})
                if (info.params[i].id == wanted && (info.params[i].flags & SPA_PARAM_INFO_READ) != 0)
                    pw_node_enum_params(node, 0, wanted, 0, UINT32_MAX, nullptr);
        Ask();
    }

    void Answered(Bound& bound, uint32_t id, uint32_t index, const spa_pod* parameter)
    {
        const std::lock_guard lock(mutex);
        if (id == SPA_PARAM_EnumFormat && index == 0)
            bound.node.offers.clear();
        if (id == SPA_PARAM_EnumFormat)
            ReadFormat(bound.node, parameter);
        else if (id == SPA_PARAM_PropInfo)
            ReadPropertyInfo(bound.node, parameter);
        else if (id == SPA_PARAM_Props)
            ReadProperties(bound.node, parameter);
    }

    Result Set(Bound& bound, uint32_t identity, int64_t value)
    {
        for (PipeWireNode::Property& property : bound.node.properties) {
            if (property.control.identity != identity)
                continue;
            if (value < property.control.minimum || value > property.control.maximum)
                return paramErr;
            property.control.value = value;
            const double range = property.maximum - property.minimum;
            const double sent = property.isFraction
                                    ? property.minimum + static_cast<double>(value) * range / kFractionSteps
                                    : static_cast<double>(value);
            auto* setting = new Setting{this, bound.node.name, identity, property.isFraction, sent};
            pw_loop_invoke(
                pw_main_loop_get_loop(loop),
                [](spa_loop*, bool, uint32_t, const void*, size_t, void* data) {
                    const std::unique_ptr<Setting> owned(static_cast<Setting*>(data));
                    owned->watch->Send(*owned);
                    return 0;
                },
                0, nullptr, 0, false, setting);
            return noErr;
        }
        return digiUnimpErr;
    }

    void Send(const Setting& setting)
    {
        const std::lock_guard lock(mutex);
        uint8_t memory[256];
        spa_pod_builder builder = SPA_POD_BUILDER_INIT(memory, sizeof memory);
        spa_pod_frame frame{};
        spa_pod_builder_push_object(&builder, &frame, SPA_TYPE_OBJECT_Props, SPA_PARAM_Props);
        spa_pod_builder_prop(&builder, setting.property, 0);
        if (setting.isFraction)
            spa_pod_builder_float(&builder, static_cast<float>(setting.value));
        else
            spa_pod_builder_int(&builder, static_cast<int32_t>(setting.value));
        const auto* properties = static_cast<const spa_pod*>(spa_pod_builder_pop(&builder, &frame));
        for (const auto& [id, bound] : nodes)
            if (bound->node.name == setting.name)
                pw_node_set_param(reinterpret_cast<pw_node*>(bound->proxy), SPA_PARAM_Props, 0, properties);
    }

    std::mutex mutex; // guards what callers see: the nodes and the states
    std::condition_variable changed;
    std::chrono::steady_clock::time_point deadline;
    std::map<uint32_t, std::unique_ptr<Bound>> nodes;
    bool answers = false;
    bool settled = false;
    bool failed = false;
    std::thread thread;
    pw_main_loop* loop = nullptr;

    // The thread's own.
    pw_context* context = nullptr;
    pw_core* core = nullptr;
    pw_registry* registry = nullptr;
    spa_hook coreListener{};
    spa_hook registryListener{};
    spa_source* retry = nullptr;
    spa_source* quit = nullptr;
    int lastQuestion = 0;
};

PipeWireNodes::PipeWireNodes() : watch(std::make_unique<Watch>()) {}

PipeWireNodes::~PipeWireNodes() = default;

PipeWireNodes& PipeWireNodes::Instance()
{
    static PipeWireNodes nodes;
    return nodes;
}

void PipeWireNodes::Prepare()
{
    watch->Prepare();
}

std::vector<PipeWireNode> PipeWireNodes::List()
{
    return watch->List();
}

PipeWireNode PipeWireNodes::Find(const std::string& name)
{
    for (auto& node : List())
        if (node.name == name)
            return node;
    return {};
}

Result PipeWireNodes::SetProperty(const std::string& name, uint32_t property, int64_t value)
{
    return watch->SetProperty(name, property, value);
}

} // namespace platform
