#include "cameras/camera_threads.h"

#include <exception>
#include <thread>
#include <utility>

namespace kvrecorder {
namespace {

constexpr std::chrono::milliseconds kLongestWait{1'000};

}  // namespace

CameraThreads::~CameraThreads() {
    std::unique_lock lock(m_count->mutex);
    m_count->changed.wait_for(lock, kLongestWait, [this] { return m_count->running == 0; });
}

void CameraThreads::Start(std::function<void()> work) {
    const std::lock_guard starting(m_count->mutex);
    std::thread thread([count = m_count, work = std::move(work)]() mutable {
        try {
            work();
        } catch (const std::exception&) {
            // Memory is short; whoever waits for the camera begins another.
        }
        work = nullptr;
        const std::lock_guard lock(count->mutex);
        --count->running;
        count->changed.notify_all();
    });
    ++m_count->running;
    thread.detach();
}

int CameraThreads::Running() const {
    const std::lock_guard lock(m_count->mutex);
    return m_count->running;
}

}  // namespace kvrecorder
