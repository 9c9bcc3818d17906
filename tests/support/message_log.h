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
        const std::lock_guard lock(mutex_);
        messages_.push_back({message, wParam, lParam});
        changed_.notify_all();
    }

    std::vector<Message> All() const {
        const std::lock_guard lock(mutex_);
        return messages_;
    }

    // Waits until `count` messages came in all.
    bool WaitFor(std::size_t count, std::chrono::milliseconds timeout = std::chrono::seconds(10)) const {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, timeout, [&] { return messages_.size() >= count; });
    }

private:
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    std::vector<Message> messages_;
};

}  // namespace kvtest
