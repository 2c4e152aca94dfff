// SPDX-License-Identifier: MIT
#pragma once

#include "framework/Reference.h"

#include <cstdint>
#include <map>

namespace framework {

/// A map from integers to objects, which it keeps alive.
template <typename T> class Dictionary {
public:
    /// The number of entries.
    int32_t Count() const { return static_cast<int32_t>(entries.size()); }
    /// Stores `object` under `key`, replacing an existing entry.
    void Value(int32_t key, Reference<T> object) { entries[key] = std::move(object); }

    /// The object under `key`, or `otherwise` if there is none.
    Reference<T> Lookup(int32_t key, Reference<T> otherwise) const
    {
        const auto found = entries.find(key);
        return found == entries.end() ? otherwise : found->second;
    }

    /// Removes an entry; does nothing if there is none.
    void Remove(int32_t key) { entries.erase(key); }

private:
    std::map<int32_t, Reference<T>> entries;
};

} // namespace framework
