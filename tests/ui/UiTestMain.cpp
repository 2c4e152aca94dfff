// SPDX-License-Identifier: MIT
#include "framework/Application.h"

#include <gtest/gtest.h>

int main(int argc, char** argv)
{
    framework::StartRuntime(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    const int result = RUN_ALL_TESTS();
    framework::EndRuntime();
    return result;
}
