// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

namespace platform {

/// Assigns 32-bit references to objects. A stale reference finds nothing.
///
/// A reference is positive: 7 bits for the kind (so that a channel's reference is never a component's), then a 24-bit
/// counter, which wraps after 16 million references. The table shares ownership of its objects: an object that a caller
/// has found stays alive while another thread removes it. Any thread.
template <typename T> class ReferenceTable {
public:
    /// `kind`, 1 to 127, distinguishes this table's references from those of other tables.
    explicit ReferenceTable(int32_t kind) : base(kind << 24) {}

    /// Adds an object and returns its reference.
    int32_t Add(std::shared_ptr<T> object)
    {
        const std::lock_guard lock(mutex);
        do
            last = last % 0xFFFFFF + 1;
        while (objects.contains(base + last));
        objects[base + last] = std::move(object);
        return base + last;
    }

    /// The object of a reference; null for an invalid one.
    std::shared_ptr<T> Find(int32_t number) const
    {
        const std::lock_guard lock(mutex);
        const auto found = objects.find(number);
        return found == objects.end() ? nullptr : found->second;
    }

    /// Removes an object and returns it; null for an invalid reference.
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

    /// All valid references, in the order in which they were assigned.
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
