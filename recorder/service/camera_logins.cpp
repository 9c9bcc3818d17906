// The logins of the cameras that the command line names.
#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <cstring>
#include <random>
#include <string_view>

#include "media/descriptor.h"
#include "service/options.h"

namespace kvrecorder {
namespace {

constexpr std::size_t kLongestTyped = 255;
constexpr int kMadeCharacters = 12;

}  // namespace

// Without characters that look alike.
Secret MakePassword() {
    static constexpr std::string_view kCharacters = "abcdefghijkmnpqrstuvwxyz23456789";
    std::random_device source;
    std::string text;
    for (int i = 0; i < kMadeCharacters; ++i) {
        text.push_back(kCharacters[source() % kCharacters.size()]);
    }
    return text;
}

namespace {

// What is typed is not shown meanwhile.
class QuietTerminal {
public:
    explicit QuietTerminal(int terminal) : m_terminal(terminal) {
        m_changed = ::tcgetattr(terminal, &m_before) == 0;
        if (m_changed) {
            termios quiet = m_before;
            quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
            ::tcsetattr(terminal, TCSAFLUSH, &quiet);
        }
    }
    ~QuietTerminal() {
        if (m_changed) {
            ::tcsetattr(m_terminal, TCSAFLUSH, &m_before);
        }
    }
    QuietTerminal(const QuietTerminal&) = delete;
    QuietTerminal& operator=(const QuietTerminal&) = delete;

private:
    const int m_terminal;
    termios m_before{};
    bool m_changed = false;
};

void Write(int file, std::string_view text) {
    if (::write(file, text.data(), text.size()) < 0) {
        throw ConfigError("the terminal cannot be written to");
    }
}

}  // namespace

Secret AskPassword(const std::string& prompt) {
    const Descriptor terminal(::open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY));
    if (terminal.Get() < 0) {
        throw ConfigError("there is no terminal to ask for a camera's password; give --camera-password-file");
    }
    Write(terminal.Get(), prompt);
    std::string line;
    {
        const QuietTerminal quiet(terminal.Get());
        for (char c = 0; ::read(terminal.Get(), &c, 1) == 1 && c != '\n' && line.size() < kLongestTyped;) {
            AppendSecret(line, {&c, 1});
        }
    }
    Write(terminal.Get(), "\n");
    Secret password(line);
    Wipe(line);
    return password;
}

void CompleteCameras(Options& options, const std::function<Secret(const std::string& prompt)>& ask) {
    const auto complete = [&](CameraUrl& camera) {
        camera.password = options.cameraPasswordFile.empty()
                              ? ask("Password of " + camera.user + " at " + camera.host + ": ")
                              : ReadPasswordFile(options.cameraPasswordFile);
        camera.saysPassword = true;
    };
    if (options.probe && !options.probe->user.empty() && !options.probe->saysPassword) {
        complete(*options.probe);
    }
    for (std::size_t i = 0; i < options.cameras.size(); ++i) {
        CameraUrl& camera = options.cameras[i];
        if (camera.user.empty() || camera.saysPassword) {
            continue;
        }
        // One of the same host has most likely been asked for already.
        for (std::size_t j = 0; j < i && !camera.saysPassword; ++j) {
            const CameraUrl& other = options.cameras[j];
            if (other.host == camera.host && other.user == camera.user) {
                camera.password = other.password;
                camera.saysPassword = true;
            }
        }
        if (!camera.saysPassword) {
            complete(camera);
        }
    }
    if (!options.cameras.empty() && options.user.empty() && options.configFile.empty()) {
        options.madePassword = MakePassword();
    }
}

void HideLogins(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        char* const mark = std::strstr(argv[i], "://");
        char* const at = mark ? std::strrchr(mark, '@') : nullptr;
        char* const colon = at ? std::strchr(mark + 3, ':') : nullptr;
        for (char* c = colon ? colon + 1 : at; c < at; ++c) {
            *c = '*';
        }
    }
}

}  // namespace kvrecorder
