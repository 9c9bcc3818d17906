#include <gtest/gtest.h>

#include <thread>

#include "platform/ended_threads.h"
#include "platform/event.h"
#include "platform/worker.h"
#include "support/wait_until.h"

using namespace kvmon;

TEST(EventTest, LowestSetIndexWinsAndStaysSet) {
    Event exit;
    exit.Set();
    Event run;
    run.Set();
    Event* const both[] = {&exit, &run};
    EXPECT_EQ(WaitAny(both, Milliseconds(0)), 0);
    exit.Reset();
    EXPECT_EQ(WaitAny(both, std::nullopt), 1);
    EXPECT_TRUE(run.IsSet());
    run.Reset();
    EXPECT_EQ(WaitAny(both, Milliseconds(1)), kWaitTimeout);
}

TEST(EventTest, WakesAllWaitersFromOtherThreads) {
    Event go;
    Event other;
    std::atomic<int> woken{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&] {
            Event* const both[] = {&other, &go};
            if (WaitAny(both, std::nullopt) == 1) {
                ++woken;
            }
        });
    }
    go.Set();
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(woken, 8);
}

TEST(EventTest, SetAndResetInARaceNeverLosesTheLastSet) {
    for (int round = 0; round < 200; ++round) {
        Event event;
        std::thread setter([&] {
            event.Set();
            event.Reset();
            event.Set();
        });
        EXPECT_TRUE(event.Wait(std::chrono::seconds(10)));
        setter.join();
    }
}

TEST(EventTest, AnEventMayGoAsSoonAsItsWaitIsOver) {
    Event steady;
    for (int round = 0; round < 2000; ++round) {
        auto event = std::make_unique<Event>();
        std::thread next([&steady, event = event.get()] {
            steady.Set();
            steady.Reset();
            event->Set();
        });
        Event* const both[] = {&steady, event.get()};
        const int first = WaitAny(both, Milliseconds(round % 2));
        if (first != 1) {
            EXPECT_TRUE(event->Wait(std::chrono::seconds(10)));
        }
        event.reset();
        next.join();
    }
}

TEST(WorkerTest, EndsAndCanBeStartedAgain) {
    Worker worker;
    Event go;
    ASSERT_TRUE(worker.Start("test", [&] { go.Wait(); }));
    EXPECT_FALSE(worker.Start("second", [] {}));
    EXPECT_TRUE(worker.IsRunning());
    EXPECT_FALSE(worker.Wait(Milliseconds(1)));
    go.Set();
    EXPECT_TRUE(worker.Wait(std::chrono::seconds(10)));
    EXPECT_FALSE(worker.IsHeld());
    EXPECT_TRUE(worker.Start("again", [] {}));
    EXPECT_TRUE(worker.Wait(std::chrono::seconds(10)));
}

TEST(WorkerTest, AbandonedBodyKeepsWhatItOwnsUntilItEnds) {
    struct Owned {
        Event go;
    };
    auto owned = std::make_shared<Owned>();
    std::weak_ptr<Owned> watch = owned;
    {
        Worker worker;
        ASSERT_TRUE(worker.Start("stuck", [owned] { owned->go.Wait(); }));
        EXPECT_FALSE(worker.Wait(Milliseconds(1)));
    }
    EXPECT_EQ(Worker::AbandonedCount(), 1);
    owned->go.Set();
    owned.reset();
    EXPECT_TRUE(kvtest::WaitUntil([&] { return watch.expired() && Worker::AbandonedCount() == 0; }));
}

// A library cleans up what it kept for a thread when the body has long ended.
TEST(WorkerTest, AtTheProgramsEndTheThreadsOfEndedBodiesAreGone) {
    static std::atomic<int> cleaned{0};
    struct KeptForTheThread {
        ~KeptForTheThread() {
            std::this_thread::sleep_for(Milliseconds(30));
            ++cleaned;
        }
    };
    const auto body = [] { static thread_local const KeptForTheThread kept; };
    Worker waited;
    ASSERT_TRUE(waited.Start("waited", body));
    EXPECT_TRUE(waited.Wait(std::chrono::seconds(10)));
    const auto go = std::make_shared<Event>();
    {
        Worker abandoned;
        ASSERT_TRUE(abandoned.Start("abandoned", [go, body] {
            body();
            go->Wait();
        }));
    }
    go->Set();
    EXPECT_TRUE(kvtest::WaitUntil([] { return Worker::AbandonedCount() == 0; }));
    JoinEndedThreads();
    EXPECT_EQ(cleaned, 2);
}

TEST(WorkerTest, AtTheProgramsEndAllWaitsShareOneLimit) {
    const auto go = std::make_shared<Event>();
    Worker first, second;
    ASSERT_TRUE(first.Start("stuck", [go] { go->Wait(); }));
    ASSERT_TRUE(second.Start("stuck", [go] { go->Wait(); }));
    Worker::LimitWaits(Milliseconds(1));
    // Either would wait for an hour.
    EXPECT_FALSE(first.Wait(std::chrono::hours(1)));
    EXPECT_FALSE(second.Wait(std::chrono::hours(1)));
    Worker::LimitWaits(std::nullopt);
    go->Set();
    EXPECT_TRUE(first.Wait(std::chrono::seconds(10)));
    EXPECT_TRUE(second.Wait(std::chrono::seconds(10)));
}
