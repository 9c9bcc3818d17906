#include "torture/process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>
#include <thread>

extern char** environ;

namespace torture {

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

Process::Process(const Launch& launch) {
    std::vector<std::string> arguments{launch.program};
    arguments.insert(arguments.end(), launch.arguments.begin(), launch.arguments.end());
    std::vector<std::string> environment = launch.environment;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        environment.emplace_back(*entry);  // the first of a name counts
    }
    const std::string input = launch.input.empty() ? "/dev/null" : launch.input;
    posix_spawn_file_actions_t files;
    ::posix_spawn_file_actions_init(&files);
    ::posix_spawn_file_actions_addopen(&files, 0, input.c_str(), O_RDONLY, 0);
    ::posix_spawn_file_actions_addopen(&files, 1, launch.output.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    ::posix_spawn_file_actions_addopen(&files, 2, launch.errors.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    if (::posix_spawn(&m_pid, launch.program.c_str(), &files, nullptr, Pointers(arguments).data(),
                      Pointers(environment).data()) != 0) {
        m_pid = -1;
    }
    ::posix_spawn_file_actions_destroy(&files);
}

Process::~Process() {
    if (IsRunning()) {
        ::kill(m_pid, SIGKILL);
        ::waitpid(m_pid, &m_status, 0);
    }
}

bool Process::IsRunning() {
    if (m_pid > 0 && ::waitpid(m_pid, &m_status, WNOHANG) == m_pid) {
        m_pid = -1;
    }
    return m_pid > 0;
}

bool Process::WaitForEnd(std::chrono::milliseconds time) {
    const auto end = std::chrono::steady_clock::now() + time;
    while (IsRunning() && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return !IsRunning();
}

void Process::Signal(int number) const {
    if (m_pid > 0) {
        ::kill(m_pid, number);
    }
}

std::string ReadWhole(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void WriteWhole(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

std::string NameOffsets(const std::string& program, const std::vector<unsigned long>& offsets) {
    std::ostringstream command;
    command << "addr2line -C -f -i -s -e '" << program << "'" << std::hex;
    for (const unsigned long offset : offsets) {
        if (offset != 0) {
            command << " 0x" << offset - 1;
        }
    }
    std::string text;
    if (std::FILE* const pipe = ::popen(command.str().c_str(), "r")) {
        char line[512];
        while (std::fgets(line, sizeof line, pipe) != nullptr) {
            text += std::string("      ") + line;
        }
        ::pclose(pipe);
    }
    return text;
}

}  // namespace torture
