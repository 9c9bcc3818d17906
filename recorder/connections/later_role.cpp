#include "connections/later_role.h"

#include <utility>

namespace kvrecorder {
namespace {

// Longer than a camera is waited for.
constexpr std::chrono::seconds kLongest{20};

}  // namespace

void LaterRole::Begin() {
    // Orders of clients that wait for each other's heads stay in their order.
    m_make([body = m_body, wake = m_link.Waker()](std::string text) {
        {
            const std::lock_guard lock(body->mutex);
            body->text = std::move(text);
        }
        wake();
    });
    m_link.Send(m_head);
}

void LaterRole::OnSent() {
    if (m_done) {
        m_link.Linger();
        return;
    }
    m_link.SetDeadline(std::chrono::steady_clock::now() + kLongest);
    SendBody();
}

void LaterRole::SendBody() {
    if (m_done || m_link.Sending()) {
        return;
    }
    std::optional<std::string> text;
    {
        const std::lock_guard lock(m_body->mutex);
        text = m_body->text;
    }
    if (!text) {
        return;
    }
    m_done = true;
    if (text->empty()) {
        m_link.Linger();
    } else {
        m_link.Send(*text);
    }
}

}  // namespace kvrecorder
