#include "connections/later_role.h"

#include <chrono>

namespace kvrecorder {
namespace {

// A disk that hangs keeps nobody for longer.
constexpr std::chrono::seconds kLongest{60};

}  // namespace

void LaterRole::Begin() {
    m_link.SetDeadline(std::chrono::steady_clock::now() + kLongest);
    m_find([box = m_box, wake = m_link.Waker()](Reply reply) {
        {
            const std::lock_guard lock(box->mutex);
            box->reply = std::move(reply);
        }
        wake();
    });
}

void LaterRole::OnWoken() {
    std::optional<Reply> reply;
    {
        const std::lock_guard lock(m_box->mutex);
        reply.swap(m_box->reply);
    }
    if (reply) {
        m_link.EndWith(MakeReplyHead(*reply) + reply->body);
    }
}

}  // namespace kvrecorder
