// SPDX-License-Identifier: MIT
#include "platform/digitizer/Digitizer.h"

#include "platform/digitizer/dv/DvDigitizer.h"
#include "platform/digitizer/iidc/IIDCDigitizer.h"
#include "platform/digitizer/pipewire/PipeWireCamera.h"
#include "platform/digitizer/pipewire/PipeWireNodes.h"
#include "platform/digitizer/testpattern/TestPattern.h"
#include "platform/digitizer/v4l2/V4L2List.h"

#include <algorithm>

namespace platform {
namespace {

DigitizerProvider& Replacement()
{
    static DigitizerProvider provider;
    return provider;
}

std::vector<DigitizerProvider>& AddedFamilies()
{
    static std::vector<DigitizerProvider> families;
    return families;
}

std::unique_ptr<Digitizer> OpenByIdentity(const std::string& identity)
{
    if (Replacement().open)
        return Replacement().open(identity);
    for (const auto& family : AddedFamilies())
        if (auto digitizer = family.open(identity))
            return digitizer;
    for (const auto open : {OpenPipeWireDigitizer, OpenDvDigitizer, OpenIIDCDigitizer})
        if (auto digitizer = open(identity))
            return digitizer;
    return OpenV4L2Digitizer(V4L2System::Current(), identity);
}

bool IsAvailable(const DigitizerEntry& entry)
{
    return entry.available && (Replacement().list || !entry.identity.starts_with("v4l2:") ||
                               IsFree(V4L2System::Current(), entry.identity));
}

// The first device that is free and has colour, since infrared cameras come first on some laptops. A grey one is
// preferred to one that is not free, and that to the Test Pattern.
std::vector<DigitizerEntry>::const_iterator FirstChoice(const std::vector<DigitizerEntry>& entries)
{
    for (const bool color : {true, false})
        for (auto entry = entries.begin(); entry != entries.end(); ++entry)
            if (entry->color == color && entry->identity != TestPattern::kIdentity && IsAvailable(*entry))
                return entry;
    return entries.begin();
}

} // namespace

void PrepareDigitizers()
{
    PipeWireNodes::Instance().Prepare();
}

std::vector<DigitizerEntry> ListDigitizers()
{
    if (Replacement().list)
        return Replacement().list();
    auto entries = ListV4L2Digitizers(V4L2System::Current());
    for (const auto& more : {ListPipeWireDigitizers(), ListDvDigitizers(), ListIIDCDigitizers()})
        entries.insert(entries.end(), more.begin(), more.end());
    for (const auto& family : AddedFamilies()) {
        const auto more = family.list();
        entries.insert(entries.end(), more.begin(), more.end());
    }
    entries.push_back({.name = TestPattern::kName, .identity = TestPattern::kIdentity, .inputs = {}});
    return entries;
}

std::unique_ptr<Digitizer> OpenDigitizer(const std::string& identity, const std::string& name)
{
    const auto entries = ListDigitizers();
    auto chosen = std::ranges::find(entries, identity, &DigitizerEntry::identity);
    if (chosen == entries.end())
        chosen = std::ranges::find(entries, name, &DigitizerEntry::name);
    if (chosen == entries.end())
        chosen = FirstChoice(entries);
    // The device may disappear between listing and opening.
    auto digitizer = chosen == entries.end() ? nullptr : OpenByIdentity(chosen->identity);
    return digitizer ? std::move(digitizer) : std::make_unique<TestPattern>();
}

void AddDigitizers(DigitizerProvider provider)
{
    AddedFamilies().push_back(std::move(provider));
}

void SetDigitizerProvider(DigitizerProvider provider)
{
    Replacement() = std::move(provider);
}

} // namespace platform
