// SPDX-License-Identifier: MIT
#pragma once

#include "framework/Reference.h"

#include <cstdint>
#include <map>

namespace framework {

/// Objects under whole numbers, each held by a strong reference.
template <typename T> class Dictionary {
public:
    /// How many entries there are.
    int32_t Count() const { return static_cast<int32_t>(entries.size()); }
    /// Keeps `object` under `key`, replacing what was there.
    void Value(int32_t key, Reference<T> object) { entries[key] = std::move(object); }

    /// The object under a key, or `otherwise`.
    Reference<T> Lookup(int32_t key, Reference<T> otherwise) const
    {
        const auto found = entries.find(key);
        return found == entries.end() ? otherwise : found->second;
    }

    /// Takes an entry out; a key that isn't there changes nothing.
    void Remove(int32_t key) { entries.erase(key); }

private:
    std::map<int32_t, Reference<T>> entries;
};

} // namespace framework
