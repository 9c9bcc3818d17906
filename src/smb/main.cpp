// Holds one share: see share_request.h.
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdlib>
#include <string>

#include "platform/process_privacy.h"
#include "platform/secret_memory.h"
#include "smb/confinement.h"
#include "smb/desktop_mount.h"
#include "smb/smb_connection.h"

namespace {

using namespace kvmon;

constexpr unsigned kRequestSeconds = 5;
// Longer than the client itself waits: it ends this process when the client has gone.
constexpr unsigned kConnectSeconds = 20;
constexpr int kLibraryMs = 8000;

// The library writes complaints to standard output and standard error: it gets neither. Nothing else that is
// open here is this program's. Gives the descriptor of what was standard output.
int KeepToOurselves() {
    ::close_range(3, ~0U, 0);
    const int answers = ::dup(STDOUT_FILENO);
    const int nothing = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (answers < 0 || nothing < 0) {
        return -1;
    }
    ::dup2(nothing, STDOUT_FILENO);
    ::dup2(nothing, STDERR_FILENO);
    return answers;
}

std::optional<ShareRequest> ReceiveRequest() {
    std::string bytes;
    const WipeAtEnd wipe(bytes);
    std::array<char, 1024> part;
    while (bytes.size() < kMaxShareRequest) {
        const ssize_t count = ::read(STDIN_FILENO, part.data(), part.size());
        if (count == 0 || (count < 0 && errno != EINTR)) {
            return std::nullopt;
        }
        bytes.append(part.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        ::explicit_bzero(part.data(), part.size());
        if (auto request = ReadShareRequest(bytes)) {
            return request;
        }
    }
    return std::nullopt;
}

std::uint16_t PortOfEnvironment() {
    const char* const text = std::getenv(kSharePortVariable);
    std::uint16_t port = 0;
    if (text != nullptr) {
        std::from_chars(text, text + std::char_traits<char>::length(text), port);
    }
    return port;
}

bool Answer(int descriptor, const std::string& line) {
    const std::string bytes = line + "\n";
    return ::write(descriptor, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
}

void WaitForEndOfInput() {
    std::array<char, 64> rest;
    ssize_t count = 0;
    do {
        count = ::read(STDIN_FILENO, rest.data(), rest.size());
    } while (count > 0 || (count < 0 && errno == EINTR));
}

}  // namespace

int main() {
    KeepMemoryPrivate();
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGALRM, SIG_DFL);
    ::alarm(kRequestSeconds);
    const int answers = KeepToOurselves();
    if (!ConfineProcess()) {
        return 2;
    }
    const std::optional<ShareRequest> request = ReceiveRequest();
    if (answers < 0 || !request) {
        return 2;
    }
    ::alarm(kConnectSeconds);
    const int result = OpenSmbConnection(*request, kLibraryMs, PortOfEnvironment());
    ::alarm(0);
    if (Answer(answers, std::to_string(result)) && result == kShareConnected) {
        DesktopMount mount;
        if (Answer(answers, mount.Mount(*request, PortOfEnvironment()))) {
            WaitForEndOfInput();
        }
        mount.Unmount();
    }
    // A server that does not answer a farewell must not keep this process: the system ends the connection.
    ::_exit(0);
}
