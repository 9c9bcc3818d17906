// The rights that no document tells.
#pragma once

#include <cstdint>

#include "server/documents/nvr_status.h"
#include "server/http/query_context.h"

namespace kvmon {

// Both grant every channel the rights to control and to administer, and succeed always: the recorder itself
// refuses what a user may not do.
bool GetControlAuth(QueryContext& query, CNvrStatus& status, std::uint32_t* pdwErrorCode);
bool GetAdministrators(QueryContext& query, CNvrStatus& status, std::uint32_t* pdwErrorCode);

}  // namespace kvmon
