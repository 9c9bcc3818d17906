#include "support/file_holder.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

namespace kvtest {

FileHolder::FileHolder(const std::string& file) {
    int input[2];
    int output[2];
    if (::pipe2(input, O_CLOEXEC) != 0 || ::pipe2(output, O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe");
    }
    std::string program = KV_FILE_HOLDER;
    std::string argument = file;
    char* const arguments[] = {program.data(), argument.data(), nullptr};
    posix_spawn_file_actions_t files;
    ::posix_spawn_file_actions_init(&files);
    ::posix_spawn_file_actions_adddup2(&files, input[0], STDIN_FILENO);
    ::posix_spawn_file_actions_adddup2(&files, output[1], STDOUT_FILENO);
    if (::posix_spawn(&m_pid, program.c_str(), &files, nullptr, arguments, environ) != 0) {
        m_pid = -1;
    }
    ::posix_spawn_file_actions_destroy(&files);
    ::close(input[0]);
    ::close(output[1]);
    m_input = input[1];
    char byte = 0;
    m_bHeld = ::read(output[0], &byte, 1) == 1;
    ::close(output[0]);
}

FileHolder::~FileHolder() {
    Release();
}

void FileHolder::Release() {
    if (m_input >= 0) {
        ::close(m_input);
        m_input = -1;
    }
    if (m_pid > 0) {
        ::waitpid(m_pid, nullptr, 0);
        m_pid = -1;
    }
}

}  // namespace kvtest
