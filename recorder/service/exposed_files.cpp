#include "service/exposed_files.h"

#include <sys/stat.h>

namespace kvrecorder {
namespace {

bool OthersMay(const std::string& path, mode_t rights) {
    struct stat found {};
    return ::stat(path.c_str(), &found) == 0 && (found.st_mode & rights) != 0;
}

}  // namespace

std::vector<std::string> TellExposed(const RecorderConfig& config) {
    std::vector<std::string> lines;
    for (std::size_t i = config.fileIsSecret ? 0 : 1; i < config.secretFiles.size(); ++i) {
        const std::string& file = config.secretFiles[i];
        if (OthersMay(file, S_IROTH)) {
            lines.push_back("others can read " + file + ", which may hold passwords");
        }
    }
    for (const std::string& folder : {config.server.recording.folder, config.server.talkFolder}) {
        if (!folder.empty() && OthersMay(folder, S_IROTH | S_IXOTH)) {
            lines.push_back("others can look into " + folder + ", where recordings are kept");
        }
    }
    return lines;
}

}  // namespace kvrecorder
