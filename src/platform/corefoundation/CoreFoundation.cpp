// SPDX-License-Identifier: MIT
// Counted string references.
//
// Objects are immutable except for their count, and only strings exist. A string is stored as UTF-8, which nearly every
// caller uses; other encodings are converted on the way in and out. A reference table assigns the references. One mutex
// guards all counts, so that the last release and a retain on another thread cannot race.
#include "platform/corefoundation/CoreFoundation.h"

#include "platform/corefoundation/TextEncoding.h"
#include "platform/memory/ReferenceTable.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <mutex>

namespace platform {
namespace {

constexpr int32_t kStringTypeID = 7;

struct CountedString {
    std::string text;
    int32_t references = 1;
};

ReferenceTable<CountedString>& Strings()
{
    static auto* table = new ReferenceTable<CountedString>(kCoreFoundationReference);
    return *table;
}

std::mutex& CountsMutex()
{
    static auto* mutex = new std::mutex;
    return *mutex;
}

CFStringRef NewString(std::string text)
{
    return Strings().Add(std::make_shared<CountedString>(CountedString{std::move(text)}));
}

// The bytes before the terminator; nothing if the block has no terminator.
std::optional<std::string_view> TerminatedBytes(Address text)
{
    const int64_t available = BytesFrom(text);
    if (available <= 0)
        return {};
    const char* bytes = PointerAt<char>(text);
    const size_t length = strnlen(bytes, static_cast<size_t>(available));
    if (length == static_cast<size_t>(available))
        return {};
    return std::string_view(bytes, length);
}

} // namespace

CFTypeRef CFRetain(CFTypeRef object)
{
    const std::lock_guard lock(CountsMutex());
    const auto string = Strings().Find(object);
    if (!string)
        return 0;
    ++string->references;
    return object;
}

void CFRelease(CFTypeRef object)
{
    const std::lock_guard lock(CountsMutex());
    if (const auto string = Strings().Find(object); string && --string->references == 0)
        Strings().Remove(object);
}

int32_t CFEqual(CFTypeRef a, CFTypeRef b)
{
    const auto first = Strings().Find(a);
    const auto second = Strings().Find(b);
    return first && second && first->text == second->text ? 1 : 0;
}

int32_t CFGetTypeID(CFTypeRef object)
{
    return Strings().Find(object) ? kStringTypeID : 0;
}

CFStringRef CFCopyDescription(CFTypeRef object)
{
    const auto string = Strings().Find(object);
    return string ? NewString("CFString " + std::to_string(object) + ": \"" + string->text + "\"") : 0;
}

CFStringRef CFCopyTypeIDDescription(int32_t typeID)
{
    return typeID == kStringTypeID ? NewString("CFString") : 0;
}

int32_t CFGetRetainCount(CFTypeRef object)
{
    const std::lock_guard lock(CountsMutex());
    const auto string = Strings().Find(object);
    return string ? string->references : 0;
}

int32_t CFHash(CFTypeRef object)
{
    const auto string = Strings().Find(object);
    if (!string)
        return 0;
    const size_t hash = std::hash<std::string>()(string->text);
    const auto folded = static_cast<int32_t>(static_cast<uint32_t>(hash) ^ static_cast<uint32_t>(hash >> 31));
    return folded == 0 ? 1 : folded;
}

void CFShow(CFTypeRef object)
{
    const CFStringRef description = CFCopyDescription(object);
    std::fprintf(stderr, "%s\n", description == 0 ? "(null)" : TextOfCFString(description).c_str());
    CFRelease(description);
}

CFStringRef CFStringCreateWithCString(int32_t, Address text, int32_t encoding)
{
    const auto bytes = TerminatedBytes(text);
    if (!bytes)
        return 0;
    auto decoded = DecodeText(*bytes, encoding);
    return decoded ? NewString(std::move(*decoded)) : 0;
}

int32_t CFStringGetLength(CFStringRef string)
{
    const auto found = Strings().Find(string);
    return found ? static_cast<int32_t>(UTF16Length(found->text)) : 0;
}

int32_t CFStringGetMaximumSizeForEncoding(int32_t length, int32_t encoding)
{
    const int64_t perUnit = MaxBytesPerUnit(encoding);
    const int64_t bytes = length * perUnit;
    const bool known = perUnit > 0 && length >= 0 && bytes <= std::numeric_limits<int32_t>::max();
    return known ? static_cast<int32_t>(bytes) : -1;
}

int32_t CFStringGetCString(CFStringRef string, Address buffer, int32_t size, int32_t encoding)
{
    const auto found = Strings().Find(string);
    const auto target = BytesAt(buffer, size);
    const auto encoded = found ? EncodeText(found->text, encoding) : std::nullopt;
    if (!encoded || encoded->size() >= target.size())
        return 0;
    std::ranges::copy(*encoded, target.begin());
    target[encoded->size()] = 0;
    return 1;
}

std::string TextOfCFString(CFStringRef string)
{
    const auto found = Strings().Find(string);
    return found ? found->text : std::string();
}

} // namespace platform
