// SPDX-License-Identifier: MIT
#pragma once

#include "framework/MemoryBlock.h"

namespace velmora {

/// A block without memory, to pass a null pointer where a block is wanted.
class NullMemoryBlock : public framework::MemoryBlock {
public:
    NullMemoryBlock() = default;
    void Constructor() {}
};

} // namespace velmora
