// The notification connection: one line a change, and the queries that each asks for.
#pragma once

#include "server/documents/nvr_status.h"
#include "server/server_worker.h"

namespace kvmon {

// Holds the thread for the life of one connection.
void GetNotifyInfo(ServerWorker& worker, CNvrStatus& status);

}  // namespace kvmon
