#include "app/process.h"

#include <cstdio>
#include <cstdlib>

#include "persist/log_file.h"
#include "persist/orvo_registry.h"
#include "platform/diagnostics.h"
#include "platform/ended_threads.h"
#include "platform/worker.h"

namespace kvmon {

void PrepareProcess() {
    SetDiagnosticSink([](const char* text) { Trace("%s", text); });
    Registry().InitRegistry(false, {});
}

int EndProcess(int status) {
    if (Worker::AbandonedCount() > 0) {
        // They may still use what the process would now take down.
        std::fflush(nullptr);
        std::_Exit(status);
    }
    JoinEndedThreads();
    return status;
}

}  // namespace kvmon
