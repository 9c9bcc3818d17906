#include "state/recording_folder.h"

#include <sys/statvfs.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <iostream>
#include <stdexcept>

#include "media/oldest_files.h"

namespace kvrecorder {
namespace {

namespace fs = std::filesystem;

constexpr const char* kPrefix = "camera-";
constexpr const char* kSuffix = ".mkv";

std::string FileName(int channel) {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    ::localtime_r(&now, &local);
    char text[32];
    std::strftime(text, sizeof text, "-%Y%m%d-%H%M%S", &local);
    const std::string number = std::to_string(channel + 1);
    return kPrefix + std::string(number.size() < 3 ? 3 - number.size() : 0, '0') + number + text;
}

std::uint64_t FreeMegabytes(const std::string& folder) {
    struct statvfs figures {};
    return ::statvfs(folder.c_str(), &figures) == 0
               ? static_cast<std::uint64_t>(figures.f_bavail) * figures.f_frsize / kMegabyte
               : 0;
}

}  // namespace

std::string RecordingFolder::Prepare() {
    std::error_code error;
    if (m_config.folder.empty()) {
        std::string pattern = (fs::temp_directory_path(error) / "kvrecorder-XXXXXX").string();
        if (error || !::mkdtemp(pattern.data())) {
            return "there is no folder for recordings";
        }
        m_config.folder = pattern;
        std::cerr << "kvrecorder: recordings are kept in " << pattern << std::endl;
    }
    try {
        MakePrivateFolder(m_config.folder, m_config.group);
    } catch (const std::runtime_error& failure) {
        return failure.what();
    }
    return "";
}

bool RecordingFolder::IsFull() const {
    return m_pretendFull || FreeMegabytes(m_config.folder) < m_config.minFreeMb;
}

std::string RecordingFolder::NewFile(int channel) const {
    const std::string base = m_config.folder + "/" + FileName(channel);
    std::string path = base + kSuffix;
    std::error_code error;
    for (int again = 2; fs::exists(path, error); ++again) {
        path = base + "-" + std::to_string(again) + kSuffix;
    }
    return path;
}

void RecordingFolder::MakeRoom() const {
    DeleteOldest(m_config.folder, kPrefix, kSuffix, m_config.limitMb * kMegabyte);
}

}  // namespace kvrecorder
