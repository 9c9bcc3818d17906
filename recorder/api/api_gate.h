// Who may use the interface, judged by the head of a request alone.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "answers/http_request.h"
#include "answers/reply.h"
#include "state/recorder_model.h"

namespace kvrecorder {

struct Admission {
    std::optional<Reply> refusal;
    std::string user;
    std::size_t bodyBytes = 0;
};

// Wrong passwords are refused as everywhere, then all who are no administrators. A body must be told as JSON,
// which a page of another host cannot have a browser send without asking.
Admission Admit(const HttpRequest& request, const Snapshot& state, RecorderModel& model,
                std::string_view peer);

}  // namespace kvrecorder
