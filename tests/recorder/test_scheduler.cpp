// Tasks that cannot do their piece of work.
#include <gtest/gtest.h>

#include <atomic>
#include <new>

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
