#include "service/changed_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "media/descriptor.h"

namespace kvrecorder {
namespace {

[[noreturn]] void Fail(int error) {
    throw std::runtime_error(error == ENOSPC || error == EDQUOT  ? "the disk is full"
                             : error == EROFS                    ? "the disk is read-only"
                             : error == EACCES || error == EPERM ? "the recorder's user may not do that"
                                                                 : std::generic_category().message(error));
}

void Check(bool good) {
    if (!good) {
        Fail(errno);
    }
}

void WriteAll(int file, std::string_view text) {
    while (!text.empty()) {
        const ssize_t count = ::write(file, text.data(), text.size());
        Check(count >= 0 || errno == EINTR);
        text.remove_prefix(count > 0 ? static_cast<std::size_t>(count) : 0);
    }
}

// The new file until it stands in the old one's place.
class Beside {
public:
    explicit Beside(const std::string& path)
        : m_path(path + ".XXXXXX"), m_file(::mkostemp(m_path.data(), O_CLOEXEC)) {
        Check(m_file.Get() >= 0);
    }
    ~Beside() {
        if (!m_placed) {
            ::unlink(m_path.c_str());
        }
    }
    Beside(const Beside&) = delete;
    Beside& operator=(const Beside&) = delete;

    int File() const { return m_file.Get(); }
    void Place(const std::string& path) {
        Check(::rename(m_path.c_str(), path.c_str()) == 0);
        m_placed = true;
    }

private:
    std::string m_path;
    Descriptor m_file;
    bool m_placed = false;
};

}  // namespace

void WriteChangedFile(const std::string& path, std::string_view text) {
    std::error_code error;
    const std::string real = std::filesystem::canonical(path, error).string();
    if (error) {
        Fail(error.value());
    }
    struct stat old {};
    Check(::stat(real.c_str(), &old) == 0);
    if ((old.st_mode & 0222) == 0 || ::access(real.c_str(), W_OK) != 0) {
        throw std::runtime_error("it is read-only");
    }
    Beside fresh(real);
    struct stat made {};
    Check(::fstat(fresh.File(), &made) == 0);
    if (made.st_uid != old.st_uid || made.st_gid != old.st_gid) {
        Check(::fchown(fresh.File(), old.st_uid, old.st_gid) == 0);
    }
    Check(::fchmod(fresh.File(), old.st_mode & 07777) == 0);
    WriteAll(fresh.File(), text);
    Check(::fsync(fresh.File()) == 0);
    fresh.Place(real);
    // So that the new name lasts, too. A file system without that has it as soon as it can.
    const std::string folder = std::filesystem::path(real).parent_path().string();
    const Descriptor place(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (place.Get() >= 0) {
        ::fsync(place.Get());
    }
}

}  // namespace kvrecorder
