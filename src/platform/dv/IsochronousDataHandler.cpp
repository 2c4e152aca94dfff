// SPDX-License-Identifier: MIT
// The isochronous data handler.
//
// An open instance holds the bus and the device selected by the configuration. A device control is the number of a bus
// and a device's GUID, so it outlives the instance that returned it and finds no device once that is gone.
#include "platform/dv/IsochronousDataHandler.h"

#include "platform/atoms/AtomContainers.h"
#include "platform/dv/AvcTransaction.h"
#include "platform/memory/ReferenceTable.h"
#include "platform/threads/ControlThread.h"

#include <algorithm>
#include <future>

namespace platform {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kCommandWait{40};
constexpr milliseconds kInquiryWait{1000}; // after pending commands
constexpr milliseconds kFinishWait{5000};
constexpr uint8_t kControlCommand = 0;
constexpr FourCharCode kDeviceAtom = CodeOf("devc");
constexpr FourCharCode kIsochronousAtom = CodeOf("isoc");
constexpr FourCharCode kModeAtom = CodeOf("mode");
constexpr FourCharCode kMediaTypeAtom = CodeOf("av  ");
constexpr FourCharCode kGuidAtom = CodeOf("guid");
constexpr FourCharCode kNameAtom = CodeOf("name");

struct DeviceControl {
    std::shared_ptr<Bus> bus;
    uint64_t guid = 0;
};

ReferenceTable<DeviceControl>& DeviceControls()
{
    static auto* table = new ReferenceTable<DeviceControl>(kDeviceControlReference);
    return *table;
}

struct DataHandler : ComponentObject {
    std::shared_ptr<Bus> bus = OpenBus();
    int32_t deviceControl = 0;

    ~DataHandler() override { DeviceControls().Remove(deviceControl); }
};

// The parameter record of a transaction, in the callers' layout.
struct TransactionParameters {
    Address command;
    int32_t commandLength;
    Address response;
    int32_t responseSize;
    int32_t responseHandler;
};

Atom InsertAtom(AtomContainer container, Atom parent, FourCharCode type, std::span<const uint8_t> data = {})
{
    const OwnedBlock bytes(static_cast<int64_t>(data.size()));
    std::ranges::copy(data, bytes.Bytes().begin());
    const OwnedBlock atom(sizeof(Atom));
    QTInsertChild(container, parent, type, 0, 0, static_cast<int32_t>(data.size()), bytes.Get(), atom.Get());
    return Peek<Atom>(atom.Get());
}

template <typename T> std::span<const uint8_t> BytesOf(const T& value)
{
    return {reinterpret_cast<const uint8_t*>(&value), sizeof(T)};
}

void InsertDevice(AtomContainer container, const BusDevice& device)
{
    const Atom deviceAtom = InsertAtom(container, 0, kDeviceAtom);
    InsertAtom(container, deviceAtom, kNameAtom,
               {reinterpret_cast<const uint8_t*>(device.name.data()), device.name.size()});
    const Atom isochronous = InsertAtom(container, deviceAtom, kIsochronousAtom);
    const Atom mode = InsertAtom(container, isochronous, kModeAtom);
    InsertAtom(container, mode, kMediaTypeAtom, BytesOf(kVideoMediaType));
    // The mode refers to its device, for a later configuration.
    InsertAtom(container, mode, kGuidAtom, BytesOf(device.guid));
}

// Runs commands in order: a deck that needs half a second for one must not stop the live picture.
ControlThread& Commands()
{
    static ControlThread thread;
    return thread;
}

struct Transaction {
    std::shared_ptr<Bus> bus;
    uint64_t guid = 0;
    std::vector<uint8_t> command;
    std::vector<uint8_t> response;
    std::promise<Result> result;
};

// Runs the transaction after the pending ones.
Result Run(const std::shared_ptr<Transaction>& transaction, std::vector<uint8_t>& response)
{
    auto result = transaction->result.get_future();
    const bool isControl = transaction->command.front() == kControlCommand;
    const bool ended = Commands().Run(
        [transaction] {
            transaction->result.set_value(
                DoAvcTransaction(*transaction->bus, transaction->guid, transaction->command, transaction->response));
        },
        isControl ? kCommandWait : milliseconds{0});
    if (isControl && !ended) {
        response = transaction->command;
        response[0] = static_cast<uint8_t>(AvcResponse::Interim);
        return noErr;
    }
    if (result.wait_for(kInquiryWait) != std::future_status::ready)
        return ioErr;
    response = transaction->response;
    return result.get();
}

} // namespace

Result IDHGetDeviceList(ComponentInstance handler, Address container)
{
    const auto instance = FindInstance<DataHandler>(handler);
    if (!instance)
        return badComponentInstance;
    if (const Result result = QTNewAtomContainer(container); result != noErr)
        return result;
    if (instance->bus)
        for (const auto& device : instance->bus->Devices())
            InsertDevice(Peek<AtomContainer>(container), device);
    return noErr;
}

Result IDHSetDeviceConfiguration(ComponentInstance handler, Address configuration)
{
    const auto instance = FindInstance<DataHandler>(handler);
    if (!instance)
        return badComponentInstance;
    if (BytesAt(configuration, 8).empty())
        return paramErr;
    const auto container = Peek<AtomContainer>(configuration);
    const Atom guidAtom = QTFindChildByIndex(container, Peek<Atom>(configuration + 4), kGuidAtom, 1, 0);
    const OwnedBlock guid(sizeof(uint64_t));
    if (guidAtom == 0 || QTCopyAtomDataToPtr(container, guidAtom, 0, sizeof(uint64_t), guid.Get(), 0) != noErr)
        return cannotFindAtomErr;
    DeviceControls().Remove(instance->deviceControl);
    instance->deviceControl =
        DeviceControls().Add(std::make_shared<DeviceControl>(DeviceControl{instance->bus, Peek<uint64_t>(guid.Get())}));
    return noErr;
}

Result IDHGetDeviceControl(ComponentInstance handler, Address deviceControl)
{
    const auto instance = FindInstance<DataHandler>(handler);
    if (!instance)
        return badComponentInstance;
    return Poke(deviceControl, instance->deviceControl) ? noErr : paramErr;
}

Result DeviceControlDoAVCTransaction(int32_t deviceControl, Address parameters)
{
    const auto control = DeviceControls().Find(deviceControl);
    if (!control || !control->bus)
        return badComponentInstance;
    auto record = Peek<TransactionParameters>(parameters);
    const auto command = BytesAt(record.command, record.commandLength);
    const auto space = BytesAt(record.response, record.responseSize);
    if (command.empty() || space.empty())
        return paramErr;
    const auto transaction = std::make_shared<Transaction>(
        Transaction{control->bus, control->guid, {command.begin(), command.end()}, {}, {}});
    std::vector<uint8_t> response;
    const Result result = Run(transaction, response);
    if (result != noErr)
        return result;
    const size_t length = std::min(response.size(), space.size());
    std::copy_n(response.begin(), length, space.begin());
    record.responseSize = static_cast<int32_t>(length);
    Poke(parameters, record);
    return noErr;
}

void FinishDeviceCommands()
{
    const auto reached = std::make_shared<std::promise<void>>();
    Commands().Run([reached] { reached->set_value(); }, milliseconds{0});
    reached->get_future().wait_for(kFinishWait);
}

void StartIsochronousDataHandler()
{
    RegisterComponent({.type = CodeOf("ihlr"), .subtype = CodeOf("dv  ")}, "DV devices on FireWire",
                      [] { return std::make_shared<DataHandler>(); });
}

} // namespace platform
