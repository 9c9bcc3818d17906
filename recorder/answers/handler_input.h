// What a handler makes its reply of.
#pragma once

#include <string_view>

#include "answers/http_request.h"
#include "state/recorder_model.h"

namespace kvrecorder {

struct HandlerInput {
    const HttpRequest& request;
    const Snapshot& state;
    const User& user;
    RecorderModel& model;
    std::string_view peer;  // the client's address
};

}  // namespace kvrecorder
