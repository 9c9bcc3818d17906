// Pictures past the toolkit: when they are put, by whom, and when the toolkit paints instead.
#include <gtest/gtest.h>

#include <QtCore/QElapsedTimer>
#include <QtWidgets/QApplication>
#include <QtWidgets/QWidget>
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <semaphore>
#include <thread>

#include "skin/direct_screen.h"
#include "skin/repaint_hub.h"
#include "skin/sleep_gate.h"

namespace kvmon {
namespace {

class FakeScreen final : public DirectScreen {
public:
    std::function<QImage(int, int)> ImageMaker() override { return nullptr; }
    bool Put(QWidget&, const QImage&) override { return true; }
    void Flush() override { ++flushes; }
    bool IsRead() override { return bRead; }

    std::atomic<int> flushes{0};
    std::atomic<bool> bRead{true};
};

class View final : public QWidget {
public:
    View() {
        resize(20, 20);
        show();
        Run([this] { return paints > 0; });
        QApplication::processEvents();
        paints = 0;
    }
    template <typename Done>
    static bool Run(const Done& done) {
        QElapsedTimer time;
        time.start();
        while (!done() && time.elapsed() < 10000) {
            QApplication::processEvents(QEventLoop::WaitForMoreEvents | QEventLoop::AllEvents, 20);
        }
        return done();
    }

    int paints = 0;
    std::atomic<int> puts{0};
    std::atomic<bool> bCanBePut{true};
    std::atomic<std::thread::id> putBy{};
    const std::shared_ptr<RepaintTicket> ticket = RegisterForRepaint(*this, [this](DirectScreen&) {
        putBy = std::this_thread::get_id();
        puts += bCanBePut ? 1 : 0;
        return bCanBePut.load();
    });

protected:
    void paintEvent(QPaintEvent*) override { ++paints; }
};

class DirectPictures : public testing::Test {
protected:
    ~DirectPictures() override { UseDirectScreen(nullptr); }

    // A request of another thread's while this one sleeps as an event loop does.
    template <typename Done>
    bool RequestAsleep(RepaintTicket& ticket, const Done& done) {
        gate.Sleep();
        ticket.Request();
        QElapsedTimer time;
        time.start();
        while (!done() && time.elapsed() < 10000) {
            std::this_thread::yield();
        }
        gate.Wake();
        return done();
    }

    FakeScreen screen;
    SleepGate gate;
};

TEST_F(DirectPictures, ArePutAndNotPaintedUnlessTheyCannotBePut) {
    View view;
    UseDirectScreen(&screen);
    view.ticket->Request();
    EXPECT_TRUE(View::Run([&] { return view.puts == 1 && screen.flushes > 0; }));
    EXPECT_EQ(view.paints, 0);
    view.bCanBePut = false;
    view.ticket->Request();
    EXPECT_TRUE(View::Run([&] { return view.paints == 1; }));
    UseDirectScreen(nullptr);
    view.ticket->Request();
    EXPECT_TRUE(View::Run([&] { return view.paints == 2; }));
    EXPECT_EQ(view.puts, 1);
}

TEST_F(DirectPictures, AreLeftAloneWhileTheDisplayReads) {
    View view;
    UseDirectScreen(&screen);
    screen.bRead = false;
    view.ticket->Request();
    EXPECT_TRUE(view.ticket->IsBeingRead());
    for (int i = 0; i < 5; ++i) {
        QApplication::processEvents(QEventLoop::WaitForMoreEvents, 20);
    }
    EXPECT_EQ(view.puts, 0);
    EXPECT_EQ(view.paints, 0);
    screen.bRead = true;
    EXPECT_TRUE(View::Run([&] { return view.puts == 1; }));
}

TEST_F(DirectPictures, AreShownWhileTheUserInterfaceSleepsAndByItselfWhenItDoesNot) {
    View view;
    UseDirectScreen(&screen, &gate);
    // The first one, and each that comes while this thread is at work.
    view.ticket->Request();
    EXPECT_TRUE(View::Run([&] { return view.puts == 1; }));
    EXPECT_EQ(view.putBy.load(), std::this_thread::get_id());
    for (int i = 2; i < 6; ++i) {
        EXPECT_TRUE(RequestAsleep(*view.ticket, [&] { return view.puts == i; }));
        EXPECT_NE(view.putBy.load(), std::this_thread::get_id());
    }
    view.ticket->Request();
    EXPECT_TRUE(View::Run([&] { return view.puts == 6; }));
    EXPECT_EQ(view.putBy.load(), std::this_thread::get_id());
    // One that the thread cannot put is painted here, and the way back is open.
    view.bCanBePut = false;
    EXPECT_TRUE(RequestAsleep(*view.ticket, [&] { return view.putBy.load() != std::this_thread::get_id(); }));
    EXPECT_TRUE(View::Run([&] { return view.paints == 1; }));
    view.bCanBePut = true;
    view.ticket->Request();
    EXPECT_TRUE(View::Run([&] { return view.puts == 7; }));
    EXPECT_TRUE(RequestAsleep(*view.ticket, [&] { return view.puts == 8; }));
}

TEST(SleepGate, TheOwnerWaitsForWhatIsBorrowedAndNobodyBorrowsFromOneAwake) {
    SleepGate gate;
    EXPECT_FALSE(gate.Borrow(std::chrono::milliseconds(1)));
    gate.Sleep();
    std::binary_semaphore borrowed(0);
    std::binary_semaphore give(0);
    std::atomic<bool> bGivenBack{false};
    std::thread other([&] {
        EXPECT_TRUE(gate.Borrow(std::chrono::seconds(10)));
        borrowed.release();
        give.acquire();
        bGivenBack = true;
        gate.Return();
    });
    borrowed.acquire();
    give.release();
    gate.Wake();
    EXPECT_TRUE(bGivenBack);
    other.join();
    EXPECT_FALSE(gate.Borrow(std::chrono::milliseconds(1)));
}

}  // namespace
}  // namespace kvmon
