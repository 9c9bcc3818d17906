// Programs that a benchmark runs beside each other.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace kvbench {

// A process from its start to this object's end, which terminates it and waits. Its words go to a file.
class StartedProgram {
public:
    // `variables`: NAME=VALUE beside the present environment. Throws std::runtime_error when there is no such
    // program.
    StartedProgram(const std::vector<std::string>& command, const std::string& output,
                   const std::vector<std::string>& variables = {});
    ~StartedProgram();
    StartedProgram(const StartedProgram&) = delete;
    StartedProgram& operator=(const StartedProgram&) = delete;

    pid_t Process() const { return m_process; }

private:
    pid_t m_process = -1;
};

// Processor time that a process has taken, in milliseconds. Throws when it is not there.
double ProcessMs(pid_t process);

// The first of the programs' folders that has it; empty: it is not installed.
std::string FindProgram(const std::string& name);

}  // namespace kvbench
