#include "service/file_stamp.h"

#include <sys/stat.h>

namespace kvrecorder {
namespace {

FileStamp StampOf(const std::string& path) {
    struct stat found {};
    if (::stat(path.c_str(), &found) != 0) {
        return {};
    }
    return {found.st_dev, found.st_ino, found.st_size,
            std::chrono::seconds(found.st_ctim.tv_sec) + std::chrono::nanoseconds(found.st_ctim.tv_nsec)};
}

}  // namespace

std::vector<FileStamp> StampsOf(const std::vector<std::string>& files) {
    std::vector<FileStamp> stamps;
    stamps.reserve(files.size());
    for (const std::string& file : files) {
        stamps.push_back(StampOf(file));
    }
    return stamps;
}

}  // namespace kvrecorder
