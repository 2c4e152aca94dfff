// SPDX-License-Identifier: MIT
#pragma once

#include "framework/Exceptions.h"

#include <memory>
#include <utility>

namespace framework {

/// A counted reference to an object. Using a nil one raises `NilObjectException`.
template <typename T> class Reference {
public:
    Reference() = default;
    /// A nil reference.
    Reference(std::nullptr_t) {}
    /// Shares the object with the pointer.
    explicit Reference(std::shared_ptr<T> object) : object(std::move(object)) {}
    /// The same object, as its base class.
    template <typename Derived> Reference(const Reference<Derived>& other) : object(other.Shared()) {}

    T* operator->() const { return Checked(); }
    T& operator*() const { return *Checked(); }
    explicit operator bool() const { return object != nullptr; }
    bool operator==(const Reference& other) const { return object == other.object; }

    /// The plain pointer, null for nil.
    T* Get() const { return object.get(); }
    /// The object as a standard shared pointer.
    const std::shared_ptr<T>& Shared() const { return object; }

    /// The same object as another class, nil when it is none.
    template <typename Other> Reference<Other> As() const
    {
        return Reference<Other>(std::dynamic_pointer_cast<Other>(object));
    }

private:
    T* Checked() const
    {
        if (!object)
            throw NilObjectException();
        return object.get();
    }

    std::shared_ptr<T> object;
};

/// Makes an object and the first reference to it.
template <typename T, typename... Arguments> Reference<T> New(Arguments&&... arguments)
{
    return Reference<T>(std::make_shared<T>(std::forward<Arguments>(arguments)...));
}

} // namespace framework
