// SPDX-License-Identifier: MIT
#include "corefoundation/CFReferences.h"

#include "corefoundation/CFTypeRefException.h"
#include "platform/corefoundation/CoreFoundation.h"

namespace velmora::CoreFoundation {

void Release(int32_t ref)
{
    if (ref != 0)
        platform::CFRelease(ref);
}

void CheckCFTypeRef(int32_t ref, const framework::String& className, const framework::String& methodName,
                    const framework::String& functionName)
{
    if (ref == 0)
        throw CFTypeRefException(className, methodName, functionName);
}

} // namespace velmora::CoreFoundation
