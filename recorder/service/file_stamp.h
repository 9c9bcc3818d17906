// Which file stands at a path, and when it was changed last.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

namespace kvrecorder {

struct FileStamp {
    dev_t device = 0;
    ino_t number = 0;
    off_t size = 0;
    std::chrono::nanoseconds changed{};  // no writer can set that time back

    bool operator==(const FileStamp&) const = default;
};

std::vector<FileStamp> StampsOf(const std::vector<std::string>& files);

}  // namespace kvrecorder
