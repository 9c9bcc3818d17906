// Another program that holds a settings file locked.
#pragma once

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>
#include <string>

namespace kvtest {

// A process with an exclusive transaction on the database file, until it is told to let go or this object
// ends.
class FileHolder {
public:
    explicit FileHolder(const std::string& file) {
        if (::pipe2(m_ready, O_CLOEXEC) != 0 || ::pipe2(m_release, O_CLOEXEC) != 0) {
            throw std::runtime_error("no pipe");
        }
        m_pid = ::fork();
        if (m_pid == 0) {
            ::close(m_release[1]);
            sqlite3* database = nullptr;
            sqlite3_open(file.c_str(), &database);
            sqlite3_busy_timeout(database, 5000);
            const bool bHeld =
                sqlite3_exec(database, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr) == SQLITE_OK;
            char byte = bHeld ? 'y' : 'n';
            [[maybe_unused]] auto count = ::write(m_ready[1], &byte, 1);
            count = ::read(m_release[0], &byte, 1);
            sqlite3_close(database);
            ::_exit(0);
        }
        char byte = 0;
        m_bHeld = ::read(m_ready[0], &byte, 1) == 1 && byte == 'y';
    }
    ~FileHolder() {
        Release();
        for (const int fd : {m_ready[0], m_ready[1], m_release[0]}) {
            ::close(fd);
        }
    }
    FileHolder(const FileHolder&) = delete;
    FileHolder& operator=(const FileHolder&) = delete;

    bool IsHeld() const { return m_bHeld; }
    void Release() {
        if (m_pid > 0) {
            ::close(m_release[1]);
            ::waitpid(m_pid, nullptr, 0);
            m_pid = -1;
        }
    }

private:
    int m_ready[2] = {-1, -1};
    int m_release[2] = {-1, -1};
    pid_t m_pid = -1;
    bool m_bHeld = false;
};

}  // namespace kvtest
