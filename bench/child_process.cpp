#include "child_process.h"

#include <dirent.h>
#include <fcntl.h>
#include <malloc.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace kvbench {

namespace {

[[noreturn]] void Become(const std::vector<std::string>& command) {
    std::vector<char*> words;
    for (const std::string& word : command) {
        words.push_back(const_cast<char*>(word.c_str()));
    }
    words.push_back(nullptr);
    execv(words[0], words.data());
    _exit(127);
}

}  // namespace

Holding Look(pid_t process) {
    const std::string folder = "/proc/" + std::to_string(process);
    Holding holding;
    std::ifstream status(folder + "/status");
    for (std::string word; status >> word;) {
        if (word == "VmRSS:") {
            status >> holding.megabytes;
            holding.megabytes /= 1024;
        } else if (word == "RssAnon:" || word == "RssShmem:") {
            double kilobytes = 0;
            status >> kilobytes;
            holding.ownMegabytes += kilobytes / 1024;
        } else if (word == "Threads:") {
            status >> holding.threads;
        }
    }
    holding.descriptors = -2;  // "." and ".."
    if (DIR* const files = opendir((folder + "/fd").c_str())) {
        while (readdir(files) != nullptr) {
            ++holding.descriptors;
        }
        closedir(files);
    }
    return holding;
}

long Sleeps(pid_t process, const std::set<std::string>& threads) {
    long sum = 0;
    for (const auto& thread :
         std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/task")) {
        std::ifstream status(thread.path() / "status");
        std::string name;
        for (std::string word; status >> word;) {
            if (word == "Name:") {
                status >> name;
            } else if (word == "voluntary_ctxt_switches:" && threads.count(name) > 0) {
                long count = 0;
                status >> count;
                sum += count;
            }
        }
    }
    return sum;
}

double InUse() {
    const struct mallinfo2 heap = mallinfo2();
    return static_cast<double>(heap.uordblks + heap.hblkhd) / (1024 * 1024);
}

ChildProcess::ChildProcess(const std::vector<std::string>& command) {
    std::array<int, 2> to{};
    std::array<int, 2> from{};
    if (pipe2(to.data(), O_CLOEXEC) != 0 || pipe2(from.data(), O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe");
    }
    m_process = fork();
    if (m_process == 0) {
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        dup2(to[0], STDIN_FILENO);
        dup2(from[1], STDOUT_FILENO);
        Become(command);
    }
    close(to[0]);
    close(from[1]);
    m_input = fdopen(to[1], "w");
    m_output = fdopen(from[0], "r");
    std::array<char, 256> line{};
    if (m_input == nullptr || m_output == nullptr || fgets(line.data(), line.size(), m_output) == nullptr) {
        throw std::runtime_error("no start of " + command[0]);
    }
    const std::string text = line.data();
    m_port = std::atoi(text.c_str() + text.rfind(':') + 1);
}

ChildProcess::~ChildProcess() {
    kill(m_process, SIGTERM);
    waitpid(m_process, nullptr, 0);
    std::fclose(m_input);
    std::fclose(m_output);
}

void ChildProcess::Tell(const std::string& line) const {
    std::fputs((line + "\n").c_str(), m_input);
    std::fflush(m_input);
}

std::string ChildProcess::Ask(const std::string& line) const {
    Tell(line);
    std::array<char, 256> answer{};
    return fgets(answer.data(), answer.size(), m_output) != nullptr ? answer.data() : "";
}

int RunCommand(const std::vector<std::string>& command) {
    const pid_t child = fork();
    if (child == 0) {
        dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
        Become(command);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return status;
}

}  // namespace kvbench
