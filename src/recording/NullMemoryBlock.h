// SPDX-License-Identifier: MIT
#pragma once

#include "framework/MemoryBlock.h"

namespace velmora {

/// A block without memory, for passing a null pointer where a block is expected.
class NullMemoryBlock : public framework::MemoryBlock {
public:
    NullMemoryBlock() = default;
    void Constructor() {} ///< does nothing: the block stays nil
};

} // namespace velmora
