// Two requests that no round makes: leaving, and the recorder's clock.
#pragma once

#include <cstdint>
#include <optional>

#include "server/http/query_context.h"

namespace kvmon {

// Tells the recorder that the user leaves. The console has no need of it: a recorder notices by itself.
bool LogoutServer(QueryContext& query);
// The seconds that the recorder's clock is ahead of the local one.
std::optional<std::int64_t> ReadServerTimeOffset(QueryContext& query);

}  // namespace kvmon
