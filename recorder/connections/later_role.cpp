#include "connections/later_role.h"

#include <chrono>
#include <utility>

namespace kvrecorder {
namespace {

// A disk or a camera that hangs keeps nobody for longer.
constexpr std::chrono::seconds kLongest{60};

}  // namespace

void LaterRole::Begin() {
    m_link.SetDeadline(std::chrono::steady_clock::now() + kLongest);
    // Before the head: orders of clients that wait for each other's heads stay in their order.
    m_find([box = m_box, wake = m_link.Waker()](Reply reply) {
        {
            const std::lock_guard lock(box->mutex);
            box->reply = std::move(reply);
        }
        wake();
    });
    if (!m_head.empty()) {
        m_link.Send(m_head);
    }
}

void LaterRole::OnSent() {
    if (m_done) {
        m_link.Linger();
        return;
    }
    m_link.SetDeadline(std::chrono::steady_clock::now() + kLongest);
    OnWoken();
}

void LaterRole::OnWoken() {
    if (m_done || m_link.Sending()) {
        return;
    }
    std::optional<Reply> reply;
    {
        const std::lock_guard lock(m_box->mutex);
        reply.swap(m_box->reply);
    }
    if (!reply) {
        return;
    }
    if (m_head.empty()) {
        m_link.EndWith(MakeReplyHead(*reply) + reply->body);
        return;
    }
    m_done = true;
    if (reply->body.empty()) {
        m_link.Linger();
    } else {
        m_link.Send(reply->body);
    }
}

}  // namespace kvrecorder
