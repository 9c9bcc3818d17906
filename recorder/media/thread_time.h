// What work costs.
#pragma once

#include <chrono>
#include <ctime>

namespace kvrecorder {

// The processor's time that the calling thread has taken so far.
inline std::chrono::nanoseconds ThreadTime() {
    timespec now{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

}  // namespace kvrecorder
