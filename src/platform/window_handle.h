// Handles to windows that code without windows may post messages to.
#pragma once

#include <cstdint>
#include <memory>

namespace kvmon {

using WParam = std::uint64_t;
using LParam = std::int64_t;

// The receiving side of a window. Implemented by the window base.
class MessageTarget {
public:
    virtual ~MessageTarget() = default;
    // Queues a message for the window's own thread. Any thread; never waits for that thread.
    virtual void PostMessage(std::uint32_t message, WParam wParam, LParam lParam) = 0;
};

// A weak reference to a window: null, alive, or gone. Copies are cheap; posts of one thread arrive in
// order, and posts to a window that is gone are dropped.
class WindowHandle {
public:
    WindowHandle() = default;
    explicit WindowHandle(std::weak_ptr<MessageTarget> target) : target_(std::move(target)) {}

    // True if the window took the message.
    bool Post(std::uint32_t message, WParam wParam, LParam lParam) const {
        const auto target = target_.lock();
        if (target) {
            target->PostMessage(message, wParam, lParam);
        }
        return target != nullptr;
    }

    // The window exists.
    explicit operator bool() const { return !target_.expired(); }

    friend bool operator==(const WindowHandle& a, const WindowHandle& b) {
        return !a.target_.owner_before(b.target_) && !b.target_.owner_before(a.target_);
    }

private:
    std::weak_ptr<MessageTarget> target_;
};

}  // namespace kvmon
