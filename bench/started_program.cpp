#include "started_program.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace kvbench {

namespace {

std::vector<char*> Pointers(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

}  // namespace

StartedProgram::StartedProgram(const std::vector<std::string>& command, const std::string& output,
                               const std::vector<std::string>& variables) {
    std::vector<std::string> words = command;
    // The first of two with one name counts.
    std::vector<std::string> environment = variables;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        environment.emplace_back(*entry);
    }
    posix_spawn_file_actions_t files;
    ::posix_spawn_file_actions_init(&files);
    ::posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    ::posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, output.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                       0600);
    ::posix_spawn_file_actions_adddup2(&files, STDOUT_FILENO, STDERR_FILENO);
    const int error = ::posix_spawn(&m_process, words[0].c_str(), &files, nullptr, Pointers(words).data(),
                                    Pointers(environment).data());
    ::posix_spawn_file_actions_destroy(&files);
    if (error != 0) {
        throw std::runtime_error("no start of " + command[0]);
    }
}

StartedProgram::~StartedProgram() {
    ::kill(m_process, SIGTERM);
    ::waitpid(m_process, nullptr, 0);
}

double ProcessMs(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/stat");
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    unsigned long user = 0;
    unsigned long system = 0;
    const auto name = text.rfind(')');
    if (name == std::string::npos ||
        std::sscanf(text.c_str() + name + 2, "%*c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %lu %lu", &user,
                    &system) != 2) {
        throw std::runtime_error("no figures of the process");
    }
    return static_cast<double>(user + system) * 1e3 / static_cast<double>(::sysconf(_SC_CLK_TCK));
}

std::string FindProgram(const std::string& name) {
    const char* const path = std::getenv("PATH");
    std::istringstream folders(path != nullptr ? path : "");
    for (std::string folder; std::getline(folders, folder, ':');) {
        if (const std::string file = folder + "/" + name; ::access(file.c_str(), X_OK) == 0) {
            return file;
        }
    }
    return {};
}

}  // namespace kvbench
