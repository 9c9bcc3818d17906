// A program that runs beside the one that is watched, and what a process holds.
#pragma once

#include <sys/types.h>

#include <cstdio>
#include <set>
#include <string>
#include <vector>

namespace kvbench {

// What a process holds.
struct Holding {
    double megabytes = 0;
    double ownMegabytes = 0;  // without the pages of files, libraries above all
    int threads = 0;
    int descriptors = 0;
};
Holding Look(pid_t process);
// How often threads of these names went to sleep. They are woken as often.
long Sleeps(pid_t process, const std::set<std::string>& threads);
// What this process has allocated and not given back, in megabytes: the rest is the allocator's.
double InUse();

// A program whose first line ends in the port that it listens on.
class ChildProcess {
public:
    explicit ChildProcess(const std::vector<std::string>& command);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    int Port() const { return m_port; }
    pid_t Process() const { return m_process; }
    // A line to its input, and a line that answers it.
    void Tell(const std::string& line) const;
    std::string Ask(const std::string& line) const;

private:
    pid_t m_process = -1;
    FILE* m_input = nullptr;
    FILE* m_output = nullptr;
    int m_port = 0;
};

// The status that a command ends with; what it prints is of no interest.
int RunCommand(const std::vector<std::string>& command);

}  // namespace kvbench
