// A window for tests of code that only posts messages.
#pragma once

#include <condition_variable>
#include <mutex>
#include <vector>

#include "platform/window_handle.h"

namespace kvtest {

struct Message {
    std::uint32_t number;
    kvmon::WParam wParam;
    kvmon::LParam lParam;
    friend bool operator==(const Message&, const Message&) = default;
};

// Keeps every message posted to it, in order.
class MessageLog final : public kvmon::MessageTarget {
public:
    void PostMessage(std::uint32_t message, kvmon::WParam wParam, kvmon::LParam lParam) override {
        const std::lock_guard lock(m_mutex);
        m_messages.push_back({message, wParam, lParam});
        m_changed.notify_all();
    }

    std::vector<Message> All() const {
        const std::lock_guard lock(m_mutex);
        return m_messages;
    }

    // Waits until `count` messages came in all.
    bool WaitFor(std::size_t count, std::chrono::milliseconds timeout = std::chrono::seconds(10)) const {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, timeout, [&] { return m_messages.size() >= count; });
    }

private:
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::vector<Message> m_messages;
};

}  // namespace kvtest
