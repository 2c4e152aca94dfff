// SPDX-License-Identifier: MIT
#pragma once

#include <stdexcept>
#include <string>

namespace framework {

/// The text that users see for a failure without a better message.
inline constexpr const char* kNotCarriedOut = "This could not be carried out.";

/// Base class of the exceptions of the framework and the control.
class RuntimeException : public std::runtime_error {
public:
    /// `message` is shown to the user.
    explicit RuntimeException(const std::string& message = kNotCarriedOut) : std::runtime_error(message) {}
};

/// An exception whose message is only logged; users see `kNotCarriedOut`.
class TechnicalException : public RuntimeException {
public:
    using RuntimeException::RuntimeException;
};

/// A nil reference was used.
class NilObjectException : public TechnicalException {
public:
    /// With the message "Nil object" for the log.
    NilObjectException() : TechnicalException("Nil object") {}
};

/// A memory block was accessed outside of its bounds.
class OutOfBoundsException : public TechnicalException {
public:
    /// With the message "Out of bounds" for the log.
    OutOfBoundsException() : TechnicalException("Out of bounds") {}
};

/// A platform function bound by name was not found.
class FunctionNotFoundException : public TechnicalException {
public:
    /// Takes the names of the function and of the library.
    FunctionNotFoundException(const std::string& function, const std::string& library)
        : TechnicalException(function + " not found in " + library), function(function), library(library)
    {
    }
    const std::string& FunctionName() const { return function; } ///< the missing function
    const std::string& LibraryName() const { return library; }   ///< where it was looked up

private:
    std::string function;
    std::string library;
};

} // namespace framework
