// SPDX-License-Identifier: MIT
#include "platform/atoms/TaggedItems.h"

namespace platform {
namespace {

constexpr FourCharCode kSignature = CodeOf("VSet");
constexpr uint32_t kVersion = 1;
constexpr size_t kHeadSize = 12;
constexpr size_t kItemHeadSize = 8;

void Append32(std::vector<uint8_t>& bytes, uint32_t value)
{
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes.push_back(static_cast<uint8_t>(value >> shift));
}

// The caller has checked that there are four bytes.
uint32_t Read32(std::span<const uint8_t> bytes)
{
    return static_cast<uint32_t>(bytes[0]) << 24 | static_cast<uint32_t>(bytes[1]) << 16 |
           static_cast<uint32_t>(bytes[2]) << 8 | bytes[3];
}

} // namespace

void TaggedItems::AddText(FourCharCode tag, std::string_view text)
{
    Add(tag, {text.begin(), text.end()});
}

void TaggedItems::AddNumber(FourCharCode tag, int64_t value)
{
    std::vector<uint8_t> bytes;
    Append32(bytes, static_cast<uint32_t>(static_cast<uint64_t>(value) >> 32));
    Append32(bytes, static_cast<uint32_t>(value));
    Add(tag, std::move(bytes));
}

const std::vector<uint8_t>* TaggedItems::Find(FourCharCode tag, size_t index) const
{
    for (const Item& item : items)
        if (item.tag == tag && index-- == 0)
            return &item.bytes;
    return nullptr;
}

std::string TaggedItems::Text(FourCharCode tag) const
{
    const auto* bytes = Find(tag);
    return bytes ? std::string(bytes->begin(), bytes->end()) : std::string();
}

std::optional<int64_t> TaggedItems::Number(FourCharCode tag) const
{
    const auto* bytes = Find(tag);
    if (!bytes || bytes->size() != 8)
        return std::nullopt;
    const std::span all(*bytes);
    return static_cast<int64_t>(static_cast<uint64_t>(Read32(all)) << 32 | Read32(all.subspan(4)));
}

std::vector<uint8_t> TaggedItems::Flatten() const
{
    std::vector<uint8_t> bytes;
    Append32(bytes, kSignature);
    Append32(bytes, kVersion);
    Append32(bytes, static_cast<uint32_t>(items.size()));
    for (const Item& item : items) {
        Append32(bytes, item.tag);
        Append32(bytes, static_cast<uint32_t>(item.bytes.size()));
        bytes.insert(bytes.end(), item.bytes.begin(), item.bytes.end());
    }
    return bytes;
}

std::optional<TaggedItems> TaggedItems::Read(std::span<const uint8_t> flattened)
{
    if (flattened.size() < kHeadSize || Read32(flattened) != kSignature || Read32(flattened.subspan(4)) != kVersion)
        return std::nullopt;
    uint32_t count = Read32(flattened.subspan(8));
    TaggedItems read;
    auto rest = flattened.subspan(kHeadSize);
    for (; count > 0 && rest.size() >= kItemHeadSize; --count) {
        const FourCharCode tag = Read32(rest);
        const uint32_t length = Read32(rest.subspan(4));
        rest = rest.subspan(kItemHeadSize);
        if (length > rest.size())
            return std::nullopt;
        read.Add(tag, {rest.begin(), rest.begin() + length});
        rest = rest.subspan(length);
    }
    if (count > 0 || !rest.empty())
        return std::nullopt;
    return read;
}

bool TaggedItems::HasSignature(std::span<const uint8_t> flattened)
{
    return flattened.size() >= 4 && Read32(flattened) == kSignature;
}

} // namespace platform
