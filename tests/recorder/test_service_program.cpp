// The program as a process: options, first line, signals, control.
#include <csignal>
#include <fstream>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "service_fixture.h"
#include "support/temp_folder.h"

namespace kvtest {
namespace {

struct Outcome {
    int status = -1;
    std::string output;
    std::string errors;
};

// A running kvrecorder; killed at the end if it still runs.
class Program {
public:
    explicit Program(std::vector<std::string> arguments) {
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
    Outcome Wait() {
        Outcome outcome;
        outcome.output = Rest(m_output);
        outcome.errors = Rest(m_errors);
        int status = 0;
        ::waitpid(m_process, &status, 0);
        m_process = -1;
        outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
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

TEST(RecorderProgram, WrongOptionsGiveOneLineAndStatusTwo) {
    const TempFolder folder;
    std::ofstream(folder.File("bad.toml")) << "lisen = 1\n";
    std::ofstream(folder.File("scene.toml"))
        << "[[users]]\nname=\"a\"\npassword=\"b\"\n[[channels]]\nscene=\"no such scene\"\n";
    const std::vector<std::vector<std::string>> wrong = {
        {"--frobnicate"},
        {"--listen", "0.0.0.0:0"},
        {"--listen", "192.0.2.1:0", "--config", folder.File("scene.toml")},
        {"--config", folder.File("bad.toml")},
        {"--config", folder.File("scene.toml"), "--listen", "127.0.0.1:0"},
        {"--control", folder.File("nobody"), "--send", "list"},
    };
    for (const auto& arguments : wrong) {
        const Outcome outcome = Program(arguments).Wait();
        EXPECT_EQ(outcome.status, 2) << arguments[0];
        EXPECT_EQ(outcome.output, "");
        EXPECT_TRUE(outcome.errors.starts_with("kvrecorder: ")) << outcome.errors;
        EXPECT_EQ(outcome.errors.find('\n'), outcome.errors.size() - 1) << outcome.errors;
    }
    const Outcome version = Program({"--version"}).Wait();
    EXPECT_EQ(version.status, 0);
    EXPECT_TRUE(version.output.starts_with("kvrecorder ")) << version.output;
}

TEST(RecorderProgram, ServesIsControlledAndEndsInOrder) {
    const TempFolder folder;
    const std::string file = folder.File("recorder.toml");
    const std::string control = folder.File("control");
    std::ofstream(file) << "[[users]]\nname=\"admin\"\npassword=\"secret\"\n[[channels]]\nname=\"One\"\n";
    Program program({"--listen", "127.0.0.1:0", "--config", file, "--control", control});
    const std::uint16_t port = program.Port();
    RecorderClient notify(port);
    notify.Send(Get("/cgi-bin/notify.cgi"));
    EXPECT_EQ(notify.ReadHead(), "HTTP/1.0 200 OK\r\n\r\n");

    const Outcome sent = Program({"--control", control, "--send", "rename 0 Gate"}).Wait();
    EXPECT_EQ(sent.status, 0);
    EXPECT_EQ(sent.output, "ok\n");
    EXPECT_EQ(notify.ReadLine(), "2\n");
    EXPECT_NE(Fetch(port, Get("/z_status.cgi?user=admin")).body.find("\nGate\n"), std::string::npos);
    EXPECT_EQ(Program({"--control", control, "--send", "rename 9 Gate"}).Wait().status, 1);

    std::ofstream(file) << "[[users]]\nname=\"admin\"\npassword=\"secret\"\n[[channels]]\nname=\"Two\"\n";
    program.Signal(SIGHUP);
    EXPECT_EQ(program.ErrorLine(), "kvrecorder: configuration read again\n");
    EXPECT_EQ(notify.ReadLine(), "2\n");
    EXPECT_NE(Fetch(port, Get("/z_status.cgi?user=admin")).body.find("\nTwo\n"), std::string::npos);
    std::ofstream(file) << "nonsense";
    program.Signal(SIGHUP);
    EXPECT_NE(program.ErrorLine().find("recorder.toml:1: "), std::string::npos);

    // A stream that nobody reads and a half request must not hold the end up.
    RecorderClient stream(port);
    stream.Send(Get("/cgi-bin/getstream.cgi?ch=0&stream_id=0 "));
    EXPECT_EQ(stream.Read(12), "HTTP/1.0 200");
    RecorderClient half(port);
    half.Send("GET /");
    const auto before = std::chrono::steady_clock::now();
    program.Signal(SIGTERM);
    EXPECT_EQ(notify.ReadToEnd(), "3\n");
    EXPECT_EQ(program.Wait().status, 0);
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(5));
}

TEST(RecorderProgram, DemoStreamBeginsWithAKeyPicture) {
    const TempFolder folder;
    Program program({"--listen", "127.0.0.1:0", "--channels", "2", "--control", folder.File("control")});
    const std::uint16_t port = program.Port();
    RecorderClient stream(port);
    stream.Send(Get("/cgi-bin/getstream.cgi?ch=0&stream_id=0 ", "admin:admin"));
    EXPECT_TRUE(stream.ReadHead().starts_with("HTTP/1.0 200 OK"));
    const std::string head = stream.Read(56);
    ASSERT_EQ(head.size(), 56u);
    EXPECT_EQ(head[0], 'Z');
    EXPECT_EQ(head[4], 1);
    EXPECT_EQ(Program({"--control", folder.File("control"), "--send", "stop"}).Wait().output, "ok\n");
    EXPECT_EQ(program.Wait().status, 0);
}

}  // namespace
}  // namespace kvtest
