// SPDX-License-Identifier: MIT
#include "platform/dv/FireWireUnits.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <unistd.h>

namespace platform {
namespace {

namespace fs = std::filesystem;

// Unit specifiers and versions (1394 TA numbers; the second specifier is that of a maker with a number of its own).
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

// Length of the UTF-8 sequence that begins at `at`; 0 where there is none.
size_t SequenceLength(std::string_view text, size_t at)
{
    const auto byte = [&](size_t i) { return i < text.size() ? static_cast<uint8_t>(text[i]) : 0; };
    const uint8_t lead = byte(at);
    const size_t length = lead < 0x80 ? 1 : lead >= 0xC2 && lead < 0xE0 ? 2 : lead >> 4 == 0xE ? 3 : 0;
    for (size_t i = 1; i < length; ++i)
        if (byte(at + i) >> 6 != 2)
            return 0;
    const bool isOverlong = lead == 0xE0 && byte(at + 1) < 0xA0;
    const bool isSurrogate = lead == 0xED && byte(at + 1) >= 0xA0;
    return isOverlong || isSurrogate ? 0 : length;
}

bool IsUtf8(std::string_view text)
{
    for (size_t i = 0; i < text.size();) {
        const size_t length = SequenceLength(text, i);
        if (length == 0)
            return false;
        i += length;
    }
    return true;
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
        // A unit's folder is named after its device's: fw1.0 is the first unit of fw1.
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

std::string CleanDeviceText(std::string_view text)
{
    text = text.substr(0, text.find('\0'));
    const bool isUtf8 = IsUtf8(text);
    std::string clean;
    for (const char character : text) {
        const auto byte = static_cast<uint8_t>(character);
        if (byte < 0x20 || byte == 0x7F || (!isUtf8 && byte >= 0x80 && byte < 0xA0))
            continue;
        if (!isUtf8 && byte >= 0x80) {
            clean += static_cast<char>(0xC0 | byte >> 6);
            clean += static_cast<char>(0x80 | (byte & 0x3F));
        } else {
            clean += character;
        }
    }
    const size_t first = clean.find_first_not_of(' ');
    return first == std::string::npos ? std::string() : clean.substr(first, clean.find_last_not_of(' ') - first + 1);
}

} // namespace platform
