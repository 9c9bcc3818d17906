// The two threads of one recorder.
#pragma once

#include "server/server_worker.h"

namespace kvmon {

// The thread's whole life: rounds of queries, each followed by the notification connection.
void GetKelvaraInfoFunc(ServerWorker& worker);
// The life of the thread beside it, which reads what the channels can do each time that their list is
// published, so that no round and no notification waits for documents that many recorders lack.
void GetCapabilitiesFunc(ServerWorker& worker);

}  // namespace kvmon
