// How kvrecorder makes itself known to kvmon, for what no other recorder has. Others pass over it.
#pragma once

#include <string_view>

namespace wire {

// A line of the header of its documents.
inline constexpr std::string_view kOwnRecorder = "Server: kvrecorder";

}  // namespace wire
