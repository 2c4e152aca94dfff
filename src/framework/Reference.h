// SPDX-License-Identifier: MIT
#pragma once

#include "framework/Exceptions.h"

#include <memory>
#include <utility>

namespace framework {

/// A counted reference to an object. Using a nil reference raises `NilObjectException`.
template <typename T> class Reference {
public:
    Reference() = default;
    /// Creates a nil reference.
    Reference(std::nullptr_t) {}
    /// Shares ownership of the object with `object`.
    explicit Reference(std::shared_ptr<T> object) : object(std::move(object)) {}
    /// References the same object as its base class.
    template <typename Derived> Reference(const Reference<Derived>& other) : object(other.Shared()) {}

    T* operator->() const { return Checked(); }                  ///< raises `NilObjectException` if nil
    T& operator*() const { return *Checked(); }                  ///< raises `NilObjectException` if nil
    explicit operator bool() const { return object != nullptr; } ///< false if nil
    /// Whether both are the same object.
    bool operator==(const Reference& other) const { return object == other.object; }

    /// The plain pointer; null if nil.
    T* Get() const { return object.get(); }
    /// The object as a standard shared pointer.
    const std::shared_ptr<T>& Shared() const { return object; }

    /// The same object as another class; nil if it is not of that class.
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

/// Creates an object and returns the first reference to it.
template <typename T, typename... Arguments> Reference<T> New(Arguments&&... arguments)
{
    return Reference<T>(std::make_shared<T>(std::forward<Arguments>(arguments)...));
}

} // namespace framework
