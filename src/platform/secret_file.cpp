#include "platform/secret_file.h"

#include <sys/stat.h>

namespace kvmon {

bool OthersCanRead(const std::string& path) {
    struct stat file {};
    struct stat folder {};
    const std::size_t end = path.rfind('/');
    const std::string above = end == std::string::npos ? "." : path.substr(0, end + 1);
    if (::stat(path.c_str(), &file) != 0 || ::stat(above.c_str(), &folder) != 0) {
        return false;
    }
    const bool bGroup = (file.st_mode & S_IRGRP) != 0 && (folder.st_mode & S_IXGRP) != 0;
    const bool bAll = (file.st_mode & S_IROTH) != 0 && (folder.st_mode & S_IXOTH) != 0;
    // What is no plain file, such as a pipe of the shell, is gone when it has been read.
    return S_ISREG(file.st_mode) && (bGroup || bAll);
}

}  // namespace kvmon
