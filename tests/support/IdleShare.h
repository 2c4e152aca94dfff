// SPDX-License-Identifier: MIT
#pragma once

#include <fstream>
#include <string>

/// The share of idle processor time since this was created. On a fully loaded machine simulated devices, which are
/// programs themselves, are late, and times say nothing about the code under test.
class IdleShare {
public:
    bool HadTime() const
    {
        constexpr double kEnough = 0.2;
        const Times now;
        return static_cast<double>(now.idle - begin.idle) >= kEnough * static_cast<double>(now.all - begin.all);
    }

private:
    struct Times {
        Times()
        {
            std::ifstream file("/proc/stat");
            std::string label;
            file >> label;
            long time = 0;
            for (int field = 0; field < 8 && file >> time; ++field) {
                all += time;
                idle += field == 3 ? time : 0;
            }
        }
        long idle = 0, all = 0;
    };
    Times begin;
};
