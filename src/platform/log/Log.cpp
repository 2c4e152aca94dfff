// SPDX-License-Identifier: MIT
// The log.
//
// A category reads its level at its first message, so that other static objects can write before anything is set up.
#include "platform/log/Log.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <mutex>
#include <optional>
#include <system_error>
#include <unistd.h>

namespace platform {
namespace {

constexpr std::array<std::string_view, 5> kLevelNames{"off", "error", "warning", "info", "debug"};
constexpr std::string_view kAll = "all";
constexpr std::array<const LogCategory*, 5> kCategories{&digitizerLog, &soundLog, &grabberLog, &moviesLog,
                                                        &compressionLog};

struct Output {
    // Never destroyed: threads may write at any time.
    static Output& Instance()
    {
        static auto* output = new Output;
        return *output;
    }

    std::mutex mutex;
    LogWriter writer;
};

std::optional<LogLevel> LevelNamed(std::string_view name)
{
    const auto* found = std::ranges::find(kLevelNames, name);
    return found == kLevelNames.end() ? std::nullopt
                                      : std::optional(static_cast<LogLevel>(found - kLevelNames.begin()));
}

// Calls `use` with the name and the level of each entry; an unknown level is passed as nothing.
template <typename Use> void ForEachEntry(std::string_view settings, Use use)
{
    while (!settings.empty()) {
        const std::string_view entry = settings.substr(0, settings.find(','));
        settings.remove_prefix(std::min(settings.size(), entry.size() + 1));
        const size_t colon = entry.find(':');
        if (!entry.empty())
            use(entry.substr(0, colon),
                colon == std::string_view::npos ? std::optional(LogLevel::Info) : LevelNamed(entry.substr(colon + 1)));
    }
}

LogLevel LevelOf(std::string_view category, const char* settings)
{
    LogLevel level = LogLevel::Off;
    ForEachEntry(settings == nullptr ? "" : settings, [&](std::string_view name, std::optional<LogLevel> wanted) {
        if (wanted && (name == category || name == kAll))
            level = *wanted;
    });
    return level;
}

std::string UnknownEntries(const char* settings)
{
    std::string unknown;
    ForEachEntry(settings == nullptr ? "" : settings, [&](std::string_view name, std::optional<LogLevel> wanted) {
        const bool isKnown = name == kAll || std::ranges::any_of(kCategories, [=](const LogCategory* category) {
                                 return category->Name() == name;
                             });
        if (!isKnown || !wanted)
            unknown += " " + std::string(name);
    });
    return unknown;
}

void WriteToStandardError(std::string_view line)
{
    while (!line.empty()) {
        const ssize_t count = ::write(STDERR_FILENO, line.data(), line.size());
        if (count <= 0)
            return;
        line.remove_prefix(static_cast<size_t>(count));
    }
}

void ReportUnknown(const char* settings)
{
    const std::string unknown = UnknownEntries(settings);
    if (unknown.empty())
        return;
    std::string line = "VELMORA_LOG: not understood:" + unknown + ". Categories:";
    for (const LogCategory* category : kCategories)
        line += std::string(" ") + category->Name();
    WriteToStandardError(line + ", all; levels: error, warning, info, debug.\n");
}

// Read once: the environment must not be read while another thread may change it.
const char* SettingsOfProcess()
{
    static const std::string settings = [] {
        const char* const value = std::getenv("VELMORA_LOG");
        ReportUnknown(value);
        return std::string(value == nullptr ? "" : value);
    }();
    return settings.c_str();
}

std::string TimeText()
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    std::tm local{};
    std::array<char, 32> clock{};
    std::strftime(clock.data(), clock.size(), "%H:%M:%S", localtime_r(&now.tv_sec, &local));
    std::array<char, 48> text{};
    std::snprintf(text.data(), text.size(), "%s.%03ld", clock.data(), now.tv_nsec / 1'000'000);
    return text.data();
}

} // namespace

void LogCategory::Append(std::string& text, double part)
{
    std::array<char, 32> digits{};
    std::snprintf(digits.data(), digits.size(), "%.6g", part);
    text += digits.data();
}

LogLevel LogCategory::ReadThreshold() const
{
    threshold = LevelOf(name, SettingsOfProcess());
    return threshold;
}

// Replaces control characters, which device names may contain, so that a message is always one line.
void LogCategory::WriteLine(LogLevel level, std::string text) const
{
    std::ranges::replace_if(
        text, [](char one) { return static_cast<unsigned char>(one) < ' ' || one == 0x7F; }, ' ');
    const std::lock_guard lock(Output::Instance().mutex);
    if (Output::Instance().writer)
        Output::Instance().writer(*this, level, text);
    else
        WriteToStandardError(TimeText() + " " + name + " " + std::string(kLevelNames[static_cast<size_t>(level)]) +
                             ": " + text + "\n");
}

std::string ErrorText(int error)
{
    return std::generic_category().message(error);
}

void ConfigureLog(const char* settings)
{
    ReportUnknown(settings);
    for (const LogCategory* category : kCategories)
        category->threshold = LevelOf(category->Name(), settings);
}

void SetLogWriter(LogWriter writer)
{
    const std::lock_guard lock(Output::Instance().mutex);
    Output::Instance().writer = std::move(writer);
}

} // namespace platform
