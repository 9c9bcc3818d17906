// The time by which pictures are made. Tests put their own in its place.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace kvrecorder {

// Time since the clock's own beginning; never goes back.
using MediaTime = std::chrono::microseconds;

class MediaClock {
public:
    virtual ~MediaClock() = default;
    virtual MediaTime Now() = 0;
    // What a clock in a picture shows.
    virtual std::chrono::system_clock::time_point WallTime() = 0;
    // Waits until `until` or until `wake` is notified; may return early. `lock` is held before and after.
    virtual void WaitUntil(std::unique_lock<std::mutex>& lock, std::condition_variable& wake,
                           MediaTime until) = 0;
};

// The steady clock for the pace, the system's for the time of day.
class SystemMediaClock final : public MediaClock {
public:
    MediaTime Now() override;
    std::chrono::system_clock::time_point WallTime() override;
    void WaitUntil(std::unique_lock<std::mutex>& lock, std::condition_variable& wake,
                   MediaTime until) override;

private:
    const std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
};

}  // namespace kvrecorder
