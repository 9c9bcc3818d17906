// z_status.cgi: disk, recording state and names of the channels.
#pragma once

#include <cstdint>

#include "server/documents/nvr_status.h"
#include "server/http/query_context.h"

namespace kvmon {

// Fills the status. False with a code of DiskInfoError.
bool GetNvrDiskInfo(QueryContext& query, CNvrStatus& status, std::uint32_t* pdwErrorCode);

}  // namespace kvmon
