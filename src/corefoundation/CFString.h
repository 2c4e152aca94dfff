// SPDX-License-Identifier: MIT
#pragma once

#include "corefoundation/CFPropertyList.h"
#include "corefoundation/CFType.h"
#include "framework/String.h"

namespace velmora {

/// A platform string, made from a text or wrapped around a reference. Texts go to the platform in the encoding they
/// are known to have; one of plain bytes, which has none, raises `CFTypeRefException`.
class CFString : public CFType, public CFPropertyList {
public:
    /// Shares the platform's string `ref`.
    explicit CFString(int32_t ref) : CFType(ref) {}
    /// Makes a string of the platform of a text.
    explicit CFString(const framework::String& s);

    using CFType::operator int32_t;

    /// The text in UTF-8; empty where the platform can't give it.
    virtual operator framework::String() const; // NOLINT: a platform string is used as a text
};

} // namespace velmora
