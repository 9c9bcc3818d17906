// Tasks that cannot do their piece of work.
#include <gtest/gtest.h>

#include <atomic>
#include <new>
#include <thread>
#include <vector>

#include "media/scheduler.h"
#include "media_tools.h"
#include "support/wait_until.h"

using namespace kvrecorder;

TEST(SchedulerTest, ATaskThatThrowsIsTriedAgainAndStopsNoOther) {
    const auto clock = std::make_shared<kvtest::SelfMovingClock>();
    Scheduler scheduler(clock, 1);
    std::atomic<int> tries = 0;
    std::atomic<int> others = 0;
    const int poor = scheduler.Add([&]() -> std::optional<MediaTime> {
        if (++tries < 3) {
            throw std::bad_alloc();
        }
        return std::nullopt;
    });
    const int good = scheduler.Add([&]() -> std::optional<MediaTime> {
        ++others;
        return std::nullopt;
    });
    scheduler.Wake(poor);
    scheduler.Wake(good);
    clock->Allow(std::chrono::seconds(10));
    EXPECT_TRUE(kvtest::WaitUntil([&] { return tries == 3 && others == 1; }));
}

TEST(SchedulerTest, ATaskThatACallerRunsIsNeverRunTwiceAtOnceAndNotAfterTheEnd) {
    Scheduler scheduler(std::make_shared<SystemMediaClock>(), 2);
    std::atomic<int> within = 0;
    std::atomic<int> runs = 0;
    std::atomic<bool> isTwice = false;
    const int task = scheduler.Add([&]() -> std::optional<MediaTime> {
        isTwice = isTwice || ++within > 1;
        std::this_thread::yield();
        ++runs;
        --within;
        return std::nullopt;
    });
    std::vector<std::jthread> callers;
    for (int i = 0; i < 4; ++i) {
        callers.emplace_back([&] {
            for (int k = 0; k < 500; ++k) {
                k % 3 == 0 ? scheduler.Wake(task) : scheduler.RunHere(task);
            }
        });
    }
    callers.clear();
    EXPECT_FALSE(isTwice);
    // Whoever calls while it runs has it run once more.
    int before = runs;
    scheduler.RunHere(task);
    EXPECT_TRUE(kvtest::WaitUntil([&] { return runs > before; }));
    scheduler.Stop();
    before = runs;
    scheduler.RunHere(task);
    EXPECT_EQ(runs, before);
}
