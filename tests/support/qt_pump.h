// Waiting in the event loop.
#pragma once

#include <QtCore/QCoreApplication>
#include <QtCore/QTimer>
#include <chrono>

namespace kvtest {

// Runs the event loop until the condition holds; false if it does not in time.
template <typename Condition>
bool PumpUntil(Condition condition, std::chrono::milliseconds timeout = std::chrono::seconds(15)) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    QTimer wake;  // for conditions that come true without an event
    wake.start(5);
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    return true;
}

// All that is due now.
inline void Pump() {
    // Handlers post: the second turn takes what the first one brought about.
    QCoreApplication::processEvents();
    QCoreApplication::processEvents();
}

}  // namespace kvtest
