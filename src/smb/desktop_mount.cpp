#include "smb/desktop_mount.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <string_view>
#include <vector>

#include "shares/share_name.h"

extern char** environ;

namespace kvmon {

namespace {

constexpr char kOurs = 'm';
constexpr const char* kProgram = "gio";
constexpr std::size_t kMaxOutput = 64 * 1024;
constexpr std::string_view kPathLine = "local path: ";
constexpr std::string_view kScheme = "smb://";

using SteadyClock = std::chrono::steady_clock;

std::string Escaped(const std::string& text) {
    std::string url;
    AppendEscaped(url, text);
    return url;
}

// The request's address with its user, so that the desktop keeps it apart from the user's own mounts.
std::string Address(const ShareRequest& request, std::uint16_t port) {
    const std::string rest = request.url.substr(kScheme.size());
    const std::size_t slash = rest.find('/');
    const std::string domain = request.domain.empty() ? "" : Escaped(request.domain) + ";";
    const std::string number = port != 0 ? ":" + std::to_string(port) : "";
    return std::string(kScheme) + domain + Escaped(request.user) + "@" + rest.substr(0, slash) + number +
           rest.substr(slash);
}

// "smb://user@host/share" of an address with folders behind it.
std::string RootOf(const std::string& address) {
    const std::size_t share = address.find('/', kScheme.size()) + 1;
    return address.substr(0, address.find('/', share));
}

// One run of the program. What it asks for on its output it is told on its input.
class ProgramRun {
public:
    using Reply = std::function<std::string(std::string_view output)>;

    ProgramRun(std::vector<std::string> arguments, int ms)
        : m_end(SteadyClock::now() + std::chrono::milliseconds(ms)) {
        Start(std::move(arguments));
    }
    ~ProgramRun() {
        for (const int fd : {m_in, m_out}) {
            if (fd >= 0) {
                ::close(fd);
            }
        }
    }
    ProgramRun(const ProgramRun&) = delete;
    ProgramRun& operator=(const ProgramRun&) = delete;

    // True when it ended well, in time. `reply` gets all that came so far and gives what is to be said to it.
    bool Finish(const Reply& reply = {}) {
        if (m_pid <= 0) {
            return false;
        }
        while (ReadMore()) {
            const std::string text = reply ? reply(m_output) : std::string();
            if (!text.empty() && ::write(m_in, text.data(), text.size()) < 0) {
                break;
            }
        }
        if (SteadyClock::now() >= m_end || m_output.size() >= kMaxOutput) {
            ::kill(m_pid, SIGKILL);
        }
        int status = 0;
        ::waitpid(m_pid, &status, 0);
        m_pid = 0;
        return WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }
    const std::string& Output() const { return m_output; }

private:
    void Start(std::vector<std::string> arguments) {
        int in[2] = {-1, -1};
        int out[2] = {-1, -1};
        if (::pipe2(in, O_CLOEXEC) != 0) {
            return;
        }
        m_in = in[1];
        if (::pipe2(out, O_CLOEXEC) != 0) {
            ::close(in[0]);
            return;
        }
        m_out = out[0];
        std::vector<char*> argv;
        argv.reserve(arguments.size() + 1);
        for (std::string& argument : arguments) {
            argv.push_back(argument.data());
        }
        argv.push_back(nullptr);
        posix_spawn_file_actions_t files;
        posix_spawn_file_actions_init(&files);
        posix_spawn_file_actions_adddup2(&files, in[0], STDIN_FILENO);
        posix_spawn_file_actions_adddup2(&files, out[1], STDOUT_FILENO);
        ::setenv("LC_ALL", "C.UTF-8", 1);  // it asks in the user's language otherwise
        if (::posix_spawnp(&m_pid, kProgram, &files, nullptr, argv.data(), environ) != 0) {
            m_pid = 0;
        }
        posix_spawn_file_actions_destroy(&files);
        ::close(in[0]);
        ::close(out[1]);
    }

    bool ReadMore() {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(m_end - SteadyClock::now()).count();
        pollfd wait{m_out, POLLIN, 0};
        std::array<char, 1024> part;
        if (left <= 0 || m_output.size() >= kMaxOutput || ::poll(&wait, 1, static_cast<int>(left)) <= 0) {
            return false;
        }
        const ssize_t count = ::read(m_out, part.data(), part.size());
        m_output.append(part.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        return count > 0;
    }

    const SteadyClock::time_point m_end;
    pid_t m_pid = 0;
    int m_in = -1;
    int m_out = -1;
    std::string m_output;
};

// Answers each question once: one that comes again says that the answer was not liked.
class Answers {
public:
    explicit Answers(const ShareRequest& request)
        : m_rows{Row{"User", request.user}, Row{"Domain", request.domain},
                 Row{"Password", request.password}} {}

    std::string operator()(std::string_view output) {
        const std::size_t line = output.rfind('\n') + 1;  // 0 for none
        const std::string_view fresh = output.substr(std::max(m_seen, line));
        for (Row& row : m_rows) {
            if (!row.question.empty() && fresh.find(row.question) != std::string_view::npos &&
                output.ends_with(": ")) {
                m_seen = output.size();
                row.question = {};
                return row.answer + "\n";
            }
        }
        return {};
    }

private:
    struct Row {
        std::string_view question;
        std::string answer;
    };
    std::array<Row, 3> m_rows;
    std::size_t m_seen = 0;
};

std::string PathIn(const std::string& output) {
    std::size_t line = output.starts_with(kPathLine) ? 0 : output.find("\n" + std::string(kPathLine));
    if (line == std::string::npos) {
        return {};
    }
    line += (line == 0 ? 0 : 1) + kPathLine.size();
    return output.substr(line, output.find('\n', line) - line);
}

}  // namespace

DesktopMount::~DesktopMount() {
    if (m_lock >= 0) {
        ::close(m_lock);
    }
}

// All who hold the mount have one file open. False where there is none to be had.
bool DesktopMount::HoldLock() {
    const char* const folder = std::getenv("XDG_RUNTIME_DIR");
    const std::string file = std::string(folder != nullptr ? folder : "") + "/kvmon-share-" +
                             std::to_string(std::hash<std::string>()(m_root));
    m_lock = folder != nullptr ? ::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600) : -1;
    return m_lock >= 0 && ::flock(m_lock, LOCK_SH) == 0;
}

// That this program has mounted it is written into that file.
bool DesktopMount::MarkAsOurs() {
    return ::pwrite(m_lock, &kOurs, 1, 0) == 1;
}

bool DesktopMount::IsOurs() const {
    char found = 0;
    return ::pread(m_lock, &found, 1, 0) == 1 && found == kOurs;
}

std::string DesktopMount::Mount(const ShareRequest& request, std::uint16_t port) {
    if (!request.url.starts_with(kScheme)) {
        return {};
    }
    const std::string address = Address(request, port);
    m_root = RootOf(address);
    const auto begin = SteadyClock::now();
    Answers answers(request);
    const bool bNew = ProgramRun({kProgram, "mount", m_root}, kMountMs).Finish(std::ref(answers));
    if (HoldLock() && bNew && !MarkAsOurs()) {
        return {};
    }
    const auto spent = std::chrono::duration_cast<std::chrono::milliseconds>(SteadyClock::now() - begin);
    ProgramRun info({kProgram, "info", "-a", "standard::type", address},
                    std::max(1, kMountMs - static_cast<int>(spent.count())));
    return info.Finish() ? PathIn(info.Output()) : std::string();
}

void DesktopMount::Unmount() {
    if (m_root.empty() || m_lock < 0 || !IsOurs() || ::flock(m_lock, LOCK_EX | LOCK_NB) != 0) {
        return;
    }
    // Also under the hands of a program that reads there: the page's session is over.
    if (ProgramRun({kProgram, "mount", "-f", "-u", m_root}, kUnmountMs).Finish()) {
        [[maybe_unused]] const int emptied = ::ftruncate(m_lock, 0);
    }
}

}  // namespace kvmon
