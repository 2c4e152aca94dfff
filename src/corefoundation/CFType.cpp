// SPDX-License-Identifier: MIT
// One retain on a counted platform reference.
//
// `Ref` is set by the constructor and cleared only in the destructor. A reference that the platform created for us is
// already retained once: after wrapping it, release it, so that the wrapper's retain is the only one.
#include "corefoundation/CFType.h"

#include "corefoundation/CFReferences.h"
#include "corefoundation/CFString.h"
#include "corefoundation/CFTypeRefException.h"
#include "platform/corefoundation/CoreFoundation.h"

#include <utility>

namespace velmora {

using framework::New;
using framework::Reference;

namespace {

// Wraps a string that the platform created for us and releases the platform's own retain.
Reference<CFString> Adopted(int32_t copy)
{
    auto description = copy != 0 ? New<CFString>(copy) : New<CFString>(framework::String());
    CoreFoundation::Release(copy);
    return description;
}

} // namespace

CFType::CFType(int32_t ref)
{
    Constructor(ref);
}

void CFType::Constructor(int32_t ref)
{
    CoreFoundation::CheckCFTypeRef(ref, "CFType", "Constructor", "CFRetain");
    Ref = platform::CFRetain(ref);
    CoreFoundation::CheckCFTypeRef(Ref, "CFType", "Constructor", "CFRetain");
}

CFType::~CFType()
{
    CoreFoundation::Release(std::exchange(Ref, 0));
}

bool CFType::Equals(const Reference<CFType>& other) const
{
    return (platform::CFEqual(*this, *other) & 1) != 0;
}

int32_t CFType::TypeID() const
{
    return platform::CFGetTypeID(Ref);
}

Reference<CFString> CFType::Description() const
{
    return Adopted(platform::CFCopyDescription(Ref));
}

Reference<CFString> CFType::TypeDescription() const
{
    return Adopted(platform::CFCopyTypeIDDescription(Ref));
}

int32_t CFType::RefCount() const
{
    return platform::CFGetRetainCount(Ref);
}

int32_t CFType::Hash() const
{
    return platform::CFHash(Ref);
}

CFType::operator int32_t() const
{
    return Ref;
}

void CFType::Show() const
{
    platform::CFShow(Ref);
}

} // namespace velmora
