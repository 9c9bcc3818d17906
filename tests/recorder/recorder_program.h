// kvrecorder as a process of its own.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <functional>
#include <string>
#include <vector>

namespace kvtest {

struct Outcome {
    int status = -1;
    bool core = false;  // an image of its memory was left
    std::string output;
    std::string errors;
};

// A running kvrecorder; killed at the end if it still runs.
class Program {
public:
    // `prepare` runs in the new process before the program does.
    explicit Program(std::vector<std::string> arguments, const std::function<void()>& prepare = {}) {
        std::string path = KV_RECORDER_PROGRAM;
        std::vector<char*> raw = {path.data()};
        for (std::string& argument : arguments) {
            raw.push_back(argument.data());
        }
        raw.push_back(nullptr);
        int output[2];
        int errors[2];
        EXPECT_EQ(::pipe2(output, O_CLOEXEC) | ::pipe2(errors, O_CLOEXEC), 0);
        m_process = ::fork();
        if (m_process == 0) {
            ::dup2(output[1], 1);
            ::dup2(errors[1], 2);
            if (prepare) {
                prepare();
            }
            ::execv(raw[0], raw.data());
            ::_exit(99);
        }
        ::close(output[1]);
        ::close(errors[1]);
        m_output = output[0];
        m_errors = errors[0];
    }
    ~Program() {
        if (m_process > 0) {
            ::kill(m_process, SIGKILL);
            ::waitpid(m_process, nullptr, 0);
        }
        ::close(m_output);
        ::close(m_errors);
    }
    Program(const Program&) = delete;

    std::string OutputLine() { return Line(m_output); }
    std::string ErrorLine() { return Line(m_errors); }
    std::uint16_t Port() {
        const std::string line = OutputLine();
        const std::string begin = "kvrecorder: listening on 127.0.0.1:";
        EXPECT_TRUE(line.starts_with(begin)) << line;
        return static_cast<std::uint16_t>(std::atoi(line.c_str() + std::min(begin.size(), line.size())));
    }
    void Signal(int number) { ::kill(m_process, number); }
    pid_t Process() const { return m_process; }
    Outcome Wait() {
        Outcome outcome;
        outcome.output = Rest(m_output);
        outcome.errors = Rest(m_errors);
        int status = 0;
        ::waitpid(m_process, &status, 0);
        m_process = -1;
        outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        outcome.core = WIFSIGNALED(status) && WCOREDUMP(status);
        return outcome;
    }

private:
    static std::string Line(int pipe) {
        std::string line;
        for (char c = 0; c != '\n' && ::read(pipe, &c, 1) == 1;) {
            line.push_back(c);
        }
        return line;
    }
    static std::string Rest(int pipe) {
        std::string text;
        for (std::string line = Line(pipe); !line.empty(); line = Line(pipe)) {
            text += line;
        }
        return text;
    }
    pid_t m_process = -1;
    int m_output = -1;
    int m_errors = -1;
};

}  // namespace kvtest
