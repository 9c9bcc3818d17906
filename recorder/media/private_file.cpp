#include "media/private_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace kvrecorder {
namespace {

[[noreturn]] void Fail(const char* what, const std::string& path) {
    throw std::runtime_error(what + path + ": " + std::generic_category().message(errno));
}

constexpr const char* kNoGroup = "cannot give to the group: ";

}  // namespace

Descriptor MakePrivateFile(const std::string& path, FileGroup group) {
    Descriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (file.Get() < 0) {
        Fail("cannot make ", path);
    }
    if (group &&
        (::fchown(file.Get(), static_cast<uid_t>(-1), *group) != 0 || ::fchmod(file.Get(), 0640) != 0)) {
        Fail(kNoGroup, path);
    }
    return file;
}

void MakePrivateFolder(const std::string& path, FileGroup group) {
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) {
        return;
    }
    const auto above = std::filesystem::path(path).parent_path();
    if (!above.empty()) {
        std::filesystem::create_directories(above, error);
    }
    if (::mkdir(path.c_str(), 0700) != 0) {
        Fail("cannot make the folder ", path);
    }
    if (group &&
        (::chown(path.c_str(), static_cast<uid_t>(-1), *group) != 0 || ::chmod(path.c_str(), 0750) != 0)) {
        Fail(kNoGroup, path);
    }
}

}  // namespace kvrecorder
