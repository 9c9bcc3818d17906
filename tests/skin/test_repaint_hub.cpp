#include "skin/repaint_hub.h"

#include <gtest/gtest.h>

#include <QtCore/QElapsedTimer>
#include <QtWidgets/QApplication>
#include <QtWidgets/QWidget>
#include <memory>
#include <thread>
#include <vector>

namespace kvmon {
namespace {

class PaintCounter final : public QWidget {
public:
    int paints = 0;

protected:
    void paintEvent(QPaintEvent*) override { ++paints; }
};

template <typename Done>
bool RunUntil(const Done& done) {
    QElapsedTimer time;
    time.start();
    while (!done() && time.elapsed() < 10000) {
        QApplication::processEvents(QEventLoop::WaitForMoreEvents | QEventLoop::AllEvents, 20);
    }
    return done();
}

std::unique_ptr<PaintCounter> ShownWindow() {
    auto window = std::make_unique<PaintCounter>();
    window->resize(20, 20);
    window->show();
    EXPECT_TRUE(RunUntil([&] { return window->paints > 0; }));
    QApplication::processEvents();
    window->paints = 0;
    return window;
}

TEST(RepaintHub, ServesRequestsOfManyThreadsTogetherAndRarely) {
    constexpr int kWindows = 6;
    constexpr int kRequests = 5000;
    std::vector<std::unique_ptr<PaintCounter>> windows;
    std::vector<std::shared_ptr<RepaintTicket>> tickets;
    for (int i = 0; i < kWindows; ++i) {
        windows.push_back(ShownWindow());
        tickets.push_back(RegisterForRepaint(*windows.back()));
    }
    std::vector<std::thread> threads;
    for (const auto& ticket : tickets) {
        threads.emplace_back([ticket] {
            for (int i = 0; i < kRequests; ++i) {
                ticket->Request();
            }
        });
    }
    QElapsedTimer time;
    time.start();
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_TRUE(RunUntil([&] {
        return std::all_of(windows.begin(), windows.end(), [](const auto& w) { return w->paints > 0; });
    }));
    const qint64 most = time.elapsed() / 16 + 2;
    for (const auto& window : windows) {
        EXPECT_LE(window->paints, most);
    }
}

TEST(RepaintHub, ServesARequestThatComesDuringAPaint) {
    const auto window = ShownWindow();
    const auto ticket = RegisterForRepaint(*window);
    for (int i = 1; i <= 3; ++i) {
        ticket->Request();
        EXPECT_TRUE(RunUntil([&] { return window->paints >= i; }));
    }
}

TEST(RepaintHub, TicketOutlivesItsWindow) {
    auto window = ShownWindow();
    const auto ticket = RegisterForRepaint(*window);
    ticket->Request();
    window.reset();
    QApplication::processEvents();
    ticket->Request();
    const auto other = ShownWindow();
    const auto second = RegisterForRepaint(*other);
    second->Request();
    EXPECT_TRUE(RunUntil([&] { return other->paints > 0; }));
}

}  // namespace
}  // namespace kvmon
