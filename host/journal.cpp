#include "host/journal.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>

namespace kvhost {
namespace {

// A value with a line's end in it is told by its length.
void AddField(std::string& message, std::string_view name, std::string_view value) {
    message += name;
    if (value.find('\n') == std::string_view::npos) {
        message += '=';
    } else {
        message += '\n';
        for (int shift = 0; shift < 64; shift += 8) {
            message += static_cast<char>((static_cast<std::uint64_t>(value.size()) >> shift) & 0xFF);
        }
    }
    message += value;
    message += '\n';
}

}  // namespace

bool LeadsToJournal(int fd) {
    const char* const told = std::getenv("JOURNAL_STREAM");
    unsigned long long device = 0;
    unsigned long long inode = 0;
    struct stat found {};
    return told != nullptr && std::sscanf(told, "%llu:%llu", &device, &inode) == 2 &&
           ::fstat(fd, &found) == 0 && found.st_dev == device && found.st_ino == inode;
}

Journal::Journal(std::string program, std::string socket)
    : m_program(std::move(program)),
      m_socket(std::move(socket)),
      m_isJournal(LeadsToJournal(STDERR_FILENO)) {}

void Journal::Tell(const Line& line) const noexcept {
    try {
        if (m_isJournal && Send(line)) {
            return;
        }
        // The journal takes a line's level from its beginning.
        const std::string prefix =
            m_isJournal ? "<" + std::to_string(static_cast<int>(line.level)) + ">" : "";
        const std::string text = prefix + m_program + ": " + line.text + "\n";
        std::fwrite(text.data(), 1, text.size(), stderr);
    } catch (const std::exception&) {
        std::fprintf(stderr, "%s: %.*s\n", m_program.c_str(), static_cast<int>(line.text.size()),
                     line.text.data());
    }
}

bool Journal::Send(const Line& line) const {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (m_socket.size() >= sizeof(address.sun_path)) {
        return false;
    }
    std::memcpy(address.sun_path, m_socket.data(), m_socket.size());
    std::string message;
    AddField(message, "MESSAGE", line.text);
    AddField(message, "PRIORITY", std::to_string(static_cast<int>(line.level)));
    AddField(message, "SYSLOG_IDENTIFIER", m_program);
    for (const auto& [name, value] : line.fields) {
        AddField(message, name, value);
    }
    const int fd = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        return false;
    }
    const bool sent = ::sendto(fd, message.data(), message.size(), MSG_NOSIGNAL | MSG_DONTWAIT,
                               reinterpret_cast<sockaddr*>(&address),
                               sizeof(address)) == static_cast<ssize_t>(message.size());
    ::close(fd);
    return sent;
}

}  // namespace kvhost
