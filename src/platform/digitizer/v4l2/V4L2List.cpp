// SPDX-License-Identifier: MIT
// The list of devices.
//
// A device is identified by its model and place. A second one of the same model is never mistaken for it, since the
// places of such twins are recorded when it is opened.
#include "platform/digitizer/v4l2/V4L2List.h"

#include "platform/digitizer/CameraDigitizer.h"
#include "platform/digitizer/v4l2/V4L2Camera.h"

#include <cerrno>
#include <set>

namespace platform {
namespace {

/// A device, with what its node reports.
struct Found {
    int node = 0;
    std::string name;
    std::string identity; ///< the model, with a number if several devices are of one model
    std::string model;
    std::string place; ///< where it is plugged in
    std::vector<std::string> inputs;
    bool color = true;
    bool loopback = false; ///< any number of programs may read it
    bool wrapped = false;  ///< a camera of a server, provided as a node by its wrapper library
    std::string reason;    ///< why it can't be opened
};

/// What the device threads know about nodes.
struct Notes {
    std::mutex mutex;
    std::multiset<int> streaming; ///< by this process
    std::set<int> inUse;          ///< by another one
};

Notes& NodeNotes()
{
    static Notes notes;
    return notes;
}

bool StreamsHere(int node)
{
    const std::lock_guard lock(NodeNotes().mutex);
    return NodeNotes().streaming.contains(node);
}

bool IsInUse(int node)
{
    const std::lock_guard lock(NodeNotes().mutex);
    return NodeNotes().inUse.contains(node);
}

// Some drivers report a name twice, "Camera: Camera", and truncate the second one at the end of their field.
std::string SingleName(const std::string& name)
{
    const size_t colon = name.find(": ");
    if (colon == 0 || colon == std::string::npos || colon + 2 == name.size())
        return name;
    const std::string first = name.substr(0, colon);
    return first.starts_with(name.substr(colon + 2)) ? first : name;
}

std::optional<Found> LookAt(const std::shared_ptr<V4L2System>& system, int node)
{
    int error = 0;
    if (const auto device = V4L2Device::Open(system, node, error)) {
        const V4L2Usability formats = JudgeFormats(*device);
        if (!formats.usable)
            return std::nullopt;
        return Found{.node = node,
                     .name = SingleName(device->Card()),
                     .identity = {},
                     .model = device->Model(),
                     .place = device->BusInfo(),
                     .inputs = V4L2Camera(device).Inputs(),
                     .color = formats.color,
                     .loopback = device->IsLoopback(),
                     .wrapped = device->Driver() == "PipeWire",
                     .reason = {}};
    }
    if (error != EACCES && error != EPERM && error != EBUSY)
        return std::nullopt;
    const auto label = system->LabelOf(node);
    if (!label.captures)
        return std::nullopt;
    const std::string name = label.name.empty() ? "Camera " + std::to_string(node) : label.name;
    return Found{.node = node,
                 .name = SingleName(name),
                 .identity = {},
                 .model = "v4l2:" + (label.serial.empty() ? name : label.serial),
                 .place = {},
                 .inputs = {},
                 .reason = OutcomeOfDeviceError(error, SingleName(name)).reason};
}

// Sets a device's identity and its place among those before it. All nodes of a device have the same place and are
// distinguished by their order.
void Place(Found& one, const std::vector<Found>& before)
{
    const auto ofModel = std::ranges::count(before, one.model, &Found::model);
    const auto inPlace = std::ranges::count_if(before, [&](const Found& other) {
        return other.model == one.model && other.place.starts_with(one.place + "/");
    });
    one.identity = one.model + (ofModel == 0 ? "" : "#" + std::to_string(ofModel + 1));
    one.place += "/" + std::to_string(inPlace);
}

// `known` is the previous list, which has the devices that stream here.
std::vector<Found> FindDevices(const std::shared_ptr<V4L2System>& system, const std::vector<Found>& known)
{
    std::vector<Found> found;
    for (const int node : system->Nodes()) {
        const auto before = std::ranges::find(known, node, &Found::node);
        if (before != known.end() && StreamsHere(node)) {
            found.push_back(*before);
        } else if (auto one = LookAt(system, node)) {
            Place(*one, found);
            found.push_back(std::move(*one));
        }
    }
    return found;
}

// The cached list; main thread only.
const std::vector<Found>& Listed(const std::shared_ptr<V4L2System>& system)
{
    static std::weak_ptr<V4L2System> listedSystem;
    static std::optional<uint64_t> listedChange;
    static std::vector<Found> list;
    if (listedSystem.lock() != system) {
        list.clear();
        listedChange.reset();
        listedSystem = system;
    }
    if (const uint64_t change = system->ChangeCount(); listedChange != change) {
        listedChange = change;
        list = FindDevices(system, list);
    }
    return list;
}

/// Opens one device, wherever it is.
class Opener {
public:
    Opener(std::shared_ptr<V4L2System> owner, Found found, std::vector<std::string> twins)
        : system(std::move(owner)), self(std::move(found)), others(std::move(twins))
    {
    }

    std::shared_ptr<CaptureDevice> operator()(Outcome& outcome)
    {
        int error = ENODEV;
        auto device = std::exchange(isListed, false) ? V4L2Device::Open(system, self.node, error) : Find(error);
        if (device)
            return std::make_shared<V4L2Camera>(std::move(device));
        outcome = OutcomeOfDeviceError(error == 0 || error == ENOENT ? ENODEV : error, self.name);
        return nullptr;
    }

private:
    std::shared_ptr<V4L2Device> Find(int& error)
    {
        const auto all = FindDevices(system, {});
        const auto isSelf = [this](const Found& found) {
            return found.model == self.model && std::ranges::find(others, found.place) == others.end();
        };
        auto found =
            std::ranges::find_if(all, [&](const Found& one) { return isSelf(one) && one.place == self.place; });
        if (found == all.end())
            found = std::ranges::find_if(all, isSelf);
        if (found == all.end())
            return nullptr;
        self.node = found->node;
        self.place = found->place;
        return V4L2Device::Open(system, self.node, error);
    }

    std::shared_ptr<V4L2System> system;
    Found self;                      // `node` and `place` follow the device
    std::vector<std::string> others; // places of other devices of the same model
    bool isListed = true;            // not opened since it was listed, so it is where it was found
};

} // namespace

void NoteInUse(const V4L2Device& device, bool inUse)
{
    const std::lock_guard lock(NodeNotes().mutex);
    if (inUse)
        NodeNotes().inUse.insert(device.Node());
    else
        NodeNotes().inUse.erase(device.Node());
}

void NoteStreaming(const V4L2Device& device, bool streaming)
{
    const std::lock_guard lock(NodeNotes().mutex);
    auto& nodes = NodeNotes().streaming;
    if (streaming)
        nodes.insert(device.Node());
    else if (const auto found = nodes.find(device.Node()); found != nodes.end())
        nodes.erase(found);
}

bool IsFree(const std::shared_ptr<V4L2System>& system, const std::string& identity)
{
    const auto& all = Listed(system);
    const auto found = std::ranges::find(all, identity, &Found::identity);
    if (found == all.end() || !found->reason.empty())
        return false;
    if (found->loopback || found->wrapped || StreamsHere(found->node))
        return true;
    int error = 0;
    const auto device = V4L2Device::Open(system, found->node, error);
    V4L2Layout present;
    if (!device || device->Layout(VIDIOC_G_FMT, present) != 0)
        return device != nullptr;
    const bool inUse = device->Layout(VIDIOC_S_FMT, present) == EBUSY;
    NoteInUse(*device, inUse);
    return !inUse;
}

bool IsListedAs(const std::shared_ptr<V4L2System>& system, const std::string& path)
{
    return std::ranges::any_of(Listed(system), [&](const Found& found) {
        return found.wrapped || (found.reason.empty() && PathOfNode(found.node) == path);
    });
}

std::vector<DigitizerEntry> ListV4L2Digitizers(const std::shared_ptr<V4L2System>& system)
{
    std::vector<DigitizerEntry> entries;
    for (const Found& found : Listed(system)) {
        // A device that was in use may be free by now.
        const bool inUse = IsInUse(found.node) && !IsFree(system, found.identity);
        entries.push_back({.name = found.name,
                           .identity = found.identity,
                           .inputs = found.inputs,
                           .available = found.reason.empty() && !inUse,
                           .reason = inUse ? OutcomeOfDeviceError(EBUSY, found.name).reason : found.reason,
                           .color = found.color});
    }
    return entries;
}

std::unique_ptr<Digitizer> OpenV4L2Digitizer(const std::shared_ptr<V4L2System>& system, const std::string& identity)
{
    const auto& all = Listed(system);
    const auto found = std::ranges::find(all, identity, &Found::identity);
    if (found == all.end())
        return nullptr;
    std::vector<std::string> twins;
    for (const Found& other : all)
        if (other.model == found->model && other.place != found->place)
            twins.push_back(other.place);
    return std::make_unique<CameraDigitizer>(CameraDigitizer::Label{found->name, found->identity},
                                             Opener(system, *found, std::move(twins)));
}

} // namespace platform
