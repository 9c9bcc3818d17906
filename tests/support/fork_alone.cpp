#include "support/fork_alone.h"

#include <unistd.h>

#include <filesystem>
#include <iterator>

#include "support/wait_until.h"

namespace kvtest {

pid_t ForkAlone() {
    const bool bAlone = WaitUntil([] {
        std::error_code error;
        const std::filesystem::directory_iterator threads("/proc/self/task", error);
        return !error && std::distance(begin(threads), end(threads)) == 1;
    });
    return bAlone ? ::fork() : -1;
}

}  // namespace kvtest
