#include "media/oldest_files.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <memory>
#include <vector>

namespace kvrecorder {
namespace {

constexpr std::chrono::seconds kInUse{10};

struct OpenFolderEnd {
    void operator()(DIR* folder) const { ::closedir(folder); }
};

struct Old {
    std::chrono::nanoseconds time;
    std::uint64_t bytes;
    std::string path;
};

// The standard library's way through a folder ends the program where memory is short.
std::vector<Old> List(const std::string& folder, std::string_view prefix, std::string_view suffix) {
    std::vector<Old> files;
    const std::unique_ptr<DIR, OpenFolderEnd> open(::opendir(folder.c_str()));
    while (const dirent* const entry = open ? ::readdir(open.get()) : nullptr) {
        const std::string_view name = entry->d_name;
        if (!name.starts_with(prefix) || !name.ends_with(suffix)) {
            continue;
        }
        std::string path = folder + "/" + entry->d_name;
        struct stat found {};
        if (::stat(path.c_str(), &found) == 0 && S_ISREG(found.st_mode)) {
            files.push_back(
                {std::chrono::seconds(found.st_mtim.tv_sec) + std::chrono::nanoseconds(found.st_mtim.tv_nsec),
                 static_cast<std::uint64_t>(found.st_size), std::move(path)});
        }
    }
    return files;
}

}  // namespace

void DeleteOldest(const std::string& folder, std::string_view prefix, std::string_view suffix,
                  std::uint64_t mostBytes) {
    std::vector<Old> files = List(folder, prefix, suffix);
    std::uint64_t bytes = 0;
    for (const Old& file : files) {
        bytes += file.bytes;
    }
    std::sort(files.begin(), files.end(), [](const Old& a, const Old& b) { return a.time < b.time; });
    const std::chrono::nanoseconds recent = std::chrono::system_clock::now().time_since_epoch() - kInUse;
    for (const Old& file : files) {
        if (bytes <= mostBytes || file.time > recent) {
            return;
        }
        ::unlink(file.path.c_str());
        bytes -= file.bytes;
    }
}

}  // namespace kvrecorder
