// SPDX-License-Identifier: MIT
#include "corefoundation/CFTypeRefException.h"

#include "framework/Application.h"

#include <utility>

namespace velmora {

namespace {

constexpr int32_t kWarning = 1003;

} // namespace

CFTypeRefException::CFTypeRefException(framework::String className, framework::String methodName,
                                       framework::String functionName)
    : pClassName(std::move(className)), pMethodName(std::move(methodName)), pFunctionName(std::move(functionName))
{
}

framework::String CFTypeRefException::ClassName() const
{
    return pClassName;
}

framework::String CFTypeRefException::MethodName() const
{
    return pMethodName;
}

framework::String CFTypeRefException::FunctionName() const
{
    return pFunctionName;
}

void CFTypeRefException::Log() const
{
    framework::System::Log(kWarning, ClassName() + "." + MethodName() + ": " + FunctionName() + " failed.");
}

} // namespace velmora
