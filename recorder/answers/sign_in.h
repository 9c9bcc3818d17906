// Checks of passwords, at whichever port they are said.
#pragma once

#include <functional>
#include <optional>
#include <string_view>

#include "answers/http_request.h"
#include "answers/reply.h"
#include "state/recorder_model.h"

namespace kvrecorder {

// Nothing if the request's user may come in; else the refusal, with the time by which it is to be held back.
// `right` tells whether the password is right; an address that has guessed too often is not even asked.
std::optional<Reply> RefuseLogin(RecorderModel& model, const LoginLimits& limits, const HttpRequest& request,
                                 std::string_view peer, const std::function<bool()>& right);

// Tells whoever looks after the machine how a login ended, in words that do not change: programs read them.
// What the client says of itself stands last.
void TellSignIn(RecorderModel& model, EventLevel level, std::string_view outcome, std::string_view peer,
                std::string_view user);

}  // namespace kvrecorder
