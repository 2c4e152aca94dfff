// SPDX-License-Identifier: MIT
#pragma once

#include "framework/Reference.h"

#include <cstdint>

namespace velmora {

class CFString;

/// Owns one retain on a reference-counted platform object. The reference is never 0 while this object lives.
class CFType {
public:
    /// Retains `ref`; the caller keeps its own retain. Raises `CFTypeRefException` for 0.
    explicit CFType(int32_t ref);
    virtual ~CFType();
    CFType(const CFType&) = delete;
    CFType& operator=(const CFType&) = delete;

    /// Whether the platform considers both objects equal.
    virtual bool Equals(const framework::Reference<CFType>& other) const;
    /// The platform's number for the object's type.
    virtual int32_t TypeID() const;

    /// The platform's description of the object; empty if it has none.
    virtual framework::Reference<CFString> Description() const;

    /// Asks for the description of a type but passes the reference instead of the type: empty or unrelated.
    virtual framework::Reference<CFString> TypeDescription() const;

    /// The number of retains.
    virtual int32_t RefCount() const;
    /// A hash value; equal objects have the same one.
    virtual int32_t Hash() const;

    /// The reference itself.
    virtual operator int32_t() const; // NOLINT: passed to platform calls as it is

    /// Writes the platform's description of the object to standard error.
    virtual void Show() const;

protected:
    CFType() = default;
    void Constructor(int32_t ref);

private:
    int32_t Ref = 0;
};

} // namespace velmora
