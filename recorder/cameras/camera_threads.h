// The threads that wait for cameras.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>

namespace kvrecorder {

// They end by themselves. At this object's end they are waited for, but not for long. Any thread.
class CameraThreads {
public:
    CameraThreads() = default;
    ~CameraThreads();
    CameraThreads(const CameraThreads&) = delete;
    CameraThreads& operator=(const CameraThreads&) = delete;

    // Throws std::system_error without a thread to spare. What `work` throws is lost.
    void Start(std::function<void()> work);
    int Running() const;

private:
    struct Count {
        std::mutex mutex;
        std::condition_variable changed;
        int running = 0;
    };
    const std::shared_ptr<Count> m_count = std::make_shared<Count>();
};

}  // namespace kvrecorder
