#include "service/config_check.h"

#include <unistd.h>

#include <filesystem>

#include "service/exposed_files.h"

namespace kvrecorder {
namespace {

namespace fs = std::filesystem;

// Each right of a user to channels beyond the last; "all" means those to come, too.
void CheckRights(const RecorderConfig& config, std::vector<std::string>& lines) {
    for (const User& user : config.users) {
        for (std::size_t i = 0; i < kRightCount; ++i) {
            if (user.rights[i].all()) {
                continue;
            }
            for (std::size_t channel = config.channels.size(); channel < user.rights[i].size(); ++channel) {
                if (user.rights[i][channel]) {
                    lines.push_back("user \"" + user.name + "\": " + kRightNames[i] +
                                    ": there is no channel " + std::to_string(channel) + ", the last is " +
                                    std::to_string(config.channels.size() - 1));
                }
            }
        }
    }
}

// A folder that is not there yet is made in the nearest one above that is.
void CheckFolder(const char* key, const std::string& folder, std::vector<std::string>& lines) {
    if (folder.empty()) {
        return;
    }
    fs::path present = fs::absolute(folder);
    std::error_code error;
    while (!fs::exists(present, error) && present.has_relative_path()) {
        present = present.parent_path();
    }
    if (!fs::is_directory(present, error)) {
        lines.push_back(std::string(key) + ": " + present.string() + " is no folder");
    } else if (::access(present.c_str(), W_OK | X_OK) != 0) {
        lines.push_back(std::string(key) + ": " + present.string() + " cannot be written to");
    }
}

}  // namespace

std::vector<std::string> CheckConfig(const RecorderConfig& config) {
    std::vector<std::string> lines;
    CheckRights(config, lines);
    CheckFolder("state", config.server.stateFolder, lines);
    CheckFolder("recordings", config.server.recording.folder, lines);
    CheckFolder("talk_folder", config.server.talkFolder, lines);
    for (std::string& line : TellExposed(config)) {
        lines.push_back(std::move(line));
    }
    return lines;
}

}  // namespace kvrecorder
