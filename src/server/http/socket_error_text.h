// The numbers of socket errors in words, for the trace.
#pragma once

#include <cstdint>

namespace kvmon {

// The text for a socket error code; one that is not in the table gives the first row's.
const char* SocketErrorText(std::uint32_t code);

}  // namespace kvmon
