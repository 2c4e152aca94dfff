// SPDX-License-Identifier: MIT
#include "framework/Application.h"

#include <gtest/gtest.h>

#include <QByteArray>

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    framework::StartRuntime(argc, argv);
    const int result = RUN_ALL_TESTS();
    framework::EndRuntime();
    return result;
}
