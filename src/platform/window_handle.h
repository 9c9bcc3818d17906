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
    explicit WindowHandle(std::weak_ptr<MessageTarget> target) : m_target(std::move(target)) {}

    // True if the window took the message.
    bool Post(std::uint32_t message, WParam wParam, LParam lParam) const {
        const auto target = m_target.lock();
        if (target) {
            target->PostMessage(message, wParam, lParam);
        }
        return target != nullptr;
    }

    // The window exists.
    explicit operator bool() const { return !m_target.expired(); }

    friend bool operator==(const WindowHandle& a, const WindowHandle& b) {
        return !a.m_target.owner_before(b.m_target) && !b.m_target.owner_before(a.m_target);
    }

private:
    std::weak_ptr<MessageTarget> m_target;
};

}  // namespace kvmon
