// SPDX-License-Identifier: MIT
#pragma once

#include <stdexcept>
#include <string>

namespace framework {

/// What a user reads of a failure that has no better words.
inline constexpr const char* kNotCarriedOut = "This could not be carried out.";

/// Base of what the framework and the control raise.
class RuntimeException : public std::runtime_error {
public:
    explicit RuntimeException(const std::string& message = kNotCarriedOut) : std::runtime_error(message) {}
};

/// One whose message helps whoever mends the program, and nobody else.
class TechnicalException : public RuntimeException {
public:
    using RuntimeException::RuntimeException;
};

/// A nil reference was used.
class NilObjectException : public TechnicalException {
public:
    NilObjectException() : TechnicalException("Nil object") {}
};

/// A block was read or written outside of its bounds.
class OutOfBoundsException : public TechnicalException {
public:
    OutOfBoundsException() : TechnicalException("Out of bounds") {}
};

/// A platform function that is bound by name was not found.
class FunctionNotFoundException : public TechnicalException {
public:
    FunctionNotFoundException(const std::string& function, const std::string& library)
        : TechnicalException(function + " not found in " + library), function(function), library(library)
    {
    }
    const std::string& FunctionName() const { return function; }
    const std::string& LibraryName() const { return library; }

private:
    std::string function;
    std::string library;
};

} // namespace framework
