// SPDX-License-Identifier: MIT
#pragma once

namespace velmora {

/// Marks the types that a property list can contain.
class CFPropertyList {
public:
    virtual ~CFPropertyList() = default;
};

} // namespace velmora
