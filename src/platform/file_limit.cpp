#include "platform/file_limit.h"

#include <sys/resource.h>

#include <algorithm>

namespace kvmon {

std::size_t RaiseFileLimit() {
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) {
        return 1024;  // what every system has
    }
    const rlim_t before = limit.rlim_cur;
    limit.rlim_cur = limit.rlim_max;
    const rlim_t now = ::setrlimit(RLIMIT_NOFILE, &limit) == 0 ? limit.rlim_cur : before;
    return static_cast<std::size_t>(std::min<rlim_t>(now, std::size_t{1} << 30));
}

}  // namespace kvmon
