// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace platform {

/// The level of a message. A category writes messages of its own level and of those above it in this list.
enum class LogLevel : uint8_t {
    Off,
    Error,   ///< an operation of the user failed
    Warning, ///< a device outage, a rejected request, an unexpected failure of a system call
    Info,    ///< starting and stopping, changes of formats and controls
    Debug,   ///< everything else, including expected failures of system calls
};

/// The log messages of one module.
///
/// The environment variable `VELMORA_LOG` lists the categories to be written to standard error, each optionally with a
/// level; "info" is the default: `VELMORA_LOG=digitizer,movies:debug`. "all" is every category. Without the variable
/// nothing is written, and a message costs one load and one comparison: its text is composed only if it is written.
///
/// Any thread may write. Each line is written in one piece.
class LogCategory {
public:
    /// `name` must outlive the object.
    constexpr explicit LogCategory(const char* name) : name(name) {}

    /// Whether messages of that level are written.
    bool Writes(LogLevel level) const
    {
        const LogLevel highest = threshold.load(std::memory_order_relaxed);
        return level <= (highest == kUnread ? ReadThreshold() : highest);
    }

    /// Writes a message at level error. The parts are texts and numbers, joined without spaces.
    template <typename... Parts> void Error(const Parts&... parts) const { Write(LogLevel::Error, parts...); }
    /// Writes a message at level warning.
    template <typename... Parts> void Warning(const Parts&... parts) const { Write(LogLevel::Warning, parts...); }
    /// Writes a message at level info.
    template <typename... Parts> void Info(const Parts&... parts) const { Write(LogLevel::Info, parts...); }
    /// Writes a message at level debug.
    template <typename... Parts> void Debug(const Parts&... parts) const { Write(LogLevel::Debug, parts...); }

    /// Writes a message at that level.
    template <typename... Parts> void Write(LogLevel level, const Parts&... parts) const
    {
        if (!Writes(level))
            return;
        std::string text;
        (Append(text, parts), ...);
        WriteLine(level, std::move(text));
    }

    const char* Name() const { return name; } ///< the category's name in `VELMORA_LOG`

private:
    friend void ConfigureLog(const char* settings);

    static constexpr auto kUnread = static_cast<LogLevel>(0xFF);

    static void Append(std::string& text, std::string_view part) { text += part; }
    static void Append(std::string& text, const char* part) { text += part == nullptr ? "(null)" : part; }
    static void Append(std::string& text, double part);
    template <typename Number>
    requires std::is_integral_v<Number>
    static void Append(std::string& text, Number part) { text += std::to_string(part); }

    LogLevel ReadThreshold() const;
    void WriteLine(LogLevel level, std::string text) const;

    const char* name;
    mutable std::atomic<LogLevel> threshold{kUnread};
};

/// The categories: one for each module that writes messages.
inline constinit LogCategory digitizerLog{"digitizer"};
inline constinit LogCategory soundLog{"sound"};
inline constinit LogCategory grabberLog{"grabber"};
inline constinit LogCategory moviesLog{"movies"};
inline constinit LogCategory compressionLog{"compression"};

/// The system's text for an `errno` value.
std::string ErrorText(int error);

/// Sets the levels of all categories like `VELMORA_LOG`; null or empty turns all off. Unknown names and levels are
/// reported on standard error.
void ConfigureLog(const char* settings);

/// Receives the lines of the log, on the thread that writes them.
using LogWriter = std::function<void(const LogCategory& category, LogLevel level, const std::string& text)>;
/// Sends the log to `writer` instead of standard error; empty: to standard error.
void SetLogWriter(LogWriter writer);

} // namespace platform
