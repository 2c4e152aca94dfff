// SPDX-License-Identifier: MIT
#pragma once

#include "framework/Exceptions.h"
#include "framework/String.h"

namespace velmora {

/// A platform call returned a null reference where an object was needed.
class CFTypeRefException : public framework::RuntimeException {
public:
    /// Takes the class and method that needed the object, and the platform call that failed.
    CFTypeRefException(framework::String className, framework::String methodName, framework::String functionName);

    virtual framework::String ClassName() const;    ///< the class that needed the object
    virtual framework::String MethodName() const;   ///< its method
    virtual framework::String FunctionName() const; ///< the platform call that failed

    /// Writes "class.method: function failed." to the system log, as a warning.
    virtual void Log() const;

private:
    framework::String pClassName;
    framework::String pMethodName;
    framework::String pFunctionName;
};

} // namespace velmora
