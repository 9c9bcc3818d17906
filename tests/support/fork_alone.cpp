#include "support/fork_alone.h"

#include <unistd.h>

#include <filesystem>
#include <iterator>

#include "platform/ended_threads.h"
#include "support/wait_until.h"

namespace kvtest {

pid_t ForkAlone() {
    const bool bAlone = WaitUntil([] {
        std::error_code error;
        const std::filesystem::directory_iterator threads("/proc/self/task", error);
        return !error && std::distance(begin(threads), end(threads)) == 1;
    });
    if (!bAlone) {
        return -1;
    }
    kvmon::JoinEndedThreads();  // the child could not
    return ::fork();
}

}  // namespace kvtest
