// SPDX-License-Identifier: MIT
#pragma once

#include "framework/String.h"

#include <cstdint>

namespace velmora::CoreFoundation {

/// Releases one retain; 0 is ignored.
void Release(int32_t ref);

/// Raises `CFTypeRefException` with the three names if `ref` is 0.
void CheckCFTypeRef(int32_t ref, const framework::String& className, const framework::String& methodName,
                    const framework::String& functionName);

} // namespace velmora::CoreFoundation
