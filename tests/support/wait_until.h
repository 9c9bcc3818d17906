// Waiting for a state that another thread brings about, where no event tells of it.
#pragma once

#include <chrono>
#include <thread>

namespace kvtest {

// True as soon as the condition holds, false if it does not within the time.
template <typename Condition>
bool WaitUntil(Condition condition, std::chrono::milliseconds timeout = std::chrono::seconds(10)) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace kvtest
