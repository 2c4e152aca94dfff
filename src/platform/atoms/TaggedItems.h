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

/// An ordered list of items, each with a four-character tag and bytes; several may have the same tag. The meaning of
/// the bytes depends on the tag: a number, text or another list.
///
/// The flattened form is the same on every machine: a header of twelve bytes ("VSet", version, number of items), then
/// for each item its tag, its length and its bytes. Numbers are big-endian and 32 bits wide.
class TaggedItems {
public:
    struct Item {
        FourCharCode tag = 0;
        std::vector<uint8_t> bytes;

        bool operator==(const Item&) const = default;
    };

    /// Appends an item of plain bytes.
    void Add(FourCharCode tag, std::vector<uint8_t> bytes) { items.push_back({tag, std::move(bytes)}); }
    void AddText(FourCharCode tag, std::string_view text); ///< appends a text without a terminator
    void AddNumber(FourCharCode tag, int64_t value);       ///< appends 64 bits, big-endian
    /// Appends the flattened form of another list.
    void AddItems(FourCharCode tag, const TaggedItems& inner) { Add(tag, inner.Flatten()); }

    /// The bytes of item `index` (from 0) of that tag, or null.
    const std::vector<uint8_t>* Find(FourCharCode tag, size_t index = 0) const;
    std::string Text(FourCharCode tag) const;              ///< the first item of that tag; empty if there is none
    std::optional<int64_t> Number(FourCharCode tag) const; ///< the first item of that tag, if it has 64 bits
    /// The same; `standard` if there is no such number.
    int64_t Number(FourCharCode tag, int64_t standard) const { return Number(tag).value_or(standard); }

    const std::vector<Item>& All() const { return items; } ///< all items, in order

    std::vector<uint8_t> Flatten() const; ///< the flattened form

    /// Reads a flattened form. Returns nothing for another version, or if the lengths do not add up to the size.
    static std::optional<TaggedItems> Read(std::span<const uint8_t> flattened);

    /// Whether the bytes start like a flattened form, of any version and possibly truncated.
    static bool HasSignature(std::span<const uint8_t> flattened);

private:
    std::vector<Item> items;
};

} // namespace platform
