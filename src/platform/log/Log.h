// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace platform {

/// How much a message matters. A category that is switched on at a level writes that one and all before it.
enum class LogLevel : uint8_t {
    Off,
    Error,   ///< something failed that the user asked for
    Warning, ///< an outage, a refused request, a failed system call that may matter
    Info,    ///< what starts and stops, formats and controls that change
    Debug,   ///< all else, failed system calls that are expected among it
};

/// The messages of one module.
///
/// `VELMORA_LOG` names the categories to be written to standard error, each with a level of its own where "info" is
/// not enough: `VELMORA_LOG=digitizer,movies:debug`. "all" stands for every category. Without it nothing is written,
/// and a message costs one load and one comparison: its parts are put together only when it is written.
///
/// Any thread may write. A line goes out in one piece.
class LogCategory {
public:
    constexpr explicit LogCategory(const char* name) : name(name) {}

    bool Writes(LogLevel level) const
    {
        const LogLevel highest = threshold.load(std::memory_order_relaxed);
        return level <= (highest == kUnread ? ReadThreshold() : highest);
    }

    /// Parts are texts and numbers, which follow one another without spaces.
    template <typename... Parts> void Error(const Parts&... parts) const { Write(LogLevel::Error, parts...); }
    template <typename... Parts> void Warning(const Parts&... parts) const { Write(LogLevel::Warning, parts...); }
    template <typename... Parts> void Info(const Parts&... parts) const { Write(LogLevel::Info, parts...); }
    template <typename... Parts> void Debug(const Parts&... parts) const { Write(LogLevel::Debug, parts...); }

    template <typename... Parts> void Write(LogLevel level, const Parts&... parts) const
    {
        if (!Writes(level))
            return;
        std::string text;
        (Append(text, parts), ...);
        WriteLine(level, std::move(text));
    }

    const char* Name() const { return name; }

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

/// The categories: one for each module that has something to say.
inline constinit LogCategory digitizerLog{"digitizer"};
inline constinit LogCategory soundLog{"sound"};
inline constinit LogCategory grabberLog{"grabber"};
inline constinit LogCategory moviesLog{"movies"};

/// The words of an error number.
std::string ErrorText(int error);

/// Switches categories on and off as `VELMORA_LOG` would; null and empty switch all off. What the settings name that
/// isn't there is reported on standard error.
void ConfigureLog(const char* settings);

/// Receives the lines in place of standard error, on the thread that writes them; empty: standard error again.
using LogWriter = std::function<void(const LogCategory& category, LogLevel level, const std::string& text)>;
void SetLogWriter(LogWriter writer);

} // namespace platform
