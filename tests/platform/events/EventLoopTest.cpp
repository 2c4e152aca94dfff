// SPDX-License-Identifier: MIT
#include "platform/events/EventLoop.h"

#include "platform/memory/CodeAddress.h"
#include "support/Await.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>

#include <algorithm>
#include <functional>
#include <map>
#include <vector>

using namespace platform;

namespace {

// What each timer's user data stands for, and the timers in the order in which they fired.
std::map<int32_t, std::function<void(EventLoopTimer)>> actions;
std::vector<int32_t> fired;

void Fire(EventLoopTimer timer, int32_t userData)
{
    fired.push_back(userData);
    if (actions.contains(userData))
        actions[userData](timer);
}

bool RunUntil(const std::function<bool()>& done)
{
    return Await([&] {
        QCoreApplication::processEvents();
        return done();
    });
}

int64_t CountOf(int32_t userData)
{
    return std::count(fired.begin(), fired.end(), userData);
}

class EventLoopTest : public testing::Test {
protected:
    EventLoopTest() { fired.clear(), actions.clear(); }

    EventLoopTimer Install(double first, double interval, int32_t userData)
    {
        EXPECT_EQ(InstallEventLoopTimer(GetMainEventLoop(), first, interval, callback, userData, out.Get()), noErr);
        return Peek<EventLoopTimer>(out.Get());
    }

    OwnedBlock out{4};
    int32_t callback = NewEventLoopTimerUPP(CodeAddressOf(Fire));
};

TEST_F(EventLoopTest, FiresAtOnceWhenAnotherThreadHastensIt)
{
    const EventLoopTimer timer = Install(3600, 3600, 1);
    actions[1] = [](EventLoopTimer running) { EXPECT_EQ(CurrentEventLoopTimer(), running); };
    HastenEventLoopTimer(timer + 1);
    for (int64_t round = 1; round <= 3; ++round) {
        std::thread([timer] {
            HastenEventLoopTimer(timer);
            HastenEventLoopTimer(timer);
        }).join();
        ASSERT_TRUE(RunUntil([round] { return CountOf(1) == round; }));
        QCoreApplication::processEvents();
        EXPECT_EQ(CountOf(1), round) << "two requests at a time are one";
    }
    EXPECT_EQ(CurrentEventLoopTimer(), 0);
    HastenEventLoopTimer(timer);
    EXPECT_EQ(RemoveEventLoopTimer(timer), noErr);
    EXPECT_EQ(RemoveEventLoopTimer(timer), eventLoopInvalidTimer);
    QCoreApplication::processEvents();
    EXPECT_EQ(CountOf(1), 3) << "a removed timer is silent";
}

TEST_F(EventLoopTest, MayRemoveItselfAndOthersInItsCallback)
{
    actions[1] = [other = Install(0.02, 0.02, 2)](EventLoopTimer timer) {
        RemoveEventLoopTimer(timer);
        RemoveEventLoopTimer(other);
    };
    Install(0.005, 0.005, 1);
    Install(0.06, 0, 3);
    ASSERT_TRUE(RunUntil([] { return CountOf(3) == 1; }));
    EXPECT_EQ(fired, (std::vector<int32_t>{1, 3}));
}

// A callback that runs its own event loop stops repeating timers and defers the others.
TEST_F(EventLoopTest, NeverFiresInsideACallback)
{
    actions[1] = [](EventLoopTimer timer) {
        RemoveEventLoopTimer(timer);
        QEventLoop nested;
        QTimer::singleShot(60, &nested, &QEventLoop::quit);
        nested.exec();
        EXPECT_EQ(fired, std::vector<int32_t>{1});
    };
    Install(0.001, 0, 1);
    const EventLoopTimer repeating = Install(0.01, 0.01, 2);
    Install(0.02, 0, 3);
    ASSERT_TRUE(RunUntil([] { return CountOf(3) == 1 && CountOf(2) > 2; }));
    RemoveEventLoopTimer(repeating);
}

} // namespace

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    QCoreApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
