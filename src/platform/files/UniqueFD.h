// SPDX-License-Identifier: MIT
#pragma once

#include <unistd.h>
#include <utility>

namespace platform {

/// Owns a file descriptor and closes it. -1 is none.
class UniqueFD {
public:
    UniqueFD() = default;
    /// Takes ownership of a descriptor; negative: none.
    explicit UniqueFD(int descriptor) : descriptor(descriptor) {}
    /// Takes ownership of the descriptor of `other`.
    UniqueFD(UniqueFD&& other) noexcept : descriptor(std::exchange(other.descriptor, -1)) {}
    /// Closes the present descriptor and takes ownership of that of `other`.
    UniqueFD& operator=(UniqueFD&& other) noexcept
    {
        if (this != &other) {
            Reset();
            descriptor = std::exchange(other.descriptor, -1);
        }
        return *this;
    }
    ~UniqueFD() { Reset(); }

    /// The descriptor, still owned here; negative for none.
    int Get() const { return descriptor; }
    explicit operator bool() const { return descriptor >= 0; } ///< whether there is a descriptor

    /// Closes the descriptor.
    void Reset()
    {
        if (descriptor >= 0)
            ::close(std::exchange(descriptor, -1));
    }

private:
    int descriptor = -1;
};

} // namespace platform
