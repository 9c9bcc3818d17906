// A connection's first role: collects the request and finds the answer.
#pragma once

#include <chrono>
#include <functional>

#include "answers/handlers.h"
#include "answers/http_request.h"
#include "api/recorder_api.h"
#include "connections/login.h"
#include "connections/role.h"

namespace kvrecorder {

class RequestRole : public Role {
public:
    using Answered = std::function<void(Reply, Login, std::chrono::milliseconds delay)>;

    // Without `api` nothing below its folder is served.
    RequestRole(Link& link, RecorderModel& model, RecorderApi* api, TimePoint until, Answered answered);
    ~RequestRole() override { Wipe(m_body); }
    RequestRole(const RequestRole&) = delete;
    RequestRole& operator=(const RequestRole&) = delete;

    void Begin() override;
    std::string_view OnBytes(std::string_view bytes) override;

private:
    // `body` is what came of it behind the head.
    void OnHead(std::string_view body);
    void OnApiHead(HttpRequest request, const Snapshot& state, std::string_view body);
    void TakeBody(std::string_view bytes);

    Link& m_link;
    RecorderModel& m_model;
    RecorderApi* const m_api;
    const TimePoint m_until;
    const Answered m_answered;
    RequestHead m_head;
    std::size_t m_fed = 0;            // bytes that the head was given
    std::shared_ptr<ApiCall> m_call;  // once its head is there
    std::string m_body;
    std::size_t m_bodyBytes = 0;  // that it is to have
    std::chrono::milliseconds m_delay{};
};

}  // namespace kvrecorder
