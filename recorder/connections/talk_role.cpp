#include "connections/talk_role.h"

#include <exception>

#include "answers/handlers.h"

namespace kvrecorder {

TalkRole::TalkRole(Link& link, const RecorderModel& model, TalkBook& talks, Start start)
    : link_(link), model_(model), talks_(talks), start_(std::move(start)) {}

void TalkRole::Begin() {
    const SnapshotPtr state = model_.Current();
    stalls_ = state->server.talkStalls;
    if (stalls_) {
        link_.SetReceiveBuffer(4096);  // so that the client notices early
    }
    BeginTalk(state->server);
    if (talk_) {
        link_.Send(start_.head);
    } else {
        const Reply refusal = Refuse(503);
        link_.EndWith(MakeReplyHead(refusal) + refusal.body);
    }
}

void TalkRole::BeginTalk(const ServerConfig& server) {
    try {
        talk_ = talks_.Begin(start_.channel, start_.login.user, server.talkFolder, link_.Ender());
    } catch (const std::exception&) {
        talk_.reset();
    }
}

std::string_view TalkRole::OnBytes(std::string_view bytes) {
    talk_->Hear(bytes);
    if (!stalls_) {
        AwaitSpeech();
    }
    return {};
}

void TalkRole::OnChanged(Change change) {
    if (change == Change::Configuration &&
        !start_.login.Has(*model_.Current(), Right::Talk, start_.channel)) {
        link_.End();
    }
}

void TalkRole::AwaitSpeech() {
    link_.SetDeadline(std::chrono::steady_clock::now() + start_.silence);
}

}  // namespace kvrecorder
