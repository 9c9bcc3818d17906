// The commands of the control socket.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "service/control_socket.h"
#include "state/recorder_model.h"

namespace kvrecorder {

// Carries out one line and gives the reply: lines of text, the last of them "ok" or "error: " and why.
// `onStop` is what to do after the reply to "stop".
ControlReply RunControlCommand(RecorderModel& model, std::string_view line,
                               const std::function<void()>& onStop);

}  // namespace kvrecorder
