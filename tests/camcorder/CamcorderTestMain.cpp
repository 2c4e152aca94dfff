// SPDX-License-Identifier: MIT
#include "app/App.h"
#include "platform/Platform.h"

#include <gtest/gtest.h>

int main(int argc, char** argv)
{
    framework::StartRuntime(argc, argv);
    platform::StartPlatform();
    velmora::_InitialiseModules();
    testing::InitGoogleTest(&argc, argv);
    const int result = RUN_ALL_TESTS();
    velmora::_FinaliseModules();
    framework::EndRuntime();
    return result;
}
