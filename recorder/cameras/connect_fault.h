// Why the library of transfers did not reach a camera.
#pragma once

#include <curl/curl.h>

#include <optional>

#include "media/fault.h"

namespace kvrecorder {

// Of a transfer that ended with `error`; nothing if that came later than the connection, or means something
// else.
std::optional<FaultCode> ConnectFault(CURL* easy, CURLcode error);

}  // namespace kvrecorder
