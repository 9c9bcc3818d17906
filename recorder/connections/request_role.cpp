#include "connections/request_role.h"

namespace kvrecorder {

RequestRole::RequestRole(Link& link, RecorderModel& model, TimePoint until, Answered answered)
    : link_(link), model_(model), until_(until), answered_(std::move(answered)) {}

void RequestRole::Begin() {
    link_.SetDeadline(until_);
}

std::string_view RequestRole::OnBytes(std::string_view bytes) {
    switch (head_.Feed(bytes)) {
        case RequestHead::State::Incomplete:
            break;
        case RequestHead::State::Complete:
            OnHead();
            return head_.Behind();
        case RequestHead::State::Bad:
            answered_(Refuse(400), {}, {});
            break;
    }
    return {};
}

void RequestRole::OnHead() {
    const SnapshotPtr state = model_.Current();
    const auto request = head_.Parse();
    if (!request) {
        answered_(Refuse(400), {}, {});
        return;
    }
    Reply reply = Answer(*request, *state, model_, link_.PeerAddress());
    const std::chrono::milliseconds delay(state->server.delayMs + reply.delayMs);
    answered_(std::move(reply), {request->user, request->password}, delay);
}

}  // namespace kvrecorder
