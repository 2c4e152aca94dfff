// SPDX-License-Identifier: MIT
#pragma once

#include "corefoundation/CFPropertyList.h"
#include "corefoundation/CFType.h"
#include "framework/String.h"

namespace velmora {

/// A platform string, created from a text or wrapping a reference.
class CFString : public CFType, public CFPropertyList {
public:
    /// Wraps the platform's string `ref` and retains it. Raises `CFTypeRefException` for 0.
    explicit CFString(int32_t ref) : CFType(ref) {}
    /// Creates a platform string from a text in its encoding. Raises `CFTypeRefException` for a text of plain bytes,
    /// which has no encoding.
    explicit CFString(const framework::String& s);

    using CFType::operator int32_t;

    /// The text in UTF-8; empty if the platform cannot convert it.
    virtual operator framework::String() const; // NOLINT: used as a text in expressions
};

} // namespace velmora
