// SPDX-License-Identifier: MIT
#pragma once

#include "framework/Exceptions.h"
#include "framework/String.h"

namespace velmora {

/// A platform call gave a null reference where an object was needed.
class CFTypeRefException : public framework::RuntimeException {
public:
    /// Names the class and method that needed the object, and the call that did not give it.
    CFTypeRefException(framework::String className, framework::String methodName, framework::String functionName);

    /// The names, as they were given.
    virtual framework::String ClassName() const;
    virtual framework::String MethodName() const;
    virtual framework::String FunctionName() const;

    /// Writes "class.method: function failed." to the system log, as a warning.
    virtual void Log() const;

private:
    framework::String pClassName;
    framework::String pMethodName;
    framework::String pFunctionName;
};

} // namespace velmora
