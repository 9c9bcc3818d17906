// get_ext_info.cgi: further ports, passwords and addresses of the channels.
#pragma once

#include <cstdint>

#include "server/documents/nvr_status.h"
#include "server/http/query_context.h"

namespace kvmon {

// Adds to the channels that the status has. False with a code of ExtInfoError; without one, as the caller had
// it, if the head of the reply could not be read.
bool GetExtInfo(QueryContext& query, CNvrStatus& status, std::uint32_t* pdwErrorCode);

}  // namespace kvmon
