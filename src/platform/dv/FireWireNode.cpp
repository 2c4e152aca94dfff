// SPDX-License-Identifier: MIT
// Nodes of the FireWire bus through libraw1394.
//
// ROMs are read and parsed here: librom1394 writes a line to standard error for each node that may not be opened and
// for each bad entry, and drops a device if one directory is damaged.
#include "platform/dv/FireWireNode.h"

#ifdef VELMORA_HAVE_RAW1394
#include "platform/dv/FireWireUnits.h"
#include "platform/files/DeviceText.h"
#include "platform/log/Log.h"

#include <arpa/inet.h>
#include <cerrno>
#include <libraw1394/csr.h>
#include <vector>

namespace platform {
namespace {

constexpr nodeid_t kLocalBus = 0xFFC0;
constexpr nodeaddr_t kRomAddress = CSR_REGISTER_BASE + CSR_CONFIG_ROM;
constexpr size_t kRomQuadlets = (CSR_CONFIG_ROM_END - CSR_CONFIG_ROM) / 4;
constexpr size_t kGuidQuadlet = 3;

// Keys of directory entries, with their kind in the upper two bits.
constexpr uint32_t kSpecifierKey = 0x12;
constexpr uint32_t kVersionKey = 0x13;
constexpr uint32_t kTextLeafKey = 0x81;
constexpr uint32_t kTextDirectoryKey = 0xC1;
constexpr uint32_t kUnitKey = 0xD1;

using Rom = std::vector<uint32_t>;

Rom ReadRom(raw1394handle_t handle, nodeid_t node)
{
    Rom rom;
    while (rom.size() < kRomQuadlets) {
        const auto quadlet = ReadRegister(handle, node, kRomAddress + rom.size() * 4);
        if (!quadlet)
            break;
        rom.push_back(*quadlet);
    }
    return rom;
}

std::optional<uint64_t> ReadGuid(raw1394handle_t handle, nodeid_t node)
{
    const auto high = ReadRegister(handle, node, kRomAddress + kGuidQuadlet * 4);
    const auto low = ReadRegister(handle, node, kRomAddress + kGuidQuadlet * 4 + 4);
    return high && low ? std::optional(uint64_t{*high} << 32 | *low) : std::nullopt;
}

// Calls `use` with each entry's key, its value, and the position that an offset refers to.
template <typename Use> void ForEachEntry(const Rom& rom, size_t directory, Use use)
{
    if (directory >= rom.size())
        return;
    const size_t end = std::min(rom.size(), directory + 1 + (rom[directory] >> 16));
    for (size_t i = directory + 1; i < end; ++i)
        use(rom[i] >> 24, rom[i] & 0xFFFFFF, i + (rom[i] & 0xFFFFFF));
}

// A leaf has its length, two quadlets with type and language, and the text.
std::string TextOfLeaf(const Rom& rom, size_t leaf)
{
    std::string text;
    const size_t end = leaf < rom.size() ? std::min(rom.size(), leaf + 1 + (rom[leaf] >> 16)) : 0;
    for (size_t i = leaf + 3; i < end; ++i)
        for (int shift = 24; shift >= 0; shift -= 8)
            text += static_cast<char>(rom[i] >> shift);
    return CleanDeviceText(text);
}

void AddText(ConfigRom& found, const std::string& text)
{
    if (!text.empty())
        found.label += (found.label.empty() ? "" : " ") + text;
}

void ReadTexts(const Rom& rom, uint32_t key, size_t place, ConfigRom& found)
{
    if (key == kTextLeafKey)
        AddText(found, TextOfLeaf(rom, place));
    // The same text in several languages; the first is the vendor's default.
    std::string first;
    if (key == kTextDirectoryKey)
        ForEachEntry(rom, place, [&](uint32_t inner, uint32_t, size_t leaf) {
            if (inner == kTextLeafKey && first.empty())
                first = TextOfLeaf(rom, leaf);
        });
    AddText(found, first);
}

void ReadUnit(const Rom& rom, size_t directory, ConfigRom& found)
{
    FireWireUnit unit;
    ForEachEntry(rom, directory, [&](uint32_t key, uint32_t value, size_t place) {
        if (key == kSpecifierKey)
            unit.specifier = value;
        else if (key == kVersionKey)
            unit.version = value;
        else
            ReadTexts(rom, key, place, found);
    });
    found.isAvc = found.isAvc || unit.IsAvc();
}

} // namespace

FireWireHandle OpenAdapter(int adapter)
{
    FireWireHandle handle(raw1394_new_handle_on_port(adapter));
    if (!handle)
        digitizerLog.Debug("FireWire: adapter ", adapter, ": ", ErrorText(errno));
    return handle;
}

int CountAdapters()
{
    const FireWireHandle handle(raw1394_new_handle());
    return handle ? raw1394_get_port_info(handle.get(), nullptr, 0) : 0;
}

std::optional<uint32_t> ReadRegister(raw1394handle_t handle, nodeid_t node, nodeaddr_t address)
{
    quadlet_t quadlet = 0;
    if (raw1394_read(handle, static_cast<nodeid_t>(kLocalBus | node), address, sizeof quadlet, &quadlet) < 0)
        return std::nullopt;
    return ntohl(quadlet);
}

std::optional<ConfigRom> ReadConfigRom(raw1394handle_t handle, nodeid_t node)
{
    const Rom rom = ReadRom(handle, node);
    if (rom.size() <= kGuidQuadlet + 1)
        return std::nullopt;
    ConfigRom found;
    found.guid = uint64_t{rom[kGuidQuadlet]} << 32 | rom[kGuidQuadlet + 1];
    ForEachEntry(rom, 1 + (rom[0] >> 24), [&](uint32_t key, uint32_t, size_t place) {
        if (key == kUnitKey)
            ReadUnit(rom, place, found);
        else
            ReadTexts(rom, key, place, found);
    });
    return found;
}

std::optional<ReachedNode> ReachNode(uint64_t guid)
{
    const int adapters = CountAdapters();
    for (int adapter = 0; adapter < adapters; ++adapter) {
        FireWireHandle handle = OpenAdapter(adapter);
        for (int node = 0; handle && node < raw1394_get_nodecount(handle.get()); ++node)
            if (ReadGuid(handle.get(), static_cast<nodeid_t>(node)) == guid) {
                const unsigned generation = raw1394_get_generation(handle.get());
                return ReachedNode{std::move(handle), guid, adapter, static_cast<nodeid_t>(kLocalBus | node),
                                   generation};
            }
    }
    return std::nullopt;
}

} // namespace platform

#endif
