#include "connections/talk_role.h"

#include <exception>

#include "answers/handlers.h"

namespace kvrecorder {

TalkRole::TalkRole(Link& link, const RecorderModel& model, TalkBook& talks, Start start)
    : m_link(link), m_model(model), m_talks(talks), m_start(std::move(start)) {}

void TalkRole::Begin() {
    const SnapshotPtr state = m_model.Current();
    m_stalls = state->server.talkStalls;
    if (m_stalls) {
        m_link.SetReceiveBuffer(4096);  // so that the client notices early
    }
    BeginTalk(*state);
    if (m_talk) {
        m_link.Send(m_start.head);
    } else {
        const Reply refusal = Refuse(503);
        m_link.EndWith(MakeReplyHead(refusal) + refusal.body);
    }
}

void TalkRole::BeginTalk(const Snapshot& state) {
    const ServerConfig& server = state.server;
    const Channel* const channel = state.Configured(m_start.channel);
    m_camera = channel ? channel->talk : nullptr;
    try {
        m_talk =
            m_talks.Begin(m_start.channel, m_start.login.user,
                          {server.talkFolder, server.talkLimitMb, server.group}, m_camera, m_link.Ender());
    } catch (const std::exception&) {
        m_talk.reset();
    }
}

std::string_view TalkRole::OnBytes(std::string_view bytes) {
    if (!m_talk->Hear(bytes)) {
        m_link.End();
    } else if (!m_stalls) {
        AwaitSpeech();
    }
    return {};
}

void TalkRole::OnChanged(Change change) {
    if (change != Change::Configuration) {
        return;
    }
    const SnapshotPtr state = m_model.Current();
    const Channel* const channel = state->Configured(m_start.channel);
    if (!m_start.login.Has(*state, Right::Talk, m_start.channel) || !channel || channel->talk != m_camera) {
        m_link.End();
    }
}

void TalkRole::AwaitSpeech() {
    m_link.SetDeadline(std::chrono::steady_clock::now() + m_start.silence);
}

}  // namespace kvrecorder
