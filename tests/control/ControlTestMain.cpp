// SPDX-License-Identifier: MIT
#include "framework/Application.h"

#include <gtest/gtest.h>

#include <cstdlib>

int main(int argc, char** argv)
{
    ::setenv("QT_QPA_PLATFORM", "offscreen", 0);
    ::testing::InitGoogleTest(&argc, argv);
    framework::StartRuntime(argc, argv);
    framework::RegisterApplication(std::make_shared<framework::Application>());
    const int failures = RUN_ALL_TESTS();
    framework::RegisterApplication(nullptr);
    framework::EndRuntime();
    return failures;
}
