#include "persist/settings_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <thread>

#include "persist/settings_connection.h"
#include "persist/utilities.h"

namespace kvmon {

namespace {

constexpr Milliseconds kStep{10};

constexpr char kBusy[] = "another process sets it aside";

// The lock beside the file. Who holds it may have been stopped, so that the wait has an end.
class Guard {
public:
    Guard(const std::string& path, int kind, Milliseconds wait)
        : m_fd(::open((path + ".lock").c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600)) {
        const auto end = std::chrono::steady_clock::now() + wait;
        while (m_fd >= 0 && !(m_bHeld = ::flock(m_fd, kind | LOCK_NB) == 0) && errno == EWOULDBLOCK &&
               std::chrono::steady_clock::now() < end) {
            std::this_thread::sleep_for(kStep);
        }
    }
    ~Guard() {
        if (m_fd >= 0) {
            ::close(m_fd);
        }
    }
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;

    // Where no file can be made, nobody sets one aside either.
    bool MayRead() const { return m_fd < 0 || m_bHeld; }
    bool IsHeld() const { return m_bHeld; }

private:
    const int m_fd;
    bool m_bHeld = false;
};

}  // namespace

FileResult SettingsFile::Load(SettingsRows& rows) {
    const Guard guard(m_path, LOCK_SH, m_wait);
    if (!guard.MayRead()) {
        m_error = kBusy;
        return FileResult::Busy;
    }
    SettingsConnection connection(m_path, m_wait);
    FileResult result = connection.CheckAll();
    if (result == FileResult::Done) {
        result = connection.ReadAll(rows);
    }
    if (result != FileResult::Done) {
        rows.clear();
        m_error = connection.ErrorText();
    }
    return result;
}

FileResult SettingsFile::Apply(const SettingsChanges& changes) {
    const Guard guard(m_path, LOCK_SH, m_wait);
    if (!guard.MayRead()) {
        m_error = kBusy;
        return FileResult::Busy;
    }
    SettingsConnection connection(m_path, m_wait);
    const FileResult result = connection.Apply(changes);
    if (result != FileResult::Done) {
        m_error = connection.ErrorText();
    }
    return result;
}

FileResult SettingsFile::SetAside(std::string& aside) {
    const Guard guard(m_path, LOCK_EX, m_wait);
    if (!guard.IsHeld()) {
        m_error = "other processes use it";
        return FileResult::Busy;
    }
    {
        SettingsConnection connection(m_path, m_wait);
        const FileResult now = connection.CheckAll();
        if (now != FileResult::Damaged) {
            m_error = connection.ErrorText();
            return now;
        }
    }
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    const std::string base = m_path + ".damaged-" + FormatTimeStamp(local);
    std::string name = base;
    for (int i = 2; FileExists(name); ++i) {
        name = base + "-" + std::to_string(i);
    }
    if (std::rename(m_path.c_str(), name.c_str()) != 0) {
        m_error = std::strerror(errno);
        return FileResult::Failed;
    }
    // The log of the damaged file must not be taken for that of the new one.
    std::rename((m_path + "-wal").c_str(), (name + "-wal").c_str());
    std::rename((m_path + "-journal").c_str(), (name + "-journal").c_str());
    ::unlink((m_path + "-shm").c_str());
    aside = name;
    return FileResult::Done;
}

}  // namespace kvmon
