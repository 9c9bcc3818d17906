// get_init_info.cgi: the recorder's name and its channels.
#pragma once

#include <cstdint>

#include "server/documents/nvr_status.h"
#include "server/http/query_context.h"

namespace kvmon {

// Fills the status. False with a code of ConcInfoError.
bool GetNvrVsConcInfo(QueryContext& query, CNvrStatus& status, std::uint32_t* pdwErrorCode);

}  // namespace kvmon
