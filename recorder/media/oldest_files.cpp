#include "media/oldest_files.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <vector>

namespace kvrecorder {
namespace {

namespace fs = std::filesystem;

constexpr std::chrono::seconds kInUse{10};

struct Old {
    fs::file_time_type time;
    std::uint64_t bytes;
    fs::path path;
};

std::vector<Old> List(const std::string& folder, std::string_view prefix, std::string_view suffix) {
    std::vector<Old> files;
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        std::error_code gone;
        if (!name.starts_with(prefix) || !name.ends_with(suffix) || !entry->is_regular_file(gone)) {
            continue;
        }
        const std::uint64_t size = entry->file_size(gone);
        const auto time = entry->last_write_time(gone);
        if (!gone) {
            files.push_back({time, size, entry->path()});
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
    const auto recent = fs::file_time_type::clock::now() - kInUse;
    for (const Old& file : files) {
        if (bytes <= mostBytes || file.time > recent) {
            return;
        }
        std::error_code error;
        fs::remove(file.path, error);
        bytes -= file.bytes;
    }
}

}  // namespace kvrecorder
