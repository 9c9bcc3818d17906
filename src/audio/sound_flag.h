// A switch that the user's thread turns and that sound on its way obeys at once.
#pragma once

#include <atomic>
#include <memory>

namespace kvmon {

// Copies are the same switch, so that a thread that outlives its channel may still look at it. Any thread.
class SoundFlag {
public:
    explicit SoundFlag(bool on = false) : m_on(std::make_shared<std::atomic<bool>>(on)) {}
    SoundFlag(const SoundFlag&) = default;
    SoundFlag& operator=(const SoundFlag&) = delete;  // would part the copies
    bool operator=(bool on) {
        m_on->store(on);
        return on;
    }
    operator bool() const { return m_on->load(); }

private:
    const std::shared_ptr<std::atomic<bool>> m_on;
};

}  // namespace kvmon
