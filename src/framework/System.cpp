// SPDX-License-Identifier: MIT
#include "framework/Application.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <string>
#include <syslog.h>

namespace framework {
namespace {

int32_t breaks = 0;

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

void DebugLog([[maybe_unused]] const String& text)
{
#ifndef NDEBUG
    std::fprintf(stderr, "%s\n", text.Bytes().c_str());
#endif
}

void Log(int32_t level, const String& text)
{
    // Levels count from 1000 (emergency) as the log's own do from 0.
    syslog(std::clamp<int32_t>(level - 1000, LOG_EMERG, LOG_DEBUG), "%s", text.Bytes().c_str());
}

} // namespace System
} // namespace framework
