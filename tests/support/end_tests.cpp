#include "support/end_tests.h"

#include <cstdio>
#include <cstdlib>

#include "platform/ended_threads.h"
#include "platform/worker.h"
#include "support/wait_until.h"

namespace kvtest {

int EndTests(int status) {
    if (!WaitUntil([] { return kvmon::Worker::AbandonedCount() == 0; })) {
        std::fprintf(stderr, "%d threads that were abandoned still run\n", kvmon::Worker::AbandonedCount());
        std::fflush(nullptr);
        std::_Exit(1);
    }
    kvmon::JoinEndedThreads();
    return status;
}

}  // namespace kvtest
