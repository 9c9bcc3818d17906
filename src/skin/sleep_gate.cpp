#include "skin/sleep_gate.h"

namespace kvmon {

void SleepGate::Change(bool& state, bool bNow) {
    bool bWaited = false;
    {
        const std::lock_guard lock(m_mutex);
        state = bNow;
        bWaited = m_nWaiting > 0;
    }
    if (bWaited) {
        m_changed.notify_all();
    }
}

void SleepGate::Sleep() {
    Change(m_bAsleep, true);
}

void SleepGate::Wake() {
    std::unique_lock lock(m_mutex);
    m_bAsleep = false;
    ++m_nWaiting;
    m_changed.wait(lock, [this] { return !m_bBorrowed; });
    --m_nWaiting;
}

bool SleepGate::Borrow(std::chrono::milliseconds most) {
    std::unique_lock lock(m_mutex);
    ++m_nWaiting;
    m_bBorrowed = m_changed.wait_for(lock, most, [this] { return m_bAsleep && !m_bBorrowed; });
    --m_nWaiting;
    return m_bBorrowed;
}

void SleepGate::Return() {
    Change(m_bBorrowed, false);
}

}  // namespace kvmon
