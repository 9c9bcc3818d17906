#include "connections/request_role.h"

namespace kvrecorder {

RequestRole::RequestRole(Link& link, RecorderModel& model, TimePoint until, Answered answered)
    : m_link(link), m_model(model), m_until(until), m_answered(std::move(answered)) {}

void RequestRole::Begin() {
    m_link.SetDeadline(m_until);
}

std::string_view RequestRole::OnBytes(std::string_view bytes) {
    switch (m_head.Feed(bytes)) {
        case RequestHead::State::Incomplete:
            break;
        case RequestHead::State::Complete:
            OnHead();
            return m_head.Behind();
        case RequestHead::State::Bad:
            m_answered(Refuse(400), {}, {});
            break;
    }
    return {};
}

void RequestRole::OnHead() {
    const SnapshotPtr state = m_model.Current();
    const auto request = m_head.Parse();
    if (!request) {
        m_answered(Refuse(400), {}, {});
        return;
    }
    Reply reply = Answer(*request, *state, m_model, m_link.PeerAddress());
    const std::chrono::milliseconds delay(state->server.delayMs + reply.delayMs);
    m_answered(std::move(reply), {request->user, request->password}, delay);
}

}  // namespace kvrecorder
