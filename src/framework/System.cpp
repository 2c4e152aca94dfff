// SPDX-License-Identifier: MIT
#include "framework/Application.h"

#include <csignal>
#include <fstream>
#include <string>
#include <syslog.h>

namespace framework {
namespace {

int32_t breaks = 0;

constexpr int32_t kFirstLevel = 1000;

bool DebuggerIsAttached()
{
    const std::string label = "TracerPid:";
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with(label))
            return std::atoi(line.c_str() + label.size()) != 0;
    return false;
}

} // namespace

void Break()
{
    ++breaks;
    if (DebuggerIsAttached())
        std::raise(SIGTRAP);
}

int32_t BreakCount()
{
    return breaks;
}

namespace System {

void DebugLog(const String& text)
{
    Log(kFirstLevel + LOG_DEBUG, text);
}

// syslog's levels start at 0 (emergency). Unknown levels become errors, since nothing here is an emergency.
void Log(int32_t level, const String& text)
{
    const bool isLevel = level >= kFirstLevel && level <= kFirstLevel + LOG_DEBUG;
    syslog(isLevel ? level - kFirstLevel : LOG_ERR, "%s", text.Bytes().c_str());
}

} // namespace System
} // namespace framework
