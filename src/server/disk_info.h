// z_status.cgi: disk, recording state and names of the channels.
#pragma once

#include <cstdint>

#include "server/nvr_status.h"
#include "server/query_context.h"

namespace kvmon {

// Fills the status. False with a code of DiskInfoError.
bool GetNvrDiskInfo(QueryContext& query, CNvrStatus& status, std::uint32_t* pdwErrorCode);

}  // namespace kvmon
