// SPDX-License-Identifier: MIT
#include "corefoundation/CFString.h"

#include "corefoundation/CFReferences.h"
#include "framework/MemoryBlock.h"
#include "platform/corefoundation/CoreFoundation.h"

namespace velmora {

using framework::MemoryBlock;
using framework::String;

namespace {

int32_t Created(const String& s)
{
    const auto size = static_cast<int32_t>(s.Bytes().size());
    MemoryBlock text(size + 1);
    text.StringValue(0, size, s);
    const int32_t encoding = s.HasEncoding() ? s.Encoding() : platform::kCFStringEncodingInvalidId;
    return platform::CFStringCreateWithCString(0, text.Pointer(), encoding);
}

} // namespace

CFString::CFString(const String& s)
{
    const int32_t created = Created(s);
    CoreFoundation::CheckCFTypeRef(created, "CFString", "Constructor", "CFStringCreateWithCString");
    CFType::Constructor(created);
    CoreFoundation::Release(created);
}

CFString::operator String() const
{
    const int32_t ref = *this;
    const int32_t length = platform::CFStringGetLength(ref);
    const int32_t size = platform::CFStringGetMaximumSizeForEncoding(length, platform::kCFStringEncodingUTF8);
    MemoryBlock block(size + 1);
    if (platform::CFStringGetCString(ref, block.Pointer(), block.Size(), platform::kCFStringEncodingUTF8) == 0)
        return {};
    const String text = framework::DefineEncoding(block.StringValue(0, size), framework::kEncodingUTF8);
    // `length` is in UTF-16 units, so with characters above U+FFFF the cut may include terminators.
    const String cut = framework::Left(text, length);
    return cut.Bytes().substr(0, cut.Bytes().find('\0'));
}

} // namespace velmora
