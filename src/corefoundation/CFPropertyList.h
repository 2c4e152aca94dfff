// SPDX-License-Identifier: MIT
#pragma once

namespace velmora {

/// Marks the types that may stand in a property list.
class CFPropertyList {
public:
    virtual ~CFPropertyList() = default;
};

} // namespace velmora
