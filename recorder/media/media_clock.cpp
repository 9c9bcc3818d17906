#include "media/media_clock.h"

namespace kvrecorder {

MediaTime SystemMediaClock::Now() {
    return std::chrono::duration_cast<MediaTime>(std::chrono::steady_clock::now() - m_start);
}

std::chrono::system_clock::time_point SystemMediaClock::WallTime() {
    return std::chrono::system_clock::now();
}

void SystemMediaClock::WaitUntil(std::unique_lock<std::mutex>& lock, std::condition_variable& wake,
                                 MediaTime until) {
    wake.wait_until(lock, m_start + until);
}

}  // namespace kvrecorder
