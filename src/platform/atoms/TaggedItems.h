// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/FourCharCode.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

/// An ordered list of items, each a four-character tag and bytes; several may have one tag. What lies in an item's
/// bytes is its writer's business: a number written with `AddNumber`, text, or another list.
///
/// The flattened form is the same on every machine: a head of twelve bytes ("VSet", version, count of items), then for
/// each item its tag, its length and its bytes. Numbers are big-endian, 32 bits wide.
class TaggedItems {
public:
    struct Item {
        FourCharCode tag = 0;
        std::vector<uint8_t> bytes;

        bool operator==(const Item&) const = default;
    };

    void Add(FourCharCode tag, std::vector<uint8_t> bytes) { items.push_back({tag, std::move(bytes)}); }
    void AddText(FourCharCode tag, std::string_view text);
    void AddNumber(FourCharCode tag, int64_t value); ///< 64 bits, big-endian
    void AddItems(FourCharCode tag, const TaggedItems& inner) { Add(tag, inner.Flatten()); }

    /// Item `index` (from 0) of that tag, or null.
    const std::vector<uint8_t>* Find(FourCharCode tag, size_t index = 0) const;
    std::string Text(FourCharCode tag) const;              ///< empty when there is no such item
    std::optional<int64_t> Number(FourCharCode tag) const; ///< nothing for an item that is no number
    int64_t Number(FourCharCode tag, int64_t standard) const { return Number(tag).value_or(standard); }

    const std::vector<Item>& All() const { return items; }

    std::vector<uint8_t> Flatten() const;

    /// Reads a flattened form. Nothing when it is of another version, or when its lengths don't add up to its size.
    static std::optional<TaggedItems> Read(std::span<const uint8_t> flattened);

    /// Whether bytes begin as a flattened form does, of whatever version, and be it cut off.
    static bool HasSignature(std::span<const uint8_t> flattened);

private:
    std::vector<Item> items;
};

} // namespace platform
