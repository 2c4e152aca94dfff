// SPDX-License-Identifier: MIT
#include "platform/log/Log.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <tuple>
#include <vector>

using namespace platform;

namespace {

TEST(Log, SettingsChooseCategoriesAndLevels)
{
    // The settings, the levels of the digitizer and of movies, and whether they are understood.
    const std::tuple<const char*, LogLevel, LogLevel, bool> cases[] = {
        {nullptr, LogLevel::Off, LogLevel::Off, true},
        {"", LogLevel::Off, LogLevel::Off, true},
        {"digitizer,movies:debug", LogLevel::Info, LogLevel::Debug, true},
        {"all:warning,movies:off", LogLevel::Warning, LogLevel::Off, true},
        {",,movies", LogLevel::Off, LogLevel::Info, true},
        {"movies:loud,digitizer", LogLevel::Info, LogLevel::Off, false},
        {"cameras", LogLevel::Off, LogLevel::Off, false},
    };
    for (const auto& [settings, digitizer, movies, isUnderstood] : cases) {
        SCOPED_TRACE(settings == nullptr ? "(null)" : settings);
        testing::internal::CaptureStderr();
        ConfigureLog(settings);
        EXPECT_EQ(testing::internal::GetCapturedStderr().empty(), isUnderstood);
        for (const auto level : {LogLevel::Error, LogLevel::Warning, LogLevel::Info, LogLevel::Debug}) {
            EXPECT_EQ(digitizerLog.Writes(level), level <= digitizer);
            EXPECT_EQ(moviesLog.Writes(level), level <= movies);
        }
    }
    ConfigureLog(nullptr);
}

TEST(Log, AMessageIsOneLineOfItsParts)
{
    std::vector<std::string> lines;
    SetLogWriter([&](const LogCategory& category, LogLevel, const std::string& text) {
        lines.push_back(std::string(category.Name()) + ": " + text);
    });
    ConfigureLog("digitizer");
    digitizerLog.Info("Camera\n\x1B[2J", ": ", -5, " at ", 29.97, ", ", ErrorText(ENOSPC));
    digitizerLog.Debug("not at this level");
    soundLog.Error("nor this category");
    ConfigureLog(nullptr);
    SetLogWriter(nullptr);
    EXPECT_EQ(lines, std::vector<std::string>{"digitizer: Camera  [2J: -5 at 29.97, No space left on device"});
}

} // namespace
