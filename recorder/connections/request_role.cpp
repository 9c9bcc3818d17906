#include "connections/request_role.h"

#include "api/api_gate.h"

namespace kvrecorder {

RequestRole::RequestRole(Link& link, RecorderModel& model, RecorderApi* api, TimePoint until,
                         Answered answered)
    : m_link(link), m_model(model), m_api(api), m_until(until), m_answered(std::move(answered)) {}

void RequestRole::Begin() {
    m_link.SetDeadline(m_until);
}

std::string_view RequestRole::OnBytes(std::string_view bytes) {
    if (m_call) {
        TakeBody(bytes);
        return {};
    }
    const std::size_t before = m_fed;
    m_fed += bytes.size();
    switch (m_head.Feed(bytes)) {
        case RequestHead::State::Incomplete:
            break;
        case RequestHead::State::Complete:
            OnHead(bytes.substr(m_head.Size() - before));
            return m_call ? std::string_view() : m_head.Behind();
        case RequestHead::State::Bad:
            m_answered(Refuse(400), {}, {});
            break;
    }
    return {};
}

void RequestRole::OnHead(std::string_view body) {
    const SnapshotPtr state = m_model.Current();
    auto request = m_head.Parse();
    if (!request) {
        m_answered(Refuse(400), {}, {});
        return;
    }
    if (m_api && request->ForApi()) {
        OnApiHead(*std::move(request), *state, body);
        return;
    }
    Reply reply = Answer(*request, *state, m_model, m_link.PeerAddress());
    const std::chrono::milliseconds delay(state->server.delayMs + reply.delayMs);
    m_answered(std::move(reply), {request->user, request->password}, delay);
}

void RequestRole::OnApiHead(HttpRequest request, const Snapshot& state, std::string_view body) {
    Admission admission = Admit(request, state, m_model, m_link.PeerAddress());
    m_delay = std::chrono::milliseconds(state.server.delayMs);
    if (admission.refusal) {
        const std::chrono::milliseconds delay(admission.refusal->delayMs);
        m_answered(*std::move(admission.refusal), {}, m_delay + delay);
        return;
    }
    m_bodyBytes = admission.bodyBytes;
    m_call = std::make_shared<ApiCall>();
    m_call->request = std::move(request);
    m_call->user = std::move(admission.user);
    TakeBody(body);
}

// What comes behind the body is not looked at.
void RequestRole::TakeBody(std::string_view bytes) {
    AppendSecret(m_body, bytes.substr(0, m_bodyBytes - m_body.size()));
    if (m_body.size() < m_bodyBytes) {
        return;
    }
    m_call->body = m_body;
    Reply reply;
    reply.kind = ReplyKind::Later;
    reply.user = m_call->user;
    reply.find = [api = m_api, call = m_call](std::function<void(Reply)> done) {
        api->Handle(call, std::move(done));
    };
    m_answered(std::move(reply), {}, m_delay);
}

}  // namespace kvrecorder
