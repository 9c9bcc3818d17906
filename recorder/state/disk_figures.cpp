#include "state/disk_figures.h"

#include <sys/statvfs.h>

namespace kvrecorder {

DiskFigures ReadDiskFigures(const ServerConfig& server) {
    struct statvfs figures {};
    if (server.diskFault == DiskFault::Failed || ::statvfs(server.diskFolder.c_str(), &figures) != 0 ||
        figures.f_blocks == 0) {
        return {-1, 0, 0};
    }
    if (server.diskFault == DiskFault::Full) {
        figures.f_bfree = figures.f_bavail = 0;
    }
    const std::uint64_t used = figures.f_blocks - figures.f_bfree;
    const std::uint64_t usable = used + figures.f_bavail;
    // A started percent counts, as the system's own tool has it.
    const std::uint64_t percent = usable == 0 ? 0 : (used * 100 + usable - 1) / usable;
    return {0, static_cast<int>(percent), figures.f_blocks * (figures.f_frsize / 512) / 2};
}

}  // namespace kvrecorder
