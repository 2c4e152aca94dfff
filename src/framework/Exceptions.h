// SPDX-License-Identifier: MIT
#pragma once

#include <stdexcept>
#include <string>

namespace framework {

/// Base of what the framework and the control raise.
class RuntimeException : public std::runtime_error {
public:
    explicit RuntimeException(const std::string& message = "Runtime exception") : std::runtime_error(message) {}
};

/// A nil reference was used.
class NilObjectException : public RuntimeException {
public:
    NilObjectException() : RuntimeException("Nil object") {}
};

/// A block was read or written outside of its bounds.
class OutOfBoundsException : public RuntimeException {
public:
    OutOfBoundsException() : RuntimeException("Out of bounds") {}
};

/// A platform function that is bound by name was not found.
class FunctionNotFoundException : public RuntimeException {
public:
    FunctionNotFoundException(const std::string& function, const std::string& library)
        : RuntimeException(function + " not found in " + library), function(function), library(library)
    {
    }
    const std::string& FunctionName() const { return function; }
    const std::string& LibraryName() const { return library; }

private:
    std::string function;
    std::string library;
};

} // namespace framework
