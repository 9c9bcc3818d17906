#include "platform/clock.h"

#include <gtest/gtest.h>

#include <thread>

#include "platform/diagnostics.h"
#include "platform/worker.h"

using namespace kvmon;

namespace {

std::mutex toldMutex;
std::string told;

class DiagnosticsTest : public testing::Test {
protected:
    void SetUp() override {
        told.clear();
        SetDiagnosticSink([](const char* text) {
            const std::lock_guard lock(toldMutex);
            told += text;
        });
    }
    void TearDown() override { SetDiagnosticSink(nullptr); }

    static std::string Told() {
        const std::lock_guard lock(toldMutex);
        return told;
    }
};

TEST(ClockTest, WaitsEndByEventOrTime) {
    Clock& clock = SystemClock();
    Event event;
    const std::uint64_t begin = clock.TickMs();
    EXPECT_FALSE(clock.Wait(event, Milliseconds(20)));
    clock.Sleep(Milliseconds(5));
    EXPECT_GE(clock.TickMs() - begin, 24u);
    EXPECT_FALSE(clock.Wait(event, Milliseconds(-5)));
    std::thread setter([&] { event.Set(); });
    EXPECT_TRUE(clock.Wait(event, std::chrono::hours(1)));
    setter.join();
}

TEST_F(DiagnosticsTest, BodyThatThrowsEndsItsThreadOnly) {
    Worker worker;
    ASSERT_TRUE(worker.Start("bad", [] { throw std::runtime_error("no memory"); }));
    EXPECT_TRUE(worker.Wait(std::chrono::seconds(10)));
    EXPECT_NE(Told().find("bad ended by an exception: no memory"), std::string::npos) << Told();
}

TEST_F(DiagnosticsTest, AbandonIsToldAndWaitFromTheBodyDoesNotHang) {
    struct Shared {
        Worker worker;
        Event go;
        Event started;
        std::atomic<int> inside{-1};
    };
    const auto shared = std::make_shared<Shared>();
    ASSERT_TRUE(shared->worker.Start("0123456789abcdefgh", [shared] {
        shared->started.Wait();
        shared->inside = shared->worker.Wait(std::chrono::hours(1)) ? 1 : 0;
        shared->go.Set();
    }));
    shared->started.Set();
    EXPECT_TRUE(shared->go.Wait(std::chrono::seconds(10)));
    EXPECT_EQ(shared->inside, 0);
    EXPECT_TRUE(shared->worker.Wait(std::chrono::seconds(10)));

    Event end;
    ASSERT_TRUE(shared->worker.Start("stuck", [&] { end.Wait(); }));
    shared->worker.Abandon();
    EXPECT_EQ(Worker::AbandonedCount(), 1);
    EXPECT_FALSE(shared->worker.IsHeld());
    EXPECT_NE(Told().find("stuck"), std::string::npos);
    // A new body may begin while the old one still runs.
    EXPECT_TRUE(shared->worker.Start("next", [] {}));
    EXPECT_TRUE(shared->worker.Wait(std::chrono::seconds(10)));
    end.Set();
    while (Worker::AbandonedCount() != 0) {
        std::this_thread::yield();
    }
}

}  // namespace
