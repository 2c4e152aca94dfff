// SPDX-License-Identifier: MIT
#pragma once

#include "framework/Reference.h"

#include <cstdint>

namespace velmora {

class CFString;

/// Owns one retain on a counted platform reference, which is never 0 while the object lives.
class CFType {
public:
    /// Shares `ref` with the caller, who still owes a release of its own. Raises `CFTypeRefException` for 0.
    explicit CFType(int32_t ref);
    virtual ~CFType();
    CFType(const CFType&) = delete;
    CFType& operator=(const CFType&) = delete;

    /// Whether the platform takes both objects for equal.
    virtual bool Equals(const framework::Reference<CFType>& other) const;
    /// The platform's number for the kind of object.
    virtual int32_t TypeID() const;

    /// The platform's text about the object; empty when it has none.
    virtual framework::Reference<CFString> Description() const;

    /// Asks for the description of a type, but hands over the reference: empty or unrelated.
    virtual framework::Reference<CFString> TypeDescription() const;

    /// How many retains there are, and the number that equal objects share.
    virtual int32_t RefCount() const;
    virtual int32_t Hash() const;

    /// The reference itself.
    virtual operator int32_t() const; // NOLINT: an object stands for its reference in platform calls

    /// Has the platform write the object to its standard error.
    virtual void Show() const;

protected:
    CFType() = default;
    void Constructor(int32_t ref);

private:
    int32_t Ref = 0;
};

} // namespace velmora
