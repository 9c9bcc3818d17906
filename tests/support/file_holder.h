// Another program that holds a settings file locked.
#pragma once

#include <sys/types.h>

#include <string>

namespace kvtest {

// A process with an exclusive transaction on the database file, until it is told to let go or this object
// ends.
class FileHolder {
public:
    explicit FileHolder(const std::string& file);
    ~FileHolder();
    FileHolder(const FileHolder&) = delete;
    FileHolder& operator=(const FileHolder&) = delete;

    bool IsHeld() const { return m_bHeld; }
    void Release();

private:
    int m_input = -1;
    pid_t m_pid = -1;
    bool m_bHeld = false;
};

}  // namespace kvtest
