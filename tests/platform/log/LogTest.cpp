// SPDX-License-Identifier: MIT
#include "platform/log/Log.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <vector>

using namespace platform;

namespace {

struct Lines {
    Lines()
    {
        SetLogWriter([this](const LogCategory& category, LogLevel, const std::string& text) {
            lines.push_back(std::string(category.Name()) + ": " + text);
        });
    }
    ~Lines()
    {
        SetLogWriter(nullptr);
        ConfigureLog(nullptr);
    }
    std::vector<std::string> lines;
};

TEST(Log, SettingsChooseCategoriesAndLevels)
{
    struct Case {
        const char* settings;
        LogLevel digitizer;
        LogLevel movies;
        bool isUnderstood;
    };
    const Case cases[] = {
        {nullptr, LogLevel::Off, LogLevel::Off, true},
        {"", LogLevel::Off, LogLevel::Off, true},
        {"digitizer,movies:debug", LogLevel::Info, LogLevel::Debug, true},
        {"all:warning,movies:off", LogLevel::Warning, LogLevel::Off, true},
        {",,movies", LogLevel::Off, LogLevel::Info, true},
        {"movies:loud,digitizer", LogLevel::Info, LogLevel::Off, false},
        {"cameras", LogLevel::Off, LogLevel::Off, false},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.settings == nullptr ? "(null)" : one.settings);
        testing::internal::CaptureStderr();
        ConfigureLog(one.settings);
        EXPECT_EQ(testing::internal::GetCapturedStderr().empty(), one.isUnderstood);
        for (const auto level : {LogLevel::Error, LogLevel::Warning, LogLevel::Info, LogLevel::Debug}) {
            EXPECT_EQ(digitizerLog.Writes(level), level <= one.digitizer);
            EXPECT_EQ(moviesLog.Writes(level), level <= one.movies);
        }
    }
    ConfigureLog(nullptr);
}

TEST(Log, AMessageIsOneLineOfItsParts)
{
    Lines log;
    ConfigureLog("digitizer");
    digitizerLog.Info("Camera\n\x1B[2J", ": ", -5, " at ", 29.97, ", ", ErrorText(ENOSPC));
    digitizerLog.Debug("not at this level");
    soundLog.Error("nor this category");
    EXPECT_EQ(log.lines, std::vector<std::string>{"digitizer: Camera  [2J: -5 at 29.97, No space left on device"});
}

} // namespace
