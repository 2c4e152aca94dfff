// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

namespace platform {

/// Hands out numbers for objects, so that callers hold 32 bits and a stale number finds nothing.
///
/// A number is positive: 7 bits of kind (so that a channel's number is never a component's), then 24 bits that
/// count up. Numbers are not used again before 16 million others were. The table shares its objects: a caller that
/// found one keeps it alive while another thread removes it.
template <typename T> class ReferenceTable {
public:
    /// `kind` from 1 to 127 tells this table's numbers from those of other tables.
    explicit ReferenceTable(int32_t kind) : base(kind << 24) {}

    /// Keeps the object and returns its number.
    int32_t Add(std::shared_ptr<T> object)
    {
        const std::lock_guard lock(mutex);
        do
            last = last % 0xFFFFFF + 1;
        while (objects.contains(base + last));
        objects[base + last] = std::move(object);
        return base + last;
    }

    /// The object of a number, or null for one that is dead or of another kind.
    std::shared_ptr<T> Find(int32_t number) const
    {
        const std::lock_guard lock(mutex);
        const auto found = objects.find(number);
        return found == objects.end() ? nullptr : found->second;
    }

    /// Takes the object out and hands it over; null for a dead number.
    std::shared_ptr<T> Remove(int32_t number)
    {
        const std::lock_guard lock(mutex);
        const auto found = objects.find(number);
        if (found == objects.end())
            return nullptr;
        auto object = std::move(found->second);
        objects.erase(found);
        return object;
    }

    /// All living numbers, in the order in which they were handed out.
    std::vector<int32_t> Numbers() const
    {
        const std::lock_guard lock(mutex);
        std::vector<int32_t> numbers;
        for (const auto& entry : objects)
            numbers.push_back(entry.first);
        return numbers;
    }

private:
    mutable std::mutex mutex;
    std::map<int32_t, std::shared_ptr<T>> objects;
    int32_t base;
    int32_t last = 0;
};

/// The kinds in use, one for each table.
enum ReferenceKind : int32_t {
    kComponentReference = 1,
    kComponentInstanceReference,
    kEventTimerReference,
    kCodeReference,
    kPortReference,
    kPixMapReference,
    kWindowReference,
    kSequenceReference,
    kChannelReference,
    kSoundDriverReference,
    kMovieReference,
    kTrackReference,
    kMediaReference,
    kDataHandlerReference,
    kUserDataReference,
    kAtomContainerReference,
    kCoreFoundationReference,
    kDeviceControlReference,
};

} // namespace platform
