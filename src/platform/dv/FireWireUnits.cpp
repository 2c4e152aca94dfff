// SPDX-License-Identifier: MIT
#include "platform/dv/FireWireUnits.h"

#include "platform/files/DeviceText.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <unistd.h>

namespace platform {
namespace {

namespace fs = std::filesystem;

// Unit specifiers and versions (1394 TA numbers; the second specifier is a vendor's own).
constexpr uint32_t kTradeAssociation = 0x00A02D;
constexpr uint32_t kCameraMaker = 0x00B09D;
constexpr uint32_t kAvcVersion = 0x010001;
constexpr uint32_t kOldestIIDC = 0x000100;
constexpr uint32_t kNewestIIDC = 0x0001FF;

FireWirePaths& Paths()
{
    static FireWirePaths paths;
    return paths;
}

std::string ReadText(const fs::path& file)
{
    std::ifstream stream(file);
    return CleanDeviceText(std::string(std::istreambuf_iterator<char>(stream), {}));
}

uint64_t ReadNumber(const fs::path& file)
{
    const std::string text = ReadText(file);
    uint64_t number = 0;
    if (text.starts_with("0x"))
        std::from_chars(text.data() + 2, text.data() + text.size(), number, 16);
    return number;
}

std::string JoinWords(const std::string& first, const std::string& second)
{
    return first + (first.empty() || second.empty() ? "" : " ") + second;
}

} // namespace

void SetFireWirePaths(FireWirePaths paths)
{
    Paths() = std::move(paths);
}

fs::path FireWireRuntimeFolder()
{
    const char* const folder = std::getenv("XDG_RUNTIME_DIR");
    return Paths().runtime.empty() && folder != nullptr ? fs::path(folder) : Paths().runtime;
}

std::string GuidText(uint64_t guid)
{
    char digits[17];
    std::snprintf(digits, sizeof digits, "%016llx", static_cast<unsigned long long>(guid));
    return digits;
}

bool HasFireWire()
{
    std::error_code ignored;
    return std::ranges::any_of(fs::directory_iterator(Paths().nodes, ignored),
                               [](const auto& entry) { return entry.path().filename().string().starts_with("fw"); });
}

bool FireWireUnit::IsAvc() const
{
    return specifier == kTradeAssociation && version == kAvcVersion;
}

bool FireWireUnit::IsIIDC() const
{
    return specifier == kCameraMaker ||
           (specifier == kTradeAssociation && version >= kOldestIIDC && version <= kNewestIIDC);
}

std::string FireWireUnit::Reason() const
{
    return mayBeOpened ? std::string()
                       : "You are not allowed to open " + node.string() +
                             ": install Velmora's udev rule (70-velmora-firewire.rules), or join the group \"video\".";
}

std::vector<FireWireUnit> ListFireWireUnits()
{
    std::vector<FireWireUnit> units;
    std::error_code error;
    for (fs::directory_iterator entry(Paths().units, error); !error && entry != fs::directory_iterator();
         entry.increment(error)) {
        // A unit's folder is named after its device: fw1.0 is the first unit of fw1.
        const std::string file = entry->path().filename().string();
        const size_t dot = file.find('.');
        if (dot == std::string::npos)
            continue;
        const fs::path device = Paths().units / file.substr(0, dot);
        const fs::path node = Paths().nodes / file.substr(0, dot);
        units.push_back({.guid = ReadNumber(device / "guid"),
                         .name = JoinWords(ReadText(device / "vendor_name"), ReadText(device / "model_name")),
                         .specifier = static_cast<uint32_t>(ReadNumber(entry->path() / "specifier_id")),
                         .version = static_cast<uint32_t>(ReadNumber(entry->path() / "version")),
                         .node = node,
                         .mayBeOpened = access(node.c_str(), R_OK | W_OK) == 0});
    }
    std::ranges::sort(units, {}, &FireWireUnit::node);
    return units;
}

} // namespace platform
