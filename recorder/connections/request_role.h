// A connection's first role: collects the head of the request and finds the answer.
#pragma once

#include <chrono>
#include <functional>

#include "answers/handlers.h"
#include "answers/http_request.h"
#include "connections/login.h"
#include "connections/role.h"

namespace kvrecorder {

class RequestRole : public Role {
public:
    using Answered = std::function<void(Reply, Login, std::chrono::milliseconds delay)>;

    RequestRole(Link& link, RecorderModel& model, TimePoint until, Answered answered);

    void Begin() override;
    std::string_view OnBytes(std::string_view bytes) override;

private:
    void OnHead();

    Link& m_link;
    RecorderModel& m_model;
    const TimePoint m_until;
    const Answered m_answered;
    RequestHead m_head;
};

}  // namespace kvrecorder
