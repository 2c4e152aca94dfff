// SPDX-License-Identifier: MIT
#include "platform/sound/PulseSource.h"
#include "platform/sound/SoundSource.h"
#include "platform/sound/SoundWatcher.h"
#include "platform/sound/TestTone.h"

#include <algorithm>
#include <iterator>

namespace platform {
namespace {

constexpr const char* kTestToneName = "Test Tone";

SoundSourceProvider& Provider()
{
    static SoundSourceProvider provider;
    return provider;
}

std::vector<SoundSourceProvider>& AddedSources()
{
    static std::vector<SoundSourceProvider> added;
    return added;
}

std::vector<SoundSourceEntry> ListRealSources()
{
    std::vector<SoundSourceEntry> entries;
    for (const PulseSourceInfo& source : PulseServer::Shared()->Sources()) {
        const std::string& name = source.description.empty() ? source.name : source.description;
        entries.push_back({name, PulseSource::IdentityOf(source.name), source.InputNames(), true});
    }
    for (const SoundSourceProvider& added : AddedSources())
        std::ranges::move(added.list(), std::back_inserter(entries));
    entries.push_back({kTestToneName, TestTone::kIdentity, {}, true});
    return entries;
}

std::unique_ptr<SoundSource> OpenRealSource(const SoundSourceEntry& entry)
{
    const std::string prefix = PulseSource::IdentityOf("");
    for (const SoundSourceProvider& added : AddedSources())
        if (auto source = added.open(entry.identity))
            return source;
    if (!entry.identity.starts_with(prefix))
        return std::make_unique<TestTone>();
    return std::make_unique<PulseSource>(PulseServer::Shared(), entry.identity.substr(prefix.size()), entry.name);
}

} // namespace

void PrepareSoundSources()
{
    PulseServer::Shared()->Prepare();
}

std::vector<SoundSourceEntry> ListSoundSources()
{
    return Provider().list ? Provider().list() : ListRealSources();
}

bool SoundSourcesArePending()
{
    return !Provider().list && PulseServer::Shared()->IsListPending();
}

std::unique_ptr<SoundSource> OpenSoundSource(const std::string& identity, const std::string& name)
{
    const auto entries = ListSoundSources();
    auto chosen = std::ranges::find(entries, identity, &SoundSourceEntry::identity);
    if (chosen == entries.end())
        chosen = std::ranges::find(entries, name, &SoundSourceEntry::name);
    if (chosen == entries.end())
        chosen = entries.begin();
    std::unique_ptr<SoundSource> source;
    if (chosen != entries.end())
        source = Provider().open ? Provider().open(chosen->identity) : OpenRealSource(*chosen);
    return source ? std::move(source) : std::make_unique<TestTone>();
}

void AddSoundSources(SoundSourceProvider provider)
{
    AddedSources().push_back(std::move(provider));
}

void SetSoundSourceProvider(SoundSourceProvider provider)
{
    Provider() = std::move(provider);
    NoteSoundSourcesChanged();
}

} // namespace platform
