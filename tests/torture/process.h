// A program under test as a process, and what became of it.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

namespace torture {

struct Launch {
    std::string program;
    std::vector<std::string> arguments;
    std::vector<std::string> environment;  // NAME=VALUE, beyond that of this process
    std::string input;                     // a file, or none
    std::string output;                    // files
    std::string errors;
};

// Killed at the end if it still runs.
class Process {
public:
    explicit Process(const Launch& launch);
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    bool IsRunning();
    bool WaitForEnd(std::chrono::milliseconds time);
    void Signal(int number) const;
    // Of wait(); after its end.
    int Status() const { return m_status; }

private:
    pid_t m_pid = -1;
    int m_status = -1;
};

std::string ReadWhole(const std::string& path);
void WriteWhole(const std::string& path, const std::string& text);
// The functions at these offsets of a program, inlined ones too.
std::string NameOffsets(const std::string& program, const std::vector<unsigned long>& offsets);

}  // namespace torture
