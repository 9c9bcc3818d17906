#include "media/plain_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <system_error>

#include "media/descriptor.h"

namespace kvrecorder {
namespace {

[[noreturn]] void Fail(int error) {
    throw std::runtime_error(error == ENOENT ? "there is no such file"
                                             : std::generic_category().message(error));
}

}  // namespace

std::string ReadPlainFile(const std::string& path, std::size_t most) {
    // Without O_NONBLOCK the opening of a pipe waits for its other end.
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat found {};
    if (file.Get() < 0 || ::fstat(file.Get(), &found) != 0) {
        Fail(errno);
    }
    if (!S_ISREG(found.st_mode)) {
        throw std::runtime_error("it is not a plain file");
    }
    std::string bytes(std::min(static_cast<std::size_t>(found.st_size), most), '\0');
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t count = ::read(file.Get(), bytes.data() + done, bytes.size() - done);
        if (count < 0 && errno != EINTR) {
            Fail(errno);
        }
        if (count == 0) {
            break;
        }
        done += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
    }
    bytes.resize(done);
    return bytes;
}

}  // namespace kvrecorder
