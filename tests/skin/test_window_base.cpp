#include <gmock/gmock.h>

#include <QtCore/QElapsedTimer>
#include <QtWidgets/QApplication>

#include "skin/window_base.h"
#include "support/wait_until.h"

namespace kvmon {
namespace {

using testing::ElementsAre;

class Recording final : public WindowBase {
public:
    std::vector<std::uint32_t> messages;
    std::vector<std::uint32_t> timers;

protected:
    void OnTimer(std::uint32_t id) override {
        timers.push_back(id);
        KillTimer(id);
    }
    LParam OnMessage(std::uint32_t message, WParam wParam, LParam lParam) override {
        messages.push_back(message);
        return static_cast<LParam>(wParam) + lParam;
    }
};

void Turn() {
    QCoreApplication::sendPostedEvents();
    QCoreApplication::processEvents();
}

TEST(WindowBaseTest, PostsOfAnotherThreadArriveInOrderAndSendAnswersAtOnce) {
    Recording window;
    std::thread([handle = window.Handle()] {
        for (std::uint32_t i = 0; i < 100; ++i) {
            handle.Post(i, 0, 0);
        }
    }).join();
    EXPECT_TRUE(window.messages.empty());
    Turn();
    ASSERT_EQ(window.messages.size(), 100u);
    EXPECT_TRUE(std::is_sorted(window.messages.begin(), window.messages.end()));
    EXPECT_EQ(window.SendMessage(7, 40, 2), 42);
}

// Short of memory or of threads for the first calls of a handler.
class Short final : public WindowBase {
public:
    int left = 0;
    int done = 0;

protected:
    void OnTimer(std::uint32_t id) override {
        OnMessage(0, 0, 0);
        KillTimer(id);
    }
    LParam OnMessage(std::uint32_t, WParam, LParam) override {
        if (left > 0) {
            if (--left % 2 == 0) {
                throw std::bad_alloc();
            }
            throw std::system_error(EAGAIN, std::generic_category());
        }
        return ++done;
    }
};

TEST(WindowBaseTest, AHandlerThatIsShortOfMemoryIsCalledAgainAndThenLeftOut) {
    Short window;
    window.left = 2;
    window.Handle().Post(1, 0, 0);
    Turn();
    EXPECT_EQ(window.done, 1);
    window.left = 2;
    window.SetTimer(9, 0);
    EXPECT_TRUE(kvtest::WaitUntil([&] {
        Turn();
        return window.done == 2;
    }));
    EXPECT_FALSE(window.IsTimerSet(9));
    window.left = 10;
    window.Handle().Post(1, 0, 0);
    EXPECT_THROW(Turn(), std::exception);
    EXPECT_EQ(window.done, 2);
}

TEST(WindowBaseTest, PostsToAWindowThatIsGoneAreDropped) {
    auto window = std::make_unique<Recording>();
    const WindowHandle handle = window->Handle();
    EXPECT_TRUE(handle.Post(1, 0, 0));
    std::atomic<bool> stop{false};
    std::thread poster([&] {
        while (!stop) {
            handle.Post(2, 0, 0);
        }
    });
    window.reset();
    stop = true;
    poster.join();
    EXPECT_FALSE(handle.Post(3, 0, 0));
    EXPECT_FALSE(static_cast<bool>(handle));
    Turn();
}

TEST(WindowBaseTest, NumberedTimersFireAndAreKilledByNumber) {
    Recording window;
    window.SetTimer(1009, 0);
    window.SetTimer(1010, 10000);
    EXPECT_TRUE(window.IsTimerSet(1010));
    EXPECT_TRUE(kvtest::WaitUntil([&] {
        Turn();
        return !window.timers.empty();
    }));
    EXPECT_THAT(window.timers, ElementsAre(1009u));
    EXPECT_FALSE(window.IsTimerSet(1009));
    window.KillTimer(1010);
    EXPECT_FALSE(window.IsTimerSet(1010));
}

// When its timer fired, counted from SetTimer.
class Timed final : public WindowBase {
public:
    void Start(int periodMs) {
        m_clock.start();
        SetTimer(1, periodMs);
    }
    std::optional<qint64> firedMs;

protected:
    void OnTimer(std::uint32_t id) override {
        firedMs = m_clock.elapsed();
        KillTimer(id);
    }

private:
    QElapsedTimer m_clock;
};

TEST(WindowBaseTest, NoTimerFiresEarly) {
    constexpr int kPeriodMs = 1000;
    std::array<Timed, 12> windows;
    QElapsedTimer apart;
    for (Timed& window : windows) {
        window.Start(kPeriodMs);
        apart.start();
        ASSERT_TRUE(kvtest::WaitUntil([&] {
            Turn();
            return apart.elapsed() >= 17;
        }));
    }
    for (Timed& window : windows) {
        ASSERT_TRUE(kvtest::WaitUntil([&] {
            Turn();
            return window.firedMs.has_value();
        }));
        EXPECT_GE(*window.firedMs, kPeriodMs);
    }
}

TEST(WindowBaseTest, ControlsAreFoundByNumberAtAnyDepth) {
    WindowBase window;
    QWidget frame(&window);
    auto* const inner = new WindowBase(&frame);
    inner->SetControlId(1651);
    EXPECT_EQ(window.FindControl(1651), inner);
    EXPECT_EQ(window.FindControl(1652), nullptr);
    EXPECT_EQ(window.FindControl(0), nullptr) << "the frame has no number, not number 0";
}

}  // namespace
}  // namespace kvmon
