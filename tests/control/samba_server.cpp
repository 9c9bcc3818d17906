#include "samba_server.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <pwd.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "support/scripted_server.h"
#include "support/wait_until.h"

namespace kvtest {

namespace {

// MD4 of the password in UTF-16, as Samba keeps it.
constexpr const char* kPasswordHash = "878D8014606CDA29677A44EFA1353FC7";

std::string FindServer() {
    for (const std::string& path :
         {std::string("/usr/sbin/smbd"), std::string(KV_SAMBA_FOLDER "/usr/sbin/smbd")}) {
        if (::access(path.c_str(), X_OK) == 0) {
            return path;
        }
    }
    return {};
}

bool Accepts(std::uint16_t port) {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    const bool bAccepted = ::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0;
    ::close(fd);
    return bAccepted;
}

}  // namespace

std::unique_ptr<SambaServer> SambaServer::Start(std::string& problem) {
    const std::string program = FindServer();
    const passwd* const account = ::getpwuid(::getuid());
    if (program.empty() || account == nullptr) {
        problem = program.empty() ? "there is no smbd" : "this user has no name";
        return nullptr;
    }
    std::unique_ptr<SambaServer> server(new SambaServer(program, account->pw_name));
    if (server->m_pid < 0) {
        std::ifstream log(server->m_folder.File("log"));
        problem = "smbd does not run here: " + std::string(std::istreambuf_iterator<char>(log), {});
        return nullptr;
    }
    return server;
}

SambaServer::SambaServer(const std::string& program, const std::string& account) {
    for (int attempt = 0; attempt < 3 && m_pid < 0; ++attempt) {
        m_port = UnusedPort();
        WriteFiles(account);
        Run(program);
    }
}

SambaServer::~SambaServer() {
    if (m_pid > 0) {
        ::kill(-m_pid, SIGKILL);
        ::waitpid(m_pid, nullptr, 0);
    }
}

void SambaServer::WriteFiles(const std::string& account) const {
    for (const char* const name :
         {"private", "lock", "state", "cache", "run", "rpc", "other", "recordings/day 1"}) {
        std::filesystem::create_directories(m_folder.File(name));
    }
    std::ofstream(m_folder.File("recordings/day 1/clip.avi")) << "pictures";
    std::ofstream(m_folder.File("map")) << account << " = " << kUser << '\n';
    std::ofstream(m_folder.File("passwords")) << account << ':' << ::getuid() << ':' << std::string(32, 'X')
                                              << ':' << kPasswordHash << ":[U          ]:LCT-00000001:\n";
    ::chmod(m_folder.File("passwords").c_str(), 0600);
    std::ofstream config(m_folder.File("smb.conf"));
    config << "[global]\n"
              "server role = standalone server\n"
              "interfaces = 127.0.0.1\n"
              "bind interfaces only = yes\n"
              "load printers = no\n"
              "disable spoolss = yes\n"
              "map to guest = never\n"
           << "smb ports = " << m_port << "\nlog file = " << m_folder.File("log.%m")
           << "\npassdb backend = smbpasswd:" << m_folder.File("passwords")
           << "\nusername map = " << m_folder.File("map") << "\nprivate dir = " << m_folder.File("private")
           << "\nlock directory = " << m_folder.File("lock")
           << "\nstate directory = " << m_folder.File("state")
           << "\ncache directory = " << m_folder.File("cache") << "\npid directory = " << m_folder.File("run")
           << "\nncalrpc dir = " << m_folder.File("rpc") << '\n';
    for (const std::string share : {"recordings", "other"}) {
        const auto note = [&](const std::string& what) {
            return "/bin/sh -c 'echo " + what + " " + share + " >>" + m_folder.File("events") + "'";
        };
        config << "[" << share << "]\npath = " << m_folder.File(share) << "\npreexec = " << note("open")
               << "\npostexec = " << note("close") << '\n';
    }
}

bool SambaServer::Run(const std::string& program) {
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);  // it has processes of its own
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    for (const int fd : {STDOUT_FILENO, STDERR_FILENO}) {
        posix_spawn_file_actions_addopen(&files, fd, m_folder.File("log").c_str(),
                                         O_CREAT | O_APPEND | O_WRONLY, 0600);
    }
    std::string arguments[] = {program, "--foreground", "--no-process-group", "--debug-stdout",
                               "--configfile=" + m_folder.File("smb.conf")};
    char* argv[] = {arguments[0].data(), arguments[1].data(), arguments[2].data(),
                    arguments[3].data(), arguments[4].data(), nullptr};
    pid_t pid = -1;
    const bool bStarted = ::posix_spawn(&pid, program.c_str(), &files, &attributes, argv, environ) == 0;
    posix_spawn_file_actions_destroy(&files);
    posix_spawnattr_destroy(&attributes);
    if (!bStarted) {
        return false;
    }
    bool bEnded = false;
    WaitUntil([&] { return (bEnded = ::waitpid(pid, nullptr, WNOHANG) == pid) || Accepts(m_port); });
    m_pid = bEnded ? -1 : pid;
    return !bEnded;
}

std::vector<std::string> SambaServer::Events() const {
    std::ifstream file(m_folder.File("events"));
    std::vector<std::string> events;
    for (std::string line; std::getline(file, line);) {
        events.push_back(line);
    }
    return events;
}

bool SambaServer::WaitForEvents(std::size_t count) const {
    return WaitUntil([&] { return Events().size() >= count; });
}

}  // namespace kvtest
