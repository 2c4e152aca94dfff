// SPDX-License-Identifier: MIT
#pragma once

#include <unistd.h>
#include <utility>

namespace platform {

/// A file descriptor that is closed with its owner. -1 is none.
class UniqueFD {
public:
    UniqueFD() = default;
    /// Takes a descriptor over; a negative one is none.
    explicit UniqueFD(int descriptor) : descriptor(descriptor) {}
    /// Takes over what `other` owns.
    UniqueFD(UniqueFD&& other) noexcept : descriptor(std::exchange(other.descriptor, -1)) {}
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
    explicit operator bool() const { return descriptor >= 0; }

    /// Closes it now.
    void Reset()
    {
        if (descriptor >= 0)
            ::close(std::exchange(descriptor, -1));
    }

private:
    int descriptor = -1;
};

} // namespace platform
